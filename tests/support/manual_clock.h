#ifndef ZEVRA_TESTS_SUPPORT_MANUAL_CLOCK_H
#define ZEVRA_TESTS_SUPPORT_MANUAL_CLOCK_H

#include <chrono>

#include "builtin/endpoint.h"
#include "support/replaceable_calls.h"

namespace zevra::test {

// Time that a test turns by hand, faster than life. A machine on this clock is only half of it: the
// stream threads wait on timers and sleep, so while a ManualClock lives it also stands behind those
// operations of the platform. One at a time in a process; make and destroy it while no stream runs.
//
//     auto clock = std::make_shared<ManualClock>();
//     Machine machine(endpoints, clock);
//     const auto registration = RegisterEndpoints(machine);
//     ... open a device, start a capture ...
//     clock->Advance(std::chrono::seconds(10));  // the callback has had 10 s of packets now
//
// A waitable timer is then an ordinary event that Advance sets, Sleep lasts until Advance has come
// past its end, and a thread that waits for a single object without a time-out, as a stop does for
// its stream's thread, lets the time pass that sleeping threads need. All else is the system's.
class ManualClock final : public builtin::Clock {
 public:
  // Time begins at 0. Puts InForce() in the place of the system's.
  ManualClock();
  // Puts the system's back.
  ~ManualClock() override;
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  std::chrono::nanoseconds Now() const override;

  // Turns the clock on, stopping at every instant at which a timer or a sleep falls due, and goes
  // on from there once each thread that has ever created a timer or slept is waiting again or has
  // ended. So every thread does its work at the right instant, and has done it when this returns. A
  // thread that gets stuck is given up after a few seconds of real time. One thread at a time.
  void Advance(std::chrono::nanoseconds by);

  // The operations in force, for a test that puts a table of its own on top of them.
  static const Operations& InForce();
};

}  // namespace zevra::test

#endif
