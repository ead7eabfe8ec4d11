#include "log/settings.h"

#include <chrono>
#include <thread>

#include "log_test.h"

namespace zevra {
namespace {

class CfgReader : public test::LogTest {
 protected:
  Log_Settings ReadOver(const Log_Settings& start, const std::string& text) {
    test::Write(dir / "zevra.cfu", text);
    Log_Settings read(start);
    EXPECT_EQ(read.read_log_config("logger", Path("zevra.cfu").c_str()), 0);
    return read;
  }
  Log_Settings ReadKeys(const std::string& keys) {
    return ReadOver(Log_Settings(), "[logger]\n" + keys + "\n");
  }
};

TEST_F(CfgReader, NumbersWordsAndFlags) {
  struct {
    const char* keys;
    std::uint32_t level, console_level, style;
  } const masks[] = {{"", 7, 7, 255},
                     {"level=debug", 63, 63, 255},
                     {"level=DEBUG\nstyle=Simple\nconsole_level=none", 63, 0, 0x3D},
                     {"level=foo\nstyle=foo", 0, 0, 0},
                     {"level=7abc\nstyle=12abc", 7, 7, 12},
                     {"level=all\nstyle=none", 0xFFFFFFFF, 0xFFFFFFFF, 256},
                     {"console_level=info", 7, 15, 255},
                     {"LEVEL = 0x90 ", 0x90, 0x90, 255}};
  for (const auto& row : masks) {
    const Log_Settings read = ReadKeys(row.keys);
    EXPECT_EQ(read.level(), row.level) << row.keys;
    EXPECT_EQ(read.console_level(), row.console_level) << row.keys;
    EXPECT_EQ(read.style(), row.style) << row.keys;
  }
  struct {
    const char* text;
    std::uint64_t maxsize;
  } const sizes[] = {{"1000", 65536}, {"10M", 65536},      {"-1", ~std::uint64_t{0}},
                     {"abc", 65536},  {"0x20000", 131072}, {"5000000000", 2147483647}};
  for (const auto& row : sizes)
    EXPECT_EQ(ReadKeys(std::string("maxsize=") + row.text).maxsize(), row.maxsize) << row.text;
  EXPECT_EQ(ReadKeys("subjects=0xFFFFFFFF").subjects(), 0x7FFFFFFFu);
  EXPECT_EQ(ReadKeys("subjects=-1").subjects(), 0xFFFFFFFFu);
  EXPECT_EQ(ReadKeys("maxcount=020").maxcount(), 16);
  EXPECT_EQ(ReadKeys("charset=-1").charset(), 0u);
  EXPECT_FALSE(ReadKeys("flush=yes").flush());
  EXPECT_TRUE(ReadKeys("flush=2").flush());
  EXPECT_FALSE(ReadKeys("head=0").head());
}

TEST_F(CfgReader, ListsTextsAndWhatAMissingKeyLeaves) {
  Log_Settings start("a.log", "A title");
  start.values.flush = true;
  start.values.overwrite = true;
  start.values.head = false;
  start.values.include = {"before"};
  const Log_Settings read =
      ReadOver(start, "[logger]\ninclude=a, b;c\nexclude='a;b',c\ntitle=\ncharset=7\n");
  EXPECT_EQ(read.values.include, (std::vector<std::string>{"before", "a", "b", "c"}));
  EXPECT_EQ(read.values.exclude, (std::vector<std::string>{"'a;b'", "c"}));
  EXPECT_STREQ(read.title(), "A title");
  EXPECT_FALSE(read.flush());
  EXPECT_FALSE(read.overwrite());
  EXPECT_FALSE(read.head());

  Log_Settings again(read);
  again.values.include.clear();
  again.read_log_config(nullptr, nullptr);  // by what the first read has stored
  EXPECT_EQ(again.values.include.size(), 3u);
  EXPECT_NE(again.values.config_mtime, 0);
  EXPECT_EQ(ReadKeys("title=" + std::string(2000, 't')).values.title, std::string(1023, 't'));
}

using Reload = test::LogTest;

TEST_F(Reload, FollowsTheFiveSettingsOfItsFile) {
  const test::fs::path file = dir / "zevra.cfu";
  int stamp = 1000;
  const auto edit = [&](const std::string& keys) {
    test::Write(file, "[logger]\n" + keys);
    test::SetModifiedTime(file, ++stamp);
  };
  edit("level=error\nflush=1\nlevel=6");
  settings.read_log_config("logger", file.string().c_str());
  settings.values.console_level = 2;
  Process_Logger logger(clock);
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  logger.log_error("the first message looks, and finds nothing new");
  edit(
      "output=3\nlevel=18\nstyle=256\nconsole_level=4\ntitle=new\nmaxsize=99999\nexclude=m\nfile="
      "n");
  now += 10;
  logger.log_error("too early");
  EXPECT_EQ(logger.cfg().level(), 0u) << "no word of the table";
  now += 1;
  testing::internal::CaptureStdout();
  logger.log_trace("m: also an unwanted message looks");
  logger.log_verbose("m: through");
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "m: through");
  const Log_Settings& cfg = logger.cfg();
  EXPECT_EQ(cfg.output(), 3u);
  EXPECT_EQ(cfg.level(), 18u);
  EXPECT_EQ(cfg.console_level(), 18u);
  EXPECT_EQ(cfg.style(), 256u);
  EXPECT_FALSE(cfg.flush());
  EXPECT_STREQ(cfg.title(), settings.title());
  EXPECT_EQ(cfg.maxsize(), settings.maxsize());
  EXPECT_TRUE(cfg.values.exclude.empty());
  test::fs::remove(file);
  now += 11;
  logger.log_trace("m");
  EXPECT_EQ(cfg.level(), 18u) << "a deleted file leaves what it had set";
  edit("output=0");
  now += 11;
  logger.log_trace("m");
  EXPECT_EQ(cfg.output(), 0u);
}

TEST_F(Reload, ReloadOfOutputOnALoggerWithoutFile) {
  test::Write(dir / "zevra.cfu", "[logger]\noutput=1\n");
  settings.values.output = kOutputDebugger;
  settings.values.config_file = Path("zevra.cfu");
  Process_Logger logger(clock);
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  logger.log_error("the file is wanted now, and there is none");
  EXPECT_EQ(logger.cfg().output(), 1u);
  EXPECT_FALSE(test::fs::exists(settings.file()));
}

// For the thread sanitizer: messages read what the re-read stores.
TEST_F(Reload, ReloadsWhileOthersLog) {
  settings.values.config_file = Path("zevra.cfu");
  Process_Logger logger(clock);
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  std::atomic<bool> done{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (; !done; now += 11) logger.log_warn("m");
    });
  }
  for (int i = 0; i < 50; ++i) {
    test::Write(dir / "zevra.cfu", "[logger]\nlevel=" + std::to_string(6 + i) + "\nflush=1\n");
    test::SetModifiedTime(dir / "zevra.cfu", 1000 + i);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  done = true;
  for (std::thread& thread : threads) thread.join();
  logger.log_error("m");
  EXPECT_GE(logger.cfg().level(), 6u);
  EXPECT_EQ(logger.cfg().level(), logger.cfg().console_level());
}

}  // namespace
}  // namespace zevra
