#include <unistd.h>

#include "log_test.h"

namespace zevra {
namespace {

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

}  // namespace
}  // namespace zevra
