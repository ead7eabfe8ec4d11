#include "log/banner.h"
#include "log/time_text.h"
#include "log_test.h"

namespace zevra::test {
namespace {

using Lifecycle = LogTest;

const std::string kBar = std::string(61, '=') + "\n";
const auto kTwoLines = [](Process_Logger& logger) {
  logger.log_error("abc");
  logger.log_error("def");
};

std::string Process() {
  char text[64];
  std::snprintf(text, sizeof text, "\tPID: %d (0x%04x)", static_cast<int>(CurrentProcessId()),
                CurrentProcessId());
  return text;
}

std::string Head(const std::string& word) {
  return kBar + "\tKorvane log file\n\tSubject :    A title\n\t" + word +
         "-Time :    25/03/14-09:26:53 123\n\tApplication: " + ProgramPath() + " " +
         FileTimeText(ProgramPath().c_str()) + "\n\tModule:        \n" + Process() +
         " Version: \n" + kBar;
}

std::string Tail(const std::string& word) {
  return kBar + "\tA title " + word + "-Time: 25/03/14-09:26:53 123\n" + Process() + "\n" + kBar;
}

TEST_F(Lifecycle, BannersToTheByte) {
  settings.values.head = true;
  settings.values.title = "A title";
  settings.values.style = 16;
  const auto say = [](Process_Logger& logger) { logger.log_error("m"); };
  for (const ModuleHandle module : {kExecutable, kThisLibrary}) {  // the same file here
    settings.values.module = module;
    EXPECT_EQ(Logged(say), Head("Created") + "m\n" + Tail("End"));
  }
  settings.values.title = std::string(5000, 't');
  EXPECT_EQ(Lines(Logged([](Process_Logger&) {})).size(), 5u) << "cut, but whole lines";
  settings.values.style = 256;
  EXPECT_EQ(Logged(say), "m");
  SetModifiedTime(dir / "z.log", 1741944413);
  EXPECT_EQ(FileTimeText(Path("z.log").c_str()), "2025-03-14 09:26:53");
  EXPECT_EQ(FileTimeText(Path("missing").c_str()), "");
}

TEST_F(Lifecycle, RotationAtTheLimitKeepsAllText) {
  const fs::path backup = dir / "z_2025-03-14_09-26-53.log";
  const auto log = [](Process_Logger& logger) {
    for (const char* line : {"a", "b", "c", "d", "e"}) logger.log_verbose("%s", line);
  };
  settings.values.head = true;
  settings.values.title = "A title";
  settings.values.style = 16;
  settings.values.module = kThisLibrary;
  const std::string first = Head("Created") + "a\nb\nc\nd\n";
  settings.values.maxsize = TextModeBytes(first);  // exactly as long as it may be
  EXPECT_EQ(Logged(log), Head("Continued") + "e\n" + Tail("End"));
  EXPECT_EQ(Text(backup), first + Tail("Continue"));

  settings.values.head = false;
  settings.values.maxsize = TextModeBytes("a\nb\n");
  EXPECT_EQ(Logged(log), "e\n");
  EXPECT_EQ(Text(backup), "c\nd\n") << "the same second has the same name";
  settings.values.overwrite = true;
  fs::remove(backup);
  EXPECT_EQ(Logged(log), "e\n");
  EXPECT_FALSE(fs::exists(backup));
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
  Write(dir / "y_0000.log", "");
  for (const auto& row : rows) {
    for (int i = 0; i < row.existing; ++i) Write(dir / name(i), "");
    settings.values.maxcount = row.maxcount;
    Logged([](Process_Logger& logger) { logger.log_error("m"); });
    for (int i = 0; i < row.existing; ++i) {
      EXPECT_EQ(fs::remove(dir / name(i)), i != row.removed)
          << row.existing << " of " << row.maxcount << ": " << i;
    }
    fs::remove(dir / "z_2025-03-14_09-26-53.log");
  }
  EXPECT_TRUE(fs::exists(dir / "y_0000.log"));
}

TEST_F(Lifecycle, FilesAndBackupsThatCannotBeMadeLoseNoText) {
  settings.values.style = 16;
  settings.values.maxsize = 4;
  fs::create_directory(dir / "z_2025-03-14_09-26-53.log");  // in the way of the copy
  EXPECT_EQ(Logged(kTwoLines), "abc\ndef\n");
  const std::string deep = Path("a//") + std::string(240 - dir.string().size(), 'd') + "/";
  settings.values.file = deep + "12345.log";  // fits, but not with a stamp
  EXPECT_EQ(Logged(kTwoLines), "abc\ndef\n") << "in folders that were made for it";
  settings.values.output = kOutputFile | kOutputConsole;
  for (const std::string& file : {deep + "123456789-123456789.log", Path("z.log/z.log")}) {
    Write(dir / "z.log", "a file in the way of a folder");
    settings.values.file = file;
    testing::internal::CaptureStdout();
    Process_Logger logger(kClock);
    EXPECT_NE(logger.open(&settings, nullptr, 0), 0);
    logger.log_error("m");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "m\n") << "the other outputs go on";
  }
}

TEST_F(Lifecycle, TimesFollowTheCounterWhateverTheClockDoes) {
  struct {
    std::int64_t now;
    std::uint64_t ticks, start_ticks;  // the start was at 998
    std::int64_t seconds;
    std::uint32_t ms;
  } const rows[] = {{1000, 7500, 5499, 1000, 1},
                    {998 + 86400 * 30, 7500, 5499, 1000, 1},  // the clock was put forward
                    {900, 7500, 5499, 900, 500},              // or back, to before the start
                    {1000, 7500, 0, 1000, 500},               // no start stamp
                    {1000, (3ull << 32) + 7500, 5499, 1000 + 12884901, 889}};
  for (const auto& row : rows) {
    const auto shown = ComputeDisplayTime(row.now, row.ticks, 998, row.start_ticks);
    EXPECT_EQ(shown.seconds, row.seconds) << row.now;
    EXPECT_EQ(shown.milliseconds, row.ms) << row.now;
  }
  settings.values.start_time = 0;
  settings.values.align_to_second = true;
  ticks = 5000700;
  Process_Logger logger(kClock);
  logger.open(&settings, nullptr, 0);
  char text[133];
  EXPECT_STREQ(logger.time_text(text, false, true), "09:26:54 000") << "starts at a whole second";
}

TEST_F(Lifecycle, OpenModesAndTheLastLine) {
  struct {
    std::int32_t mode;
    const char *before, *after;
  } const rows[] = {{0, "half", "half\nx"}, {0, "whole\n", "whole\nx"}, {0, "", "x"},
                    {1, "half", "halfx"},   {2, "gone", "x"},           {3, "gone\n", "x"},
                    {9, "half", "halfx"}};
  for (const auto& row : rows) {
    std::ofstream(dir / "z.log") << row.before;
    Log_IO_FILE io;
    ASSERT_EQ(io.open(settings.file(), nullptr, row.mode, 0), 0);
    EXPECT_GE(io.puts("x"), 0);
    io.close();
    EXPECT_EQ(Text(dir / "z.log"), row.after) << row.mode << " over " << row.before;
  }
}

TEST_F(Lifecycle, AFileSeesWhatOthersAppendAndSavesWhatStillWaits) {
  for (const std::int32_t mode : {3, 1}) {  // binary, so that a line end is one byte
    Log_IO_FILE io;
    ASSERT_EQ(io.open(settings.file(), nullptr, mode, 0), 0);
    io.puts("mine\n");
    io.flush();
    std::ofstream(dir / "z.log", std::ios::app | std::ios::binary) << "other\n";
    io.puts("again\n");
    EXPECT_EQ(io.size(), 17) << "text that still waits counts";
    EXPECT_NE(io.backup(Path("missing/x.log").c_str()), 0) << "and leaves the text in place";
    Write(dir / "saved.log", "an older backup that is longer");
    EXPECT_EQ(io.backup(Path("saved.log").c_str()), 0);
    EXPECT_EQ(Read(dir / "saved.log"), "mine\nother\nagain\n");
    io.puts("more");
    EXPECT_EQ(io.backup(Path("Z.LOG").c_str()), 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 2) << "no copy of that name";
    EXPECT_EQ(io.size(), 0);
  }
}

}  // namespace
}  // namespace zevra::test
