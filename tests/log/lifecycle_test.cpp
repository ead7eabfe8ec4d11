#include "log/banner.h"
#include "log/time_text.h"
#include "log_test.h"

namespace zevra {
namespace {

using Lifecycle = test::LogTest;

const std::string kBar(61, '=');
const auto two_lines = [](Process_Logger& logger) {
  logger.log_error("abc");
  logger.log_error("def");
};

std::string Process() {
  char text[64];
  std::snprintf(text, sizeof text, "PID: %d (0x%04x)", static_cast<int>(CurrentProcessId()),
                CurrentProcessId());
  return text;
}

std::string Head(const std::string& word, const std::string& module,
                 const std::string& version = {}) {
  const std::string application = test::ProgramPath();
  return kBar + "\n\tKorvane log file\n\tSubject :    A title\n\t" + word +
         "-Time :    25/03/14-09:26:53 123\n\tApplication: " + application + " " +
         FileTimeText(application.c_str()) + "\n\tModule:      " + module + "\n\t" + Process() +
         " Version: " + version + "\n" + kBar + "\n";
}

std::string Tail(const std::string& word) {
  return kBar + "\n\tA title " + word + "-Time: 25/03/14-09:26:53 123\n\t" + Process() + "\n" +
         kBar + "\n";
}

TEST_F(Lifecycle, BannersToTheByte) {
  settings.values.head = true;
  settings.values.title = "A title";
  settings.values.style = 0;
  const test::Library library;
  const std::string path = library.Path();
  struct {
    ModuleHandle module;
    std::string shown;
    std::string version;
  } const rows[] = {
      {0, "  ", ""},
      {kThisLibrary, "  ", ""},  // the tests are the application
      {library.Handle(), path + " " + FileTimeText(path.c_str()), FileVersionText(path.c_str())}};
  for (const auto& row : rows) {
    settings.values.module = row.module;
    const auto say = [](Process_Logger& logger) { logger.log_error("m\n"); };
    EXPECT_EQ(Logged(say), Head("Created", row.shown, row.version) + "m\n" + Tail("End"));
  }
  settings.values.title = std::string(5000, 't');
  EXPECT_EQ(test::Lines(Logged([](Process_Logger&) {})).size(), 5u) << "cut, but whole lines";
  settings.values.style = 256;
  EXPECT_EQ(Logged([](Process_Logger& logger) { logger.log_error("m"); }), "m");

  test::Write(dir / "dated", "");
  test::SetModifiedTime(dir / "dated", 1741944413);
  EXPECT_EQ(FileTimeText(Path("dated").c_str()), "2025-03-14 09:26:53");
  EXPECT_EQ(FileTimeText(Path("missing").c_str()), "");
}

TEST_F(Lifecycle, RotationAtTheLimitKeepsAllText) {
  settings.values.head = true;
  settings.values.title = "A title";
  settings.values.style = 16;
  const std::string head = Head("Created", "  ");
  settings.values.maxsize = test::TextModeBytes(head + "one\ntwo\n");
  const std::string text = Logged([](Process_Logger& logger) {
    logger.log_verbose("one");
    logger.log_verbose("two");  // makes the file exactly as long as it may be
    logger.log_verbose("3");
  });
  EXPECT_EQ(text, Head("Continued", "  ") + "3\n" + Tail("End"));
  EXPECT_EQ(test::Text(dir / "z_2025-03-14_09-26-53.log"), head + "one\ntwo\n" + Tail("Continue"));

  settings.values.head = false;
  settings.values.maxsize = test::TextModeBytes("a\nb\n");
  Logged([](Process_Logger& logger) {
    for (const char* line : {"a", "b", "c", "d", "e"}) logger.log_verbose("%s", line);
  });
  EXPECT_EQ(test::Text(dir / "z_2025-03-14_09-26-53.log"), "c\nd\n")
      << "the same second has the same name; text that still waited is in it";
  settings.values.overwrite = true;
  test::fs::remove(dir / "z_2025-03-14_09-26-53.log");
  EXPECT_EQ(Logged(two_lines), "def\n");
  EXPECT_FALSE(test::fs::exists(dir / "z_2025-03-14_09-26-53.log"));
}

TEST_F(Lifecycle, PurgeTakesTheSecondOldest) {
  struct {
    int existing;
    std::int32_t maxcount;
    int removed;
  } const rows[] = {{1, 20, -1}, {19, 20, -1}, {20, 20, 1}, {21, 20, 1},
                    {1, 1, 0},   {3, 1, 1},    {3, 0, -1}};
  settings.values.maxsize = 1;
  const auto name = [](int i) { return "z_2020-01-01_00-00-" + std::to_string(10 + i) + ".log"; };
  for (const auto& row : rows) {
    for (int i = 0; i < row.existing; ++i) test::Write(dir / name(i), "");
    test::Write(dir / "y_0000.log", "");
    settings.values.maxcount = row.maxcount;
    Logged([](Process_Logger& logger) { logger.log_error("m"); });
    for (int i = 0; i < row.existing; ++i) {
      EXPECT_EQ(test::fs::remove(dir / name(i)), i != row.removed)
          << row.existing << " of " << row.maxcount << ": " << i;
    }
    EXPECT_TRUE(test::fs::exists(dir / "y_0000.log"));
    test::fs::remove(dir / "z_2025-03-14_09-26-53.log");
  }
}

TEST_F(Lifecycle, WhenABackupCannotBeMadeNoTextIsLost) {
  settings.values.style = 16;
  settings.values.maxsize = 4;
  test::fs::create_directory(dir / "z_2025-03-14_09-26-53.log");  // in the way of the copy
  EXPECT_EQ(Logged(two_lines), "abc\ndef\n");
  const std::string deep = dir.string() + "/" + std::string(240 - dir.string().size(), 'd') + "/";
  settings.values.file = deep + "123456789.log";  // fits, but not with a stamp
  EXPECT_EQ(Logged(two_lines), "abc\ndef\n");
  settings.values.file = deep + "123456789-123456789.log";
  settings.values.output = kOutputFile | kOutputConsole;
  testing::internal::CaptureStdout();
  Process_Logger logger(clock);
  EXPECT_NE(logger.open(&settings, nullptr, 0), 0);
  logger.log_error("m");
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "m\n") << "the other outputs go on";
}

TEST_F(Lifecycle, TimesFollowTheCounterPastItsWrap) {
  constexpr std::int64_t kWrap = 4294967296;  // ms

  struct {
    std::int64_t now;
    std::uint32_t ticks;
    std::int64_t start;
    std::uint32_t start_ticks;
    std::int64_t seconds;
    std::uint32_t ms;
  } const rows[] = {
      {1000, 7500, 998, 5499, 1000, 1},
      {900, 7500, 998, 5499, 900, 500},                             // or back, to before the start
      {1000, 7500, 998, 0, 1000, 500},                              // no start stamp
      {1001, 2, 1000, 0xFFFFFFFF, 1000, 3},                         // the counter itself wrapped
      {1000 + kWrap / 1000, 999, 1000, 1000, 1000 + 4294967, 295},  // one ms short of a whole one
      {1000 + 3 * kWrap / 1000 + 60, 1500, 1000, 1000, 1000 + 12884902, 388}};
  for (const auto& row : rows) {
    const auto shown = ComputeDisplayTime(row.now, row.ticks, row.start, row.start_ticks);
    EXPECT_EQ(shown.seconds, row.seconds) << row.now;
    EXPECT_EQ(shown.milliseconds, row.ms) << row.now;
  }
  settings.values.start_time = 0;
  settings.values.align_to_second = true;
  ticks = 5000700;
  Process_Logger logger(clock);
  logger.open(&settings, nullptr, 0);
  char text[133];
  EXPECT_STREQ(logger.time_text(text, false, true), "09:26:54 000") << "starts at a whole second";
}

TEST_F(Lifecycle, OpenMakesDirectories) {
  settings.values.file = Path("a/b//c/z.log");
  EXPECT_EQ(Logged([](Process_Logger& logger) { logger.log_error("m"); }).back(), '\n');
  test::Write(dir / "file", "");
  settings.values.file = Path("file/z.log");
  Process_Logger logger(clock);
  EXPECT_NE(logger.open(&settings, nullptr, 0), 0);
}

}  // namespace
}  // namespace zevra
