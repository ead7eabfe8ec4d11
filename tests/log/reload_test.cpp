#include <chrono>
#include <thread>

#include "log_test.h"

namespace zevra {
namespace {

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
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (!done) {
        logger.log_warn("m");
        now += 11;
      }
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
