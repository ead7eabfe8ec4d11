#ifndef ZEVRA_TESTS_SUPPORT_MANUAL_SCHEDULE_H
#define ZEVRA_TESTS_SUPPORT_MANUAL_SCHEDULE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "platform/api.h"

// The timers and sleeps of a ManualClock: which thread waits for which instant. Any thread.

namespace zevra::test {

using std::chrono::nanoseconds;

// A thread that waits in the clock's time: from its first timer or sleep to its end.
struct SimulatedThread {
  SimulatedThread() = default;
  ~SimulatedThread();
  SimulatedThread(const SimulatedThread&) = delete;
  SimulatedThread& operator=(const SimulatedThread&) = delete;

  // Guarded by the schedule's lock.
  bool awake = false;
};

struct Timer {
  std::optional<nanoseconds> due;
  nanoseconds period{0};
  // Set, and no wait has ended through it yet.
  bool pending = false;
  SimulatedThread* waiter = nullptr;
};

struct SleepingThread {
  nanoseconds due;
  SimulatedThread* thread;
};

// There is one in the process, because the platform's operations are plain functions. It is never
// destroyed, because threads that outlive a clock still report to it.
class Schedule {
 public:
  nanoseconds Now() const { return nanoseconds(now_.load(std::memory_order_acquire)); }
  // Back to 0, without timers.
  void Reset();

  // A timer is an auto-reset event of the system's, which is set when it falls due. Those below
  // that give a bool give false for a handle that is none.
  void AddTimer(HANDLE timer);
  void RemoveTimer(HANDLE timer);
  bool Arm(HANDLE timer, nanoseconds delay, nanoseconds period);
  bool Disarm(HANDLE timer);
  bool HasTimer(std::span<const HANDLE> handles);

  void Sleep(nanoseconds length);
  // As WaitForMultipleObjects, for handles with a timer among them.
  DWORD Wait(std::span<const HANDLE> handles, BOOL wait_all, DWORD timeout_ms);
  void ThreadEnds(SimulatedThread& thread);

  // As ManualClock::Advance. The second stops at the next end of a sleep, or at once if no thread
  // sleeps.
  void AdvanceTo(nanoseconds target);
  void AdvanceToNextWakeUp();

 private:
  using Lock = std::unique_lock<std::mutex>;

  void Wake(SimulatedThread& thread);
  void AwaitIdle(Lock& lock);
  std::optional<nanoseconds> NextDue() const;
  void FireDue();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<nanoseconds::rep> now_{0};
  std::map<HANDLE, Timer> timers_;
  std::vector<SleepingThread> sleepers_;
  int awake_ = 0;
};

Schedule& SharedSchedule();

}  // namespace zevra::test

#endif
