#include <stdexcept>

#include "log/log.h"
#include "log/text.h"
#include "log_test.h"

namespace zevra::test {
namespace {

using Message = LogTest;

TEST_F(Message, StyleChoosesThePieces) {
  char ids[64];
  std::snprintf(ids, sizeof ids, "[Px%04x][Tx%04x]", CurrentProcessId(), CurrentThreadId());
  const std::string both = ids, thread = both.substr(both.find("[T"));
  const std::string date = "[25/03/14-09:26:53 123]";
  struct {
    std::uint32_t style;
    const char *subject, *text;
    std::string line;
  } const rows[] = {{255, nullptr, "m", date + "[ERR]" + both + " m\n"},
                    {0x3D, "subject", "m", "[09:26:53 123][ERR]" + thread + "[subject ] m\n"},
                    {3 | 16, nullptr, "m\r", date + " m\r"},
                    {32, "longer than 8", "m", "[longer t] m"},
                    {1, "hidden", "m", "[09:26:53 123] m"},
                    {256, nullptr, "m", "m"},
                    {16, nullptr, "", "\n"},
                    {16, nullptr, "m\n", "m\n"}};
  for (const auto& row : rows) {
    const auto narrow = [&](Process_Logger& logger) {
      logger.log_msg_i(row.subject, kLevelError, row.style, row.text);
    };
    const auto wide = [&](Process_Logger& logger) {
      logger.log_msg_i_w(row.subject ? to_wide(row.subject).c_str() : nullptr, kLevelError,
                         row.style, to_wide(row.text).c_str());
    };
    EXPECT_EQ(Logged(narrow), row.line);
    EXPECT_EQ(Logged(wide), (row.line[0] != '[' ? " " : "") + row.line)
        << "the wide path sets its blank in any case";
  }
  const std::pair<std::uint32_t, const char*> names[] = {
      {0, "CRT"}, {2, "ERR"}, {3, "WAN"}, {16, "VBS"}, {128, "TRC"}, {256, "SPK"}, {257, "UNK"}};
  Process_Logger logger(kClock);
  for (const auto& [level, name] : names) EXPECT_STREQ(logger.level_name(level), name) << level;
}

TEST_F(Message, FiltersSeeTheTextAsGivenAndTheWholeSubject) {
  settings.values.exclude = {"secret", "a subject"};
  settings.values.include = {"keep", "long subject"};
  struct {
    const char *subject, *text;
    bool passes;
  } const rows[] = {{nullptr, "to keep", true},          {nullptr, "other", false},
                    {"long subject", "other", true},     {"long subject ", "other", false},
                    {nullptr, "keep the secret", false}, {"a subject", "keep", false}};
  for (const auto& row : rows) {
    const auto log = [&](Process_Logger& logger) { logger.log_msg_i(row.subject, 2, 0, row.text); };
    EXPECT_NE(Logged(log).empty(), row.passes) << row.text;
  }
}

TEST_F(Message, TooLongIsCutBetweenCharactersAndKeepsItsLineEnd) {
  for (std::size_t i = 0; i < 6; ++i) {
    settings.values.style = 256;
    std::string text(i % 3, 'x');
    while (text.size() < 70000) text += "\xE2\x82\xAC";
    if (i < 3) text += '\n';
    const std::string line =
        Logged([&](Process_Logger& logger) { logger.log_error("%s", text.c_str()); });
    EXPECT_TRUE(line.size() > 65500 && line.size() < 65536) << line.size();
    EXPECT_EQ(line.back() == '\n', i < 3);
    // The code page of the user decides it on Windows.
    EXPECT_TRUE(kOnWindows || line.substr(line.size() - (i < 3 ? 4 : 3), 3) == "\xE2\x82\xAC");
  }
}

TEST_F(Message, CharsetKeyAndRawBytes) {
  settings.values.style = 16;
  const std::string raw(20000, 'A'), narrow = "abc\n" + std::string(80, '-') + "\n" + raw;
  const auto log = [&](Process_Logger& logger) {
    logger.log_msg(2, "abc");
    if (settings.values.xor_key == 0) logger.write_rule('-');
    EXPECT_EQ(logger.write_raw(raw.data(), 20000), 20000);
  };
  for (settings.values.charset = 0; settings.values.charset < 3; ++settings.values.charset) {
    EXPECT_EQ(Logged(log), narrow);
    EXPECT_EQ(Logged([](Process_Logger& logger) { logger.log_msg_w(2, L"wide"); }), " wide\n");
  }
  settings.values.xor_key = 0x120;
  EXPECT_EQ(Logged(log), std::string("ABC*\0", 5) + std::string(20000, 'a'));
}

TEST_F(Message, GateAndFrontEndsFollowMaskAndFlush) {
  settings.values.style = 16;
  settings.values.level = kLevelWarn | kLevelVerbose;
  Process_Logger logger(kClock);
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  int evaluated = 0;
  ZEVRA_LOG_WARN("%d", ++evaluated);  // no logger
  process_logger = &logger;
  ZEVRA_LOG_ERROR("%d", ++evaluated);
  EXPECT_EQ(evaluated, 0);
  ZEVRA_LOG_VERBOSE("waits");
  EXPECT_EQ(Text(settings.file()), "");
  logger.log_error("stopped, but flushes %d", 1);
  EXPECT_EQ(Text(settings.file()), "waits\n");
  ZEVRA_LOG_WARN("at once");
  EXPECT_EQ(Text(settings.file()), "waits\nat once\n");
  process_logger = nullptr;
}

TEST_F(Message, AThrowingFileDoesNotReachTheCaller) {
  class Throwing final : public Log_IO_FILE {
   public:
    int puts(const char*) override { throw std::runtime_error("full"); }
    void flush() override { throw std::runtime_error("full"); }
  } io;
  settings.values.output = kOutputFile | kOutputConsole;
  settings.values.style = 16;
  testing::internal::CaptureStdout();
  Process_Logger logger(kClock);
  logger.open(&settings, &io, 0);
  logger.log_error("still on the console");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\n"
            "still on the console\n");
}

}  // namespace
}  // namespace zevra::test
