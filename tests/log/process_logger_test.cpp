#include "log/process_logger.h"

#include <gtest/gtest.h>

#include "log/gate.h"
#include "log/trace_scope.h"
#include "support/log_capture.h"

namespace zevra {
namespace {

TEST(Gate, StopsWhatIsNotWanted) {
  test::LogCapture capture(0x92);
  {
    TraceScope scope("::Some");
    ZEVRA_LOG_ERROR("error %x", 255u);
    ZEVRA_LOG_WARN("warn");
  }
  EXPECT_EQ(capture.Lines(),
            (std::vector<std::string>{"::Some | enter.", "error ff", "::Some | leave."}));
}

}  // namespace
}  // namespace zevra
