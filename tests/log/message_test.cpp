#include <stdexcept>

#include "log/log.h"
#include "log/text.h"
#include "log_test.h"
#include "support/log_capture.h"

namespace zevra::test {
int Allocations();  // calls of operator new so far, see counted_new.cpp
}

namespace zevra {
namespace {

using Message = test::LogTest;

std::string Piece(const char* format, std::uint32_t number) {
  char text[32];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

TEST_F(Message, StyleChoosesThePieces) {
  const std::string process = Piece("[Px%04x]", CurrentProcessId());
  const std::string thread = Piece("[Tx%04x]", CurrentThreadId());
  const std::string date = "[25/03/14-09:26:53 123]";
  struct {
    std::uint32_t style;
    const char* subject;
    const char* text;
    std::string line;
  } const rows[] = {{255, nullptr, "m", date + "[ERR]" + process + thread + " m\n"},
                    {0x3D, "subject", "m", "[09:26:53 123][ERR]" + thread + "[subject ] m\n"},
                    {3 | 16, nullptr, "m\r", date + " m\r"},
                    {32, "longer than 8", "m", "[longer t] m"},
                    {1, "hidden", "m", "[09:26:53 123] m"},
                    {256, nullptr, "m", "m"},
                    {16, nullptr, "", "\n"},
                    {16, nullptr, "m\n", "m\n"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Logged([&](Process_Logger& logger) {
                logger.log_msg_i(row.subject, kLevelError, row.style, row.text);
              }),
              row.line);
    const bool bare = row.line[0] != '[';
    EXPECT_EQ(Logged([&](Process_Logger& logger) {
                logger.log_msg_i_w(row.subject ? to_wide(row.subject).c_str() : nullptr,
                                   kLevelError, row.style, to_wide(row.text).c_str());
              }),
              (bare ? " " : "") + row.line)
        << "the wide path sets its blank in any case";
  }
}

TEST_F(Message, LevelNames) {
  const std::pair<std::uint32_t, const char*> names[] = {
      {0, "CRT"}, {2, "ERR"}, {3, "WAN"}, {16, "VBS"}, {128, "TRC"}, {256, "SPK"}, {257, "UNK"}};
  Process_Logger logger(clock);
  for (const auto& [level, name] : names) EXPECT_STREQ(logger.level_name(level), name) << level;
  char hex[9];
  EXPECT_STREQ(logger.level_hex(0xAB, hex, sizeof hex), "      ab");
  EXPECT_TRUE(logger.subject_enabled(32));
}

TEST_F(Message, FiltersSeeTheTextAsGivenAndTheWholeSubject) {
  settings.values.style = 16;
  settings.values.exclude = {"secret", "a subject"};
  settings.values.include = {"keep", "long subject"};
  struct {
    const char *subject, *text, *line;
  } const rows[] = {{nullptr, "to keep", "to keep\n"},    {nullptr, "other", ""},
                    {"long subject", "other", "other\n"}, {"long subject ", "other", ""},
                    {nullptr, "keep the secret", ""},     {"a subject", "keep", ""}};
  for (const auto& row : rows) {
    EXPECT_EQ(
        Logged([&](Process_Logger& logger) { logger.log_msg_i(row.subject, 2, 0, row.text); }),
        row.line);
  }
  EXPECT_EQ(Logged([](Process_Logger& logger) { logger.log_msg_w(2, L"other"); }), " other\n");
}

TEST_F(Message, TooLongIsCutBetweenCharactersAndKeepsItsLineEnd) {
  for (const std::uint32_t style : {255u, 256u}) {
    settings.values.style = style;
    for (std::size_t shift = 0; shift < 4; ++shift) {
      std::string text(shift, 'x');
      while (text.size() < 70000) text += "\xE2\x82\xAC";
      for (const char* end : {"", "\n"}) {
        const std::string line =
            Logged([&](Process_Logger& logger) { logger.log_error("%s%s", text.c_str(), end); });
        EXPECT_GT(line.size(), 65500u);
        EXPECT_LT(line.size(), 65536u);
        EXPECT_EQ(line.back() == '\n', style == 255 || *end != '\0');
        const std::size_t last = line.find_last_not_of('\n') + 1;
        EXPECT_TRUE(!test::NarrowTextIsUtf8() || line.substr(last - 3, 3) == "\xE2\x82\xAC");
      }
    }
  }
}

TEST_F(Message, CharsetKeyAndRawBytes) {
  settings.values.style = 16;
  for (const std::uint32_t charset : {0u, 1u, 2u}) {
    settings.values.charset = charset;
    EXPECT_EQ(Logged([](Process_Logger& logger) {
                logger.log_msg(2, "narrow");
                logger.log_msg_w(2, L"wide");
                logger.write_rule('-');
              }),
              "narrow\n wide\n" + std::string(80, '-') + "\n");
  }
  settings.values.xor_key = 0x120;
  const std::string raw(20000, 'A');
  const std::string keyed = Logged([&](Process_Logger& logger) {
    logger.log_msg(2, "abc");
    EXPECT_EQ(logger.write_raw(raw.data(), 20000), 20000);
  });
  EXPECT_EQ(raw, std::string(20000, 'A')) << "the caller's bytes stay";
  EXPECT_EQ(keyed, std::string("ABC*\0", 5) + std::string(20000, 'a'));
}

TEST_F(Message, FrontEndsFollowMaskAndFlush) {
  settings.values.style = 16;
  settings.values.level = kLevelWarn | kLevelVerbose;
  Process_Logger logger(clock);
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  logger.log_verbose("waits");
  EXPECT_EQ(test::Text(settings.file()), "");
  logger.log_error("stopped, but flushes %d", 1);
  EXPECT_EQ(test::Text(settings.file()), "waits\n");
  logger.log_warn("at once");
  logger.log_trace("stopped");
  EXPECT_EQ(test::Text(settings.file()), "waits\nat once\n");
}

TEST_F(Message, NeitherAnUnopenedLoggerNorAThrowingFileReachesTheCaller) {
  Process_Logger unopened(clock);
  unopened.log_error("nobody hears %d", 1);
  EXPECT_EQ(unopened.write_raw("x", 1), -1);

  class Throwing final : public Log_IO_FILE {
   public:
    int puts(const char*) override { throw std::runtime_error("full"); }
    void flush() override { throw std::runtime_error("full"); }
  } io;
  settings.values.output = kOutputFile | kOutputConsole;
  settings.values.style = 16;
  testing::internal::CaptureStdout();
  {
    Process_Logger logger(clock);
    logger.open(&settings, &io, 0);
    logger.log_error("still on the console");
    EXPECT_EQ(logger.lock(0), 0) << "the lock was given back";
    logger.unlock();
  }
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\n"
            "still on the console\n");
}

TEST(Gate, StopsWhatIsNotWanted) {
  int evaluated = 0;
  ZEVRA_LOG_ERROR("%d", ++evaluated);  // no logger
  {
    const test::LogCapture capture(0x82);
    const TraceScope scope("::Some");
    ZEVRA_LOG_ERROR("error %x", 255u);
    ZEVRA_LOG_WARN("%d", ++evaluated);
    EXPECT_EQ(capture.Lines(), (std::vector<std::string>{"::Some | enter.", "error ff"}));
  }
  EXPECT_EQ(evaluated, 0);
}

TEST_F(Message, ADefaultLineCostsNoAllocation) {
  Process_Logger logger;
  settings.values.level = 0xFF;
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  process_logger = &logger;
  ZEVRA_LOG_VERBOSE("first %d", 1);  // looks at the settings file, as one line in 11 seconds does
  const int before = test::Allocations();
  for (int i = 0; i < 100; ++i) {
    ZEVRA_LOG_VERBOSE("::ZevraGetDeviceList | error | GetCount %x", 0x80004005u);
    ZEVRA_LOG_ERROR("%s | enter.", "::ZevraGetDeviceList");
  }
  EXPECT_EQ(test::Allocations(), before);
  process_logger = nullptr;
}

}  // namespace
}  // namespace zevra
