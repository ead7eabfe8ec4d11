#ifndef ZEVRA_ENDURANCE_VIRTUAL_TIME_H
#define ZEVRA_ENDURANCE_VIRTUAL_TIME_H

#include <chrono>

#include "builtin/endpoint.h"
#include "tests/support/replaceable_calls.h"

// Time that passes only while every thread of the library and the host's own one sleep: then it
// jumps to the moment at which the first of them is due. A day lasts as long as its work.

namespace zevra::endurance {

// The library's waits, timers and sleeps on that time; the host's thread is the one that calls
// this, once. The log's clocks follow: the machine's tick count begins at `first_ticks_ms`.
void BeginVirtualTime(std::uint64_t first_ticks_ms);

// Since the beginning.
std::chrono::nanoseconds VirtualNow();
void VirtualSleepUntil(std::chrono::nanoseconds time);

// Handles of the library that are open.
long OpenHandles();

// For endpoints.
struct VirtualClock final : builtin::Clock {
  std::chrono::nanoseconds Now() const override { return VirtualNow(); }
};

}  // namespace zevra::endurance

#endif
