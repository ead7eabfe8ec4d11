#include <ctime>

#include "bench/processor_time.h"

namespace zevra::bench {

double ProcessorMs() {
  timespec used{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

}  // namespace zevra::bench
