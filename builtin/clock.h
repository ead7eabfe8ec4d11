#ifndef ZEVRA_BUILTIN_CLOCK_H
#define ZEVRA_BUILTIN_CLOCK_H

#include <chrono>
#include <memory>

namespace zevra::builtin {

// Time as the machine inside the process sees it.
class Clock {
 public:
  virtual ~Clock() = default;
  // Since a beginning of the clock's own; never goes back. Any thread, no lock, no allocation.
  virtual std::chrono::nanoseconds Now() const = 0;
};

// The system's steady clock, beginning at the call.
std::shared_ptr<const Clock> RealClock();

}  // namespace zevra::builtin

#endif
