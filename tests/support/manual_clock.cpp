#include "support/manual_clock.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "platform/api.h"
#include "support/replaceable_calls.h"

namespace zevra::test {
namespace {

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

const Operations& System() { return SystemOperations(); }

// How long, in real time, a thread may work between two waits before time goes on without it.
constexpr std::chrono::seconds kStuckAfter{5};

thread_local SimulatedThread this_thread;

Schedule& SharedSchedule() {
  static auto* const schedule = new Schedule;
  return *schedule;
}

SimulatedThread::~SimulatedThread() { SharedSchedule().ThreadEnds(*this); }

void Schedule::Reset() {
  const Lock lock(mutex_);
  now_.store(0, std::memory_order_release);
  timers_.clear();
}

void Schedule::Wake(SimulatedThread& thread) {
  if (thread.awake) return;
  thread.awake = true;
  ++awake_;
}

void Schedule::ThreadEnds(SimulatedThread& thread) {
  const Lock lock(mutex_);
  if (!thread.awake) return;
  thread.awake = false;
  --awake_;
  changed_.notify_all();
}

void Schedule::AddTimer(HANDLE timer) {
  const Lock lock(mutex_);
  timers_[timer] = {};
  Wake(this_thread);
}

void Schedule::RemoveTimer(HANDLE timer) {
  const Lock lock(mutex_);
  timers_.erase(timer);
}

bool Schedule::Arm(HANDLE timer, nanoseconds delay, nanoseconds period) {
  const Lock lock(mutex_);
  const auto found = timers_.find(timer);
  if (found == timers_.end()) return false;
  found->second.due = Now() + delay;
  found->second.period = period;
  return true;
}

bool Schedule::Disarm(HANDLE timer) {
  const Lock lock(mutex_);
  const auto found = timers_.find(timer);
  if (found == timers_.end()) return false;
  found->second.due.reset();
  return true;
}

bool Schedule::HasTimer(std::span<const HANDLE> handles) {
  const Lock lock(mutex_);
  return std::any_of(handles.begin(), handles.end(),
                     [this](HANDLE handle) { return timers_.contains(handle); });
}

void Schedule::Sleep(nanoseconds length) {
  SimulatedThread& me = this_thread;
  Lock lock(mutex_);
  const nanoseconds due = Now() + length;
  sleepers_.push_back({due, &me});
  if (me.awake) --awake_;
  me.awake = false;
  changed_.notify_all();
  changed_.wait(lock, [&] { return me.awake; });
}

DWORD Schedule::Wait(std::span<const HANDLE> handles, BOOL wait_all, DWORD timeout_ms) {
  SimulatedThread& me = this_thread;
  {
    const Lock lock(mutex_);
    bool ends_at_once = false;
    for (const HANDLE handle : handles) {
      const auto timer = timers_.find(handle);
      if (timer == timers_.end()) continue;
      timer->second.waiter = &me;
      ends_at_once |= timer->second.pending;
    }
    if (me.awake && !ends_at_once) {
      me.awake = false;
      --awake_;
      changed_.notify_all();
    }
  }
  const DWORD result = System().WaitForMultipleObjects(static_cast<DWORD>(handles.size()),
                                                       handles.data(), wait_all, timeout_ms);
  const Lock lock(mutex_);
  Wake(me);
  for (std::size_t index = 0; index < handles.size(); ++index) {
    const auto timer = timers_.find(handles[index]);
    if (timer == timers_.end()) continue;
    timer->second.waiter = nullptr;
    if (result == WAIT_OBJECT_0 + index) timer->second.pending = false;
  }
  return result;
}

// Until every thread but the caller waits.
void Schedule::AwaitIdle(Lock& lock) {
  const int self = this_thread.awake ? 1 : 0;
  changed_.wait_for(lock, kStuckAfter, [&] { return awake_ <= self; });
}

std::optional<nanoseconds> Schedule::NextDue() const {
  std::optional<nanoseconds> next;
  const auto consider = [&next](nanoseconds due) { next = next ? std::min(*next, due) : due; };
  for (const auto& [handle, timer] : timers_)
    if (timer.due) consider(*timer.due);
  for (const SleepingThread& sleeper : sleepers_) consider(sleeper.due);
  return next;
}

void Schedule::FireDue() {
  for (auto& [handle, timer] : timers_) {
    if (!timer.due || *timer.due > Now()) continue;
    if (timer.period > nanoseconds::zero())
      *timer.due += timer.period;
    else
      timer.due.reset();
    timer.pending = true;
    if (timer.waiter != nullptr) Wake(*timer.waiter);
    System().SetEvent(handle);
  }
  std::erase_if(sleepers_, [this](const SleepingThread& sleeper) {
    if (sleeper.due > Now()) return false;
    Wake(*sleeper.thread);
    return true;
  });
  changed_.notify_all();
}

void Schedule::AdvanceTo(nanoseconds target) {
  Lock lock(mutex_);
  for (AwaitIdle(lock);; AwaitIdle(lock)) {
    const auto due = NextDue();
    if (!due || *due > target) break;
    now_.store(std::max(*due, Now()).count(), std::memory_order_release);
    FireDue();
  }
  now_.store(std::max(target, Now()).count(), std::memory_order_release);
}

void Schedule::AdvanceToNextWakeUp() {
  std::optional<nanoseconds> due;
  {
    const Lock lock(mutex_);
    for (const SleepingThread& sleeper : sleepers_)
      due = std::min(due.value_or(sleeper.due), sleeper.due);
  }
  if (due) AdvanceTo(*due);
}

using HnsDuration = std::chrono::duration<LONGLONG, std::ratio<1, 10'000'000>>;

// How often a thread that waits for an object looks whether time has to pass for it.
constexpr DWORD kPollMilliseconds = 1;

HANDLE CreateTimer(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name) {
  HANDLE const timer = System().CreateEventW(security, manual_reset, FALSE, name);
  if (timer != nullptr) SharedSchedule().AddTimer(timer);
  return timer;
}

BOOL SetTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
              PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume) {
  const HnsDuration delay(due_time != nullptr ? -due_time->QuadPart : 0);
  if (SharedSchedule().Arm(timer, delay, std::chrono::milliseconds(period_ms))) return TRUE;
  return System().SetWaitableTimer(timer, due_time, period_ms, completion, argument, resume);
}

BOOL CancelTimer(HANDLE timer) {
  return SharedSchedule().Disarm(timer) ? TRUE : System().CancelWaitableTimer(timer);
}

BOOL Close(HANDLE handle) {
  SharedSchedule().RemoveTimer(handle);
  return System().CloseHandle(handle);
}

DWORD WaitForAny(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms) {
  if (handles == nullptr || !SharedSchedule().HasTimer({handles, count}))
    return System().WaitForMultipleObjects(count, handles, wait_all, timeout_ms);
  return SharedSchedule().Wait({handles, count}, wait_all, timeout_ms);
}

DWORD WaitForOne(HANDLE handle, DWORD timeout_ms) {
  if (SharedSchedule().HasTimer({&handle, 1}))
    return SharedSchedule().Wait({&handle, 1}, FALSE, timeout_ms);
  if (timeout_ms != INFINITE) return System().WaitForSingleObject(handle, timeout_ms);
  for (;;) {
    const DWORD result = System().WaitForSingleObject(handle, kPollMilliseconds);
    if (result != WAIT_TIMEOUT) return result;
    SharedSchedule().AdvanceToNextWakeUp();
  }
}

void SleepInClockTime(DWORD milliseconds) {
  SharedSchedule().Sleep(std::chrono::milliseconds(milliseconds));
}

Operations MakeOperations() {
  Operations operations = System();
  operations.CreateWaitableTimerW = CreateTimer;
  operations.SetWaitableTimer = SetTimer;
  operations.CancelWaitableTimer = CancelTimer;
  operations.CloseHandle = Close;
  operations.WaitForMultipleObjects = WaitForAny;
  operations.WaitForSingleObject = WaitForOne;
  operations.Sleep = SleepInClockTime;
  return operations;
}

}  // namespace

ManualClock::ManualClock() {
  SharedSchedule().Reset();
  static const Operations operations = MakeOperations();
  ReplaceOperations(&operations);
}

ManualClock::~ManualClock() { ReplaceOperations(nullptr); }

nanoseconds ManualClock::Now() const { return SharedSchedule().Now(); }

void ManualClock::Advance(nanoseconds by) {
  SharedSchedule().AdvanceTo(SharedSchedule().Now() + by);
}

}  // namespace zevra::test
