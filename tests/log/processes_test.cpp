#include <cstdlib>
#include <set>

#include "log_test.h"

namespace zevra::test {
namespace {

constexpr int kProcesses = 4, kThreads = 4, kLines = 2500;  // lines of a thread

class Processes : public LogTest {
 protected:
  // One of the processes.
  void Write(const char* file, const char* maxsize, const char* process) {
    settings.values.file = file;
    settings.values.maxsize = std::strtoul(maxsize, nullptr, 10);
    settings.values.style = 16;
    Process_Logger logger;
    ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
    InThreads(kThreads, [&](int thread) {
      for (int i = 0; i < kLines; ++i) {
        // Some are longer than a stdio buffer; all but the warnings wait in it.
        const std::string filler(i % 1000 == 0 ? 9000 : 20, 'x');
        if (i % 10 == 0)
          logger.log_warn("<%s %d %d %s>", process, thread, i, filler.c_str());
        else
          logger.log_verbose("<%s %d %d %s>", process, thread, i, filler.c_str());
      }
    });
    logger.close();
  }

  // The different lines of a folder; a torn line or one that came twice fails.
  static int CountWholeLines(const fs::path& folder) {
    std::set<std::string> seen;
    for (const auto& file : fs::directory_iterator(folder)) {
      for (const std::string& line : Lines(Text(file.path()))) {
        const bool whole = line.size() > 2 && line.front() == '<' && line.back() == '>' &&
                           line.find_first_of("<>", 1) == line.size() - 1;
        const bool is_new = seen.insert(line.substr(0, line.find('x'))).second;
        EXPECT_TRUE(whole && is_new) << line.substr(0, 200);
        if (!whole || !is_new) return 0;
      }
    }
    return static_cast<int>(seen.size());
  }
};

TEST_F(Processes, LoseAndTearNothing) {
  const std::vector<std::string> arguments = testing::internal::GetArgvs();
  if (arguments.size() > 4)
    return Write(arguments[2].c_str(), arguments[3].c_str(), arguments[4].c_str());
  constexpr int kAll = kProcesses * kThreads * kLines;
  struct {
    const char *folder, *maxsize;
    int files, least;
  } const rows[] = {
      {"grows", "10000000", 1, kAll},
      // A second rotation in the same second would replace the backup. Between the last look at the
      // file and its emptying a thread that was just held up may write.
      {"rotates", "1000000", 2, kAll - 16},
      {"often", "65536", 2, 1}};
  for (const auto& row : rows) {
    InThreads(kProcesses, [&](int process) {
      const std::string command = ProgramPath() + " --gtest_filter=Processes.LoseAndTearNothing " +
                                  Path(row.folder) + "/z.log " + row.maxsize + " " +
                                  std::to_string(process) + " > " +
                                  Path("output" + std::to_string(process));
      // NOLINTNEXTLINE(concurrency-mt-unsafe): it only starts a process
      EXPECT_EQ(std::system(command.c_str()), 0) << command;
    });
    EXPECT_GE(std::distance(fs::directory_iterator(dir / row.folder), {}), row.files);
    EXPECT_GE(CountWholeLines(dir / row.folder), row.least) << row.folder;
  }
}

}  // namespace
}  // namespace zevra::test
