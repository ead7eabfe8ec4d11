#ifndef ZEVRA_ENDURANCE_CALLS_H
#define ZEVRA_ENDURANCE_CALLS_H

#include <cstdint>
#include <functional>

#include "endurance/board.h"

namespace zevra::endurance {

// While one exists in the process, results that only a lack of descriptors explains are right, and
// for a moment afterwards.
class Shortage {
 public:
  Shortage();
  ~Shortage();
  Shortage(const Shortage&) = delete;
  Shortage& operator=(const Shortage&) = delete;
};

// Makes an exported call, which the driver watches, and ends the run if its result is none of the
// documented ones. Gives the result.
std::int32_t Make(Call call, const std::function<std::int32_t()>& function);

// Prints the calling thread's stack on SIGUSR1, and before it dies of a fault.
void PrintStacksOnSignals();

}  // namespace zevra::endurance

#endif
