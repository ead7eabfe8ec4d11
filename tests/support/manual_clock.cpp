#include "support/manual_clock.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "platform/api.h"
#include "support/replaceable_calls.h"

namespace zevra::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

// How long, in real time, a thread may work between two waits before time goes on without it.
constexpr std::chrono::seconds kStuckAfter{5};

struct Timer {
  std::optional<nanoseconds> due;
  nanoseconds period{0};
};

// The threads that wait in the clock's time, and what they wait for. There is one in the process,
// because the platform's operations are plain functions, and it is never destroyed, because threads
// may outlive a clock.
struct Schedule {
  std::mutex mutex;
  std::condition_variable changed;
  std::atomic<nanoseconds> now{nanoseconds(0)};
  std::map<HANDLE, Timer> timers;  // each is an event of the system's, set when the timer is due
  std::multiset<nanoseconds> sleeps;
  int members = 0;
  // Members that do not wait. Each change makes all of them busy until they have looked at it.
  int busy = 0;
  std::uint64_t changes = 0;
};

Schedule& schedule = *new Schedule;

using Lock = std::unique_lock<std::mutex>;

thread_local bool is_member = false;

// A thread belongs to the schedule from its first timer or sleep to its end.
void Join() {
  struct Member {
    Member() {
      const Lock lock(schedule.mutex);
      ++schedule.members;
      ++schedule.busy;
      is_member = true;
    }
    ~Member() {
      const Lock lock(schedule.mutex);
      --schedule.members;
      --schedule.busy;
      schedule.changed.notify_all();
    }
  };
  thread_local const Member member;
}

void Change() {
  ++schedule.changes;
  schedule.busy = schedule.members;
  schedule.changed.notify_all();
}

// Returns once `done` holds, which is asked again after each change.
template <class Done>
void Await(Lock& lock, Done done) {
  while (!done()) {
    --schedule.busy;
    schedule.changed.notify_all();
    schedule.changed.wait(lock, [seen = schedule.changes] { return schedule.changes != seen; });
  }
}

// Until every member but the caller waits.
void AwaitIdle(Lock& lock) {
  schedule.changed.wait_for(
      lock, kStuckAfter, [] { return schedule.busy <= (is_member ? 1 : 0); });
}

std::optional<nanoseconds> NextDue() {
  std::optional<nanoseconds> next;
  if (!schedule.sleeps.empty()) next = *schedule.sleeps.begin();
  for (const auto& [handle, timer] : schedule.timers)
    if (timer.due) next = std::min(next.value_or(*timer.due), *timer.due);
  return next;
}

void FireDue() {
  for (auto& [handle, timer] : schedule.timers) {
    if (!timer.due || *timer.due > schedule.now.load()) continue;
    if (timer.period > nanoseconds::zero())
      *timer.due += timer.period;
    else
      timer.due.reset();
    ::SetEvent(handle);
  }
  Change();
}

void AdvanceTo(nanoseconds target) {
  Lock lock(schedule.mutex);
  for (AwaitIdle(lock);; AwaitIdle(lock)) {
    const auto due = NextDue();
    if (!due || *due > target) break;
    schedule.now = std::max(*due, schedule.now.load());
    FireDue();
  }
  schedule.now = std::max(target, schedule.now.load());
}

void AdvanceToNextSleepsEnd() {
  Lock lock(schedule.mutex);
  if (schedule.sleeps.empty()) return;
  const nanoseconds end = *schedule.sleeps.begin();
  lock.unlock();
  AdvanceTo(end);
}

HANDLE CreateTimer(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name) {
  Join();
  HANDLE const timer = ::CreateEventW(security, manual_reset, FALSE, name);
  const Lock lock(schedule.mutex);
  if (timer != nullptr) schedule.timers[timer] = {};
  return timer;
}

BOOL SetTimer(HANDLE timer, const LARGE_INTEGER* due, LONG period_ms, PTIMERAPCROUTINE, LPVOID,
              BOOL) {
  const Lock lock(schedule.mutex);
  schedule.timers.at(timer) = {schedule.now.load() + nanoseconds(-due->QuadPart * 100),
                               milliseconds(period_ms)};
  return TRUE;
}

BOOL SetAnEvent(HANDLE event) {
  const Lock lock(schedule.mutex);
  const BOOL set = ::SetEvent(event);
  Change();
  return set;
}

BOOL Close(HANDLE handle) {
  const Lock lock(schedule.mutex);
  schedule.timers.erase(handle);
  return ::CloseHandle(handle);
}

DWORD WaitForAny(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms) {
  Lock lock(schedule.mutex);
  if (std::none_of(handles, handles + count,
                   [](HANDLE handle) { return schedule.timers.contains(handle); })) {
    lock.unlock();
    return ::WaitForMultipleObjects(count, handles, wait_all, timeout_ms);
  }
  DWORD result = WAIT_TIMEOUT;
  Await(lock, [&] {
    result = ::WaitForMultipleObjects(count, handles, wait_all, 0);
    return result != WAIT_TIMEOUT;
  });
  return result;
}

// A thread that waits for a sleeping one lets time pass for it.
DWORD WaitForOne(HANDLE handle, DWORD timeout_ms) {
  if (timeout_ms != INFINITE) return ::WaitForSingleObject(handle, timeout_ms);
  for (;;) {
    const DWORD result = ::WaitForSingleObject(handle, 1);
    if (result != WAIT_TIMEOUT) return result;
    AdvanceToNextSleepsEnd();
  }
}

void SleepInClockTime(DWORD length_ms) {
  Join();
  Lock lock(schedule.mutex);
  const auto end = schedule.sleeps.insert(schedule.now.load() + milliseconds(length_ms));
  Await(lock, [&] { return schedule.now.load() >= *end; });
  schedule.sleeps.erase(end);
}

constexpr Operations kOperations = {
    .SetEvent = SetAnEvent,
    .CreateWaitableTimerW = CreateTimer,
    .SetWaitableTimer = SetTimer,
    .WaitForMultipleObjects = WaitForAny,
    .WaitForSingleObject = WaitForOne,
    .CloseHandle = Close,
    .Sleep = SleepInClockTime,
};

}  // namespace

ManualClock::ManualClock() {
  const Lock lock(schedule.mutex);
  schedule.now = nanoseconds(0);
  schedule.timers.clear();
  ReplaceOperations(&kOperations);
}

ManualClock::~ManualClock() { ReplaceOperations(nullptr); }

nanoseconds ManualClock::Now() const { return schedule.now; }

void ManualClock::Advance(nanoseconds by) const { AdvanceTo(Now() + by); }

}  // namespace zevra::test
