#include "support/manual_schedule.h"

#include <algorithm>

#include "support/replaceable_calls.h"

namespace zevra::test {
namespace {

// How long, in real time, a thread may work between two waits before time goes on without it.
constexpr std::chrono::seconds kStuckAfter{5};

const Operations& System() { return SystemOperations(); }

thread_local SimulatedThread this_thread;

}  // namespace

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

}  // namespace zevra::test
