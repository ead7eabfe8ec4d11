#include "platform/builtin/manual_clock.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace zevra::builtin {
namespace {

using std::chrono::nanoseconds;
using HnsDuration = std::chrono::duration<LONGLONG, std::ratio<1, 10'000'000>>;

// How long, in real time, a thread may work between two waits before time goes on without it.
constexpr std::chrono::seconds kPatience{5};
// How often a thread that waits for an object looks whether time has to pass for it.
constexpr DWORD kLookMilliseconds = 1;

const platform::Operations& System() { return platform::SystemOperations(); }

// A thread that waits in the clock's time: from its first timer or sleep to its end.
struct Participant {
  Participant() = default;
  ~Participant();
  Participant(const Participant&) = delete;
  Participant& operator=(const Participant&) = delete;

  // Guarded by the schedule's lock.
  bool awake = false;
};

thread_local Participant this_thread;

struct Timer {
  std::optional<nanoseconds> due;
  nanoseconds period{0};
  // Set, and no wait has ended through it yet.
  bool pending = false;
  Participant* waiter = nullptr;
};

struct Sleeper {
  nanoseconds due;
  Participant* participant;
};

// Who waits for what. There is one in the process, because the platform's operations are plain
// functions; it has no end, because threads that outlive a clock still report to it.
class Schedule {
 public:
  nanoseconds Now() const { return nanoseconds(now_.load(std::memory_order_acquire)); }
  void Reset();

  void AddTimer(HANDLE timer);
  void RemoveTimer(HANDLE timer);
  bool Arm(HANDLE timer, nanoseconds delay, nanoseconds period);
  bool Disarm(HANDLE timer);
  bool HasTimer(std::span<const HANDLE> handles);

  void Sleep(nanoseconds length);
  DWORD Wait(std::span<const HANDLE> handles, BOOL wait_all, DWORD timeout_ms);
  void ParticipantEnds(Participant& participant);

  // Both go from instant to instant, as Advance tells; the second ends with the next sleep that is
  // over, or at once if nobody sleeps.
  void TurnTo(nanoseconds target);
  void TurnToNextSleeper();

 private:
  using Lock = std::unique_lock<std::mutex>;

  void Wake(Participant& participant);
  void Settle(Lock& lock);
  std::optional<nanoseconds> NextDue() const;
  void FireDue();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<nanoseconds::rep> now_{0};
  std::map<HANDLE, Timer> timers_;
  std::vector<Sleeper> sleepers_;
  int awake_ = 0;
};

Schedule& TheSchedule() {
  static auto* const schedule = new Schedule;
  return *schedule;
}

Participant::~Participant() { TheSchedule().ParticipantEnds(*this); }

void Schedule::Reset() {
  const Lock lock(mutex_);
  now_.store(0, std::memory_order_release);
  timers_.clear();
}

void Schedule::Wake(Participant& participant) {
  if (participant.awake) return;
  participant.awake = true;
  ++awake_;
}

void Schedule::ParticipantEnds(Participant& participant) {
  const Lock lock(mutex_);
  if (!participant.awake) return;
  participant.awake = false;
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
  Participant& me = this_thread;
  Lock lock(mutex_);
  const nanoseconds due = Now() + length;
  sleepers_.push_back({due, &me});
  if (me.awake) --awake_;
  me.awake = false;
  changed_.notify_all();
  changed_.wait(lock, [&] { return me.awake; });
}

DWORD Schedule::Wait(std::span<const HANDLE> handles, BOOL wait_all, DWORD timeout_ms) {
  Participant& me = this_thread;
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

// Until every participant but the caller waits.
void Schedule::Settle(Lock& lock) {
  const int self = this_thread.awake ? 1 : 0;
  changed_.wait_for(lock, kPatience, [&] { return awake_ <= self; });
}

std::optional<nanoseconds> Schedule::NextDue() const {
  std::optional<nanoseconds> next;
  const auto consider = [&next](nanoseconds due) { next = next ? std::min(*next, due) : due; };
  for (const auto& [handle, timer] : timers_) {
    if (timer.due) consider(*timer.due);
  }
  for (const Sleeper& sleeper : sleepers_) consider(sleeper.due);
  return next;
}

void Schedule::FireDue() {
  for (auto& [handle, timer] : timers_) {
    if (!timer.due || *timer.due > Now()) continue;
    if (timer.period > nanoseconds::zero()) {
      *timer.due += timer.period;
    } else {
      timer.due.reset();
    }
    timer.pending = true;
    if (timer.waiter != nullptr) Wake(*timer.waiter);
    System().SetEvent(handle);
  }
  std::erase_if(sleepers_, [this](const Sleeper& sleeper) {
    if (sleeper.due > Now()) return false;
    Wake(*sleeper.participant);
    return true;
  });
  changed_.notify_all();
}

void Schedule::TurnTo(nanoseconds target) {
  Lock lock(mutex_);
  for (Settle(lock);; Settle(lock)) {
    const auto due = NextDue();
    if (!due || *due > target) break;
    now_.store(std::max(*due, Now()).count(), std::memory_order_release);
    FireDue();
  }
  now_.store(std::max(target, Now()).count(), std::memory_order_release);
}

void Schedule::TurnToNextSleeper() {
  std::optional<nanoseconds> due;
  {
    const Lock lock(mutex_);
    for (const Sleeper& sleeper : sleepers_) due = std::min(due.value_or(sleeper.due), sleeper.due);
  }
  if (due) TurnTo(*due);
}

HANDLE CreateTimer(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name) {
  HANDLE const timer = System().CreateEventW(security, manual_reset, FALSE, name);
  if (timer != nullptr) TheSchedule().AddTimer(timer);
  return timer;
}

BOOL SetTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
              PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume) {
  const HnsDuration delay(due_time != nullptr ? -due_time->QuadPart : 0);
  if (TheSchedule().Arm(timer, delay, std::chrono::milliseconds(period_ms))) return TRUE;
  return System().SetWaitableTimer(timer, due_time, period_ms, completion, argument, resume);
}

BOOL CancelTimer(HANDLE timer) {
  return TheSchedule().Disarm(timer) ? TRUE : System().CancelWaitableTimer(timer);
}

BOOL Close(HANDLE handle) {
  TheSchedule().RemoveTimer(handle);
  return System().CloseHandle(handle);
}

DWORD WaitForAny(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms) {
  if (handles == nullptr || !TheSchedule().HasTimer({handles, count})) {
    return System().WaitForMultipleObjects(count, handles, wait_all, timeout_ms);
  }
  return TheSchedule().Wait({handles, count}, wait_all, timeout_ms);
}

DWORD WaitForOne(HANDLE handle, DWORD timeout_ms) {
  if (TheSchedule().HasTimer({&handle, 1})) {
    return TheSchedule().Wait({&handle, 1}, FALSE, timeout_ms);
  }
  if (timeout_ms != INFINITE) return System().WaitForSingleObject(handle, timeout_ms);
  for (;;) {
    const DWORD result = System().WaitForSingleObject(handle, kLookMilliseconds);
    if (result != WAIT_TIMEOUT) return result;
    TheSchedule().TurnToNextSleeper();
  }
}

void SleepInClockTime(DWORD milliseconds) {
  TheSchedule().Sleep(std::chrono::milliseconds(milliseconds));
}

platform::Operations MakeOperations() {
  platform::Operations operations = System();
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
  TheSchedule().Reset();
  platform::ReplaceOperations(&Operations());
}

ManualClock::~ManualClock() { platform::ReplaceOperations(nullptr); }

nanoseconds ManualClock::Now() const { return TheSchedule().Now(); }

void ManualClock::Advance(nanoseconds by) { TheSchedule().TurnTo(TheSchedule().Now() + by); }

const platform::Operations& ManualClock::Operations() {
  static const platform::Operations operations = MakeOperations();
  return operations;
}

}  // namespace zevra::builtin
