#include "tools/zevra/log_report.h"

#include <gmock/gmock.h>

#include <fstream>

#include "command/command_runner.h"

namespace zevra {
namespace {

TEST(LogReport, ValuesInForceAndWhatIsNotTakenAsMeant) {
  const test::ScratchFolder folder;
  const auto report_of = [&folder](const std::string& settings) {
    std::ofstream(folder.File("zevra.cfu")) << settings;
    return DescribeLog(folder.File("libzevra.so"));
  };
  struct {
    const char *keys, *key, *value, *warning;
  } const rows[] = {
      {"level=debug", "level", "0x3f (detail,debug)", nullptr},
      {"level=debug", "console_level", "0x3f (detail,debug)", nullptr},
      {"file=sub/a.log", "file", "sub/a.log", nullptr},
      {"include=a, b", "include", "a, b", nullptr},
      {"maxsize=10M", "maxsize", "65536", "maxsize=10M reads as 10: \"M\" is not taken"},
      {"maxsize=4294967296", "maxsize", "2147483647", "the limit of a number"},
      {"flush=yes", "flush", "0", "flush=yes is no number: reads as 0, off; write 1 or 0"},
      {"maxcount=020", "maxcount", "16", "octal"},
      {"level=loud", "level", "0x0 (none)", "level=loud is no known word"},
      {"level=0", "level", "0x0 (none)", "nothing is logged"},
      {"level=8", "level", "0x8", "zevra writes the levels 2, 4, 16 and 128"},
      {"output=256", "output", "0x100", "zevra writes the levels"},
      {"charset=3", "charset", "0", "ignored"},
      {"mode=7", "mode", "7", "opened as with 0"},
      {"colour=red", "title", "zevra logging", "unknown key colour"},
      {"Flush=1\nflush=0", "flush", "1", "more than once"},
      {"exclude='a;b'", "exclude", "a, b", nullptr},
      {"exclude='a;b',c", "exclude", "'a;b', c", "the quotes of 'a;b' are part"},
      {"[x]\n[Logger]\nflush=1", "flush", "0", "several sections"}};
  for (const auto& row : rows) {
    const LogReport report = report_of(std::string("[logger]\n") + row.keys + "\n");
    for (const LogSetting& setting : report.settings)
      if (setting.key == row.key) EXPECT_EQ(setting.value, row.value) << row.keys;
    if (row.warning == nullptr)
      EXPECT_THAT(report.warnings, testing::IsEmpty()) << row.keys;
    else
      EXPECT_THAT(report.warnings, testing::Contains(testing::HasSubstr(row.warning))) << row.keys;
  }
  EXPECT_EQ(report_of("[logger]\nfile=a//b\\c.log\n").log_file, folder.File("a/b/c.log"));
  EXPECT_THAT(report_of("[logger]\nfile=/dev/null/x.log\n").obstacle,
              testing::EndsWith("cannot write /dev/null/x.log: Not a directory"));
  EXPECT_EQ(report_of("[logger]\noutput=4\nfile=/dev/null/x.log\n").obstacle, "");
  const LogReport too_long = DescribeLog("/" + std::string(300, 'd') + "/libzevra.so");
  EXPECT_EQ(too_long.log_file + too_long.config_file, "");
  EXPECT_THAT(report_of("flush=1\n").warnings,
              testing::ElementsAre(testing::HasSubstr("no section [logger]")));
}

// The command runs in a copy of its folder, with settings of its own.
TEST(OwnLog, TellsWhyACallFailedWhereTheLogCannotBeWritten) {
  const test::ScratchFolder folder;
  const std::string build = std::filesystem::path(ZEVRA_COMMAND).parent_path();
  std::ofstream(folder.File("zevra.cfu")) << "[logger]\nfile=/dev/null/x.log\n";
  const auto run = [&](const std::string& line) {
    const std::string shell = "cd " + folder.File("") + "; exec 2>err; " + line;
    EXPECT_EQ(std::system(shell.c_str()), 0);  // NOLINT(concurrency-mt-unsafe)
    return test::ReadFile(folder.File("err"));
  };
  run("cp -L " + build + "/zevra " + build + "/libzevra-builtin.so.1 .; mkdir temporary");
  EXPECT_THAT(run("TMPDIR=temporary ./zevra volume --builtin -d nobody --verbose; rmdir temporary"),
              testing::MatchesRegex(".*::ZevraOpenDevice . error . OpenDevice 80070490\n"
                                    "zevra: no endpoint is named \"nobody\"[^\n]*\n"));
#ifndef __SANITIZE_ADDRESS__  // it needs descriptors of its own
  // One of these allows the stream's thread and nothing for it to wait on.
  EXPECT_THAT(run("for n in $(seq 8 40); do (ulimit -n $n; ./zevra silence --builtin -s 0.1) "
                  "&& break; done >out"),
              testing::HasSubstr("could not be brought up (0x80004005): LoopBackPlay: Create"));
#endif
}

}  // namespace
}  // namespace zevra
