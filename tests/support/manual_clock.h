#ifndef ZEVRA_TESTS_SUPPORT_MANUAL_CLOCK_H
#define ZEVRA_TESTS_SUPPORT_MANUAL_CLOCK_H

#include <chrono>

#include "builtin/endpoint.h"

namespace zevra::test {

// A clock that tests advance by hand, faster than real time. While it exists, timers and sleeps of
// the library's threads follow it. One at a time in a process; make and destroy it while no stream
// runs.
//
//     auto clock = std::make_shared<ManualClock>();
//     BuiltinAudio audio(endpoints, clock);
//     const auto registration = RegisterEndpoints(audio);
//     ... open a device, start a capture ...
//     clock->Advance(std::chrono::seconds(10));  // the callback has had 10 s of packets now
//
// A thread that waits for a single object without a time-out, as a stop waits for its stream's
// thread, advances the clock to the next end of a sleep.
class ManualClock final : public builtin::Clock {
 public:
  // Time starts at 0.
  ManualClock();
  ~ManualClock() override;
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  std::chrono::nanoseconds Now() const override;

  // Stops at every instant at which a timer or a sleep falls due, until each thread that has ever
  // made a timer or slept waits again or has ended. So every thread works at the right instant, and
  // has finished when this returns. A thread that does not wait again within a few seconds of real
  // time is ignored. One thread at a time.
  void Advance(std::chrono::nanoseconds by) const;
};

}  // namespace zevra::test

#endif
