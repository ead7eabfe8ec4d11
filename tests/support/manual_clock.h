#ifndef ZEVRA_TESTS_SUPPORT_MANUAL_CLOCK_H
#define ZEVRA_TESTS_SUPPORT_MANUAL_CLOCK_H

#include <chrono>

#include "builtin/endpoint.h"

namespace zevra::test {

// A clock that tests advance by hand, faster than real time. Stream threads wait on timers and
// sleep, so while a ManualClock exists it also replaces those operations of the platform. One at a
// time in a process; make and destroy it while no stream runs.
//
//     auto clock = std::make_shared<ManualClock>();
//     BuiltinAudio audio(endpoints, clock);
//     const auto registration = RegisterEndpoints(audio);
//     ... open a device, start a capture ...
//     clock->Advance(std::chrono::seconds(10));  // the callback has had 10 s of packets now
//
// A waitable timer is then an ordinary event that Advance sets, and Sleep lasts until Advance has
// passed its end. A thread that waits for a single object without a time-out, as a stop waits for
// its stream's thread, advances the clock to the next end of a Sleep.
class ManualClock final : public builtin::Clock {
 public:
  // Time starts at 0. Replaces the system's operations.
  ManualClock();
  // Restores the system's operations.
  ~ManualClock() override;
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  std::chrono::nanoseconds Now() const override;

  // Advances the clock, stopping at every instant at which a timer or a sleep falls due. It goes on
  // once each thread that has ever created a timer or slept waits again or has ended. So every
  // thread works at the right instant, and has finished when this returns. A thread that does not
  // wait again within a few seconds of real time is ignored. One thread at a time.
  void Advance(std::chrono::nanoseconds by);
};

}  // namespace zevra::test

#endif
