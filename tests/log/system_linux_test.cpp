// What Linux does its own way: odd files, the outputs beside the file, the reader of profiles.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <random>

#include "log_test.h"

namespace zevra {
namespace {

using OddFiles = test::LogTest;

TEST_F(OddFiles, ChildrenDoNotInheritTheFile) {
  for (const std::int32_t mode : {0, 3}) {
    Log_IO_FILE io;
    ASSERT_EQ(io.open(Path("z.log").c_str(), nullptr, mode, 0), 0);
    EXPECT_NE(::fcntl(::fileno(io.handle()), F_GETFD) & FD_CLOEXEC, 0);
  }
}

TEST_F(OddFiles, WideTextIsUtf8) {
  Log_IO_FILE io;
  ASSERT_EQ(io.open(Path("z.log").c_str(), nullptr, 0, 0), 0);
  io.puts_w(L"\u00E4\U0001F3B5\n");
  io.close();
  EXPECT_EQ(test::Read(dir / "z.log"), "\xC3\xA4\xF0\x9F\x8E\xB5\n");
  settings.values.style = 16;
  EXPECT_EQ(Logged([](Process_Logger& logger) { logger.log_error("%ls", L"\xD800"); }), "%ls\n")
      << "what cannot be formatted shows as its format";
}

TEST_F(OddFiles, FullDiskLosesTextAndNothingElse) {
  settings.values.file = "/dev/full";
  settings.values.flush = true;
  Process_Logger logger(clock);
  EXPECT_EQ(logger.open(&settings, nullptr, 0), 0);
  for (int i = 0; i < 1000; ++i) logger.log_error("a line that no disk takes");
  EXPECT_EQ(logger.close(), 0);
}

using Outputs = test::LogTest;

TEST_F(Outputs, ConsoleAndBoxHaveTheirOwnGates) {
  settings.values.output = kOutputConsole | kOutputBox;
  settings.values.level = kLevelError | kLevelWarn;
  settings.values.console_level = kLevelWarn | kLevelTrace;
  settings.values.style = 16;
  settings.values.title = "Caption";
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  {
    Process_Logger logger(clock);
    logger.open(&settings, nullptr, 0);
    logger.log_error("one");
    logger.log_warn("two\nlines");
    logger.log_trace("none");
  }
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "two\nlines\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "+---- Caption ---- error\n| one\n+----\n"
            "+---- Caption ---- information\n| two\n| lines\n+----\n");
}

TEST_F(Outputs, ClosedPipesAndFullPipesDoNotStopTheHost) {
  int pipe_ends[2];
  ASSERT_EQ(::pipe(pipe_ends), 0);
  const int saved = ::dup(STDERR_FILENO);
  ::dup2(pipe_ends[1], STDERR_FILENO);
  settings.values.output = kOutputBox;
  Process_Logger logger(clock);
  logger.open(&settings, nullptr, 0);
  for (int i = 0; i < 3000; ++i)
    logger.log_error("nobody reads this");  // 3000 blocks are more than a pipe holds
  ::close(pipe_ends[0]);
  logger.log_error("and now nobody can");
  ::dup2(saved, STDERR_FILENO);
  ::close(saved);
  ::close(pipe_ends[1]);
}

using Profile = test::LogTest;

// Profiles put together from odd pieces, against a model that knows where each value must come
// from.
TEST_F(Profile, GeneratedProfiles) {
  std::mt19937 random(20250314);
  const auto pick = [&](const std::vector<std::string>& from) {
    return from[std::uniform_int_distribution<std::size_t>(0, from.size() - 1)(random)];
  };
  const std::vector<std::string> ends = {"\n", "\r\n", "\r", "\n\n"};
  for (int round = 0; round < 400; ++round) {
    std::string text = pick({"", "\xEF\xBB\xBF"});
    std::map<std::string, std::string> model;
    bool inside = false;
    bool done = false;
    for (int i = 0; i < 25; ++i) {
      const std::string kind = pick({"section", "key", "key", "key", "comment", "junk"});
      if (kind == "section") {
        const std::string name = pick({"logger", "LOGGER", "other", "log ger"});
        text += pick({"[", " [", "[ "}) + name + pick({"]", "] ; x"});
        done = done || inside;
        inside = !done && (name == "logger" || name == "LOGGER");
      } else if (kind == "key") {
        const std::string key = pick({"title", "file", "Title", "FILE", "other"});
        const std::string value = pick({"a", "b c", "=x", "a ; b", "[c]", "'q", "\xC3\xA4", ""});
        const std::string quote = value == "'q" ? "" : pick({"", "", "\"", "'"});
        for (const std::string& part :
             {pick({"", "\t"}), key, pick({"=", " = "}), quote, value, quote, pick({"", "  "})})
          text += part;
        const std::string name = key == "Title" ? "title" : key == "FILE" ? "file" : key;
        if (inside) model.emplace(name, value);
      } else {
        text += kind == "comment" ? "; title=no" : "title";
      }
      text += pick(ends);
    }
    test::Write(dir / "zevra.cfu", text);
    Log_Settings read("def.log", "Def");
    EXPECT_EQ(read.read_log_config("logger", Path("zevra.cfu").c_str()), 0);
    const auto expected = [&](const std::string& key, const std::string& otherwise) {
      return model[key].empty() ? otherwise : model[key];
    };
    ASSERT_EQ(read.values.title, expected("title", "Def")) << text;
    ASSERT_EQ(read.values.file, expected("file", "def.log")) << text;
  }
}

TEST_F(Profile, NoRegularFileIsNoSettings) {
  ::mkfifo(Path("zevra.cfu").c_str(), 0600);
  Log_Settings read;
  read.read_log_config("logger", Path("zevra.cfu").c_str());
  EXPECT_EQ(read.level(), 7u);
}

}  // namespace
}  // namespace zevra
