#include "log/log.h"
#include "log_test.h"
#include "support/counting_heap.h"

namespace zevra::test {

using Allocation = LogTest;

TEST_F(Allocation, ADefaultLineTakesNothingFromTheHeap) {
  Process_Logger logger;
  settings.values.level = 0xFF;
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  process_logger = &logger;
  ZEVRA_LOG_VERBOSE("first %d", 1);  // looks at the settings file, as one line in 11 seconds does
  const long before = Allocations();
  for (int i = 0; i < 100; ++i) {
    ZEVRA_LOG_VERBOSE("::ZevraGetDeviceList | error | GetCount %x", 0x80004005u);
    ZEVRA_LOG_ERROR("%s | enter.", "::ZevraGetDeviceList");
  }
  EXPECT_EQ(Allocations(), before);
  process_logger = nullptr;
}

}  // namespace zevra::test
