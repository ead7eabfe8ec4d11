#include <fcntl.h>

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

}  // namespace
}  // namespace zevra
