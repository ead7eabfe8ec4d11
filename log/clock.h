#ifndef ZEVRA_LOG_CLOCK_H
#define ZEVRA_LOG_CLOCK_H

#include "platform/clock.h"

namespace zevra {

// The time that a logger goes by: wall clock in seconds since 1970, a millisecond counter that
// wraps at 32 bits, and a way to wait. Tests bring their own. Any thread may call the functions.
struct Log_Clock {
  std::int64_t (*seconds)();
  std::uint32_t (*ticks_ms)();
  void (*sleep_ms)(std::uint32_t milliseconds);
};

constexpr Log_Clock kSystemClock{WallClockSeconds, TickCountMs, SleepMs};

}  // namespace zevra

#endif
