#include "log/process_logger.h"

#include "log/log.h"
#include "log/paths.h"
#include "log_test.h"
#include "support/log_capture.h"

namespace zevra {
namespace {

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

TEST(ProcessLogger, ItsFileLiesBesideTheLibrary) {
  char directory[kPathBytes];
  const std::string beside = module_directory(directory, kThisLibrary);
  EXPECT_EQ(AnchorAtModule("logs\\a.log", kThisLibrary), beside + "logs/a.log");
  EXPECT_EQ(AnchorAtModule(std::string(255, 'f').c_str(), kThisLibrary), std::string(255, 'f'));
}

}  // namespace
}  // namespace zevra
