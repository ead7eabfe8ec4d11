#include "endurance/virtual_time.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

namespace zevra::endurance {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr nanoseconds kNever = nanoseconds::max();
// The day on which it all begins, in seconds since 1970.
constexpr std::int64_t kFirstSecond = 1'900'000'000;

std::atomic<std::int64_t> now_ns{0};
std::uint64_t ticks_at_begin_ms = 0;
std::atomic<bool> begun{false};

// Everything below is guarded by this.
std::mutex mutex;

struct Sleeper {
  nanoseconds due = kNever;
  bool awake = true;
  std::condition_variable woken;
};

std::set<Sleeper*> sleepers;
int awake = 1;  // the host's thread
long open_handles = 0;

struct Timer {
  nanoseconds due = kNever;
  nanoseconds period{0};
};

std::map<HANDLE, Timer> timers;
// By the handle of a thread: whether its entry has returned.
std::map<HANDLE, std::shared_ptr<bool>> threads;

void Wake(Sleeper& sleeper) {
  if (std::exchange(sleeper.awake, true)) return;
  ++awake;
  sleeper.woken.notify_one();
}

// Nobody is awake: goes on to the next moment at which somebody is due.
void Advance() {
  nanoseconds next = kNever;
  for (const Sleeper* const sleeper : sleepers) next = std::min(next, sleeper->due);
  if (next == kNever) {
    std::fputs("every thread waits for another one\n", stderr);
    std::abort();
  }
  now_ns = std::max(next.count(), now_ns.load());
  for (Sleeper* const sleeper : sleepers)
    if (sleeper->due <= next) Wake(*sleeper);
}

// Until `due`, or until something happens that may end a wait.
void Sleep(std::unique_lock<std::mutex>& hold, nanoseconds due) {
  thread_local Sleeper mine;
  mine.due = due;
  mine.awake = false;
  sleepers.insert(&mine);
  if (--awake == 0) Advance();
  mine.woken.wait(hold, [] { return mine.awake; });
  sleepers.erase(&mine);
}

void WakeAll() {
  for (Sleeper* const sleeper : sleepers) Wake(*sleeper);
}

// True once the object is signalled, which a timer and an event take back.
bool IsSignalled(HANDLE handle) {
  if (const auto timer = timers.find(handle); timer != timers.end()) {
    const nanoseconds now = VirtualNow();
    if (timer->second.due > now) return false;
    const nanoseconds late = now - timer->second.due;
    timer->second.due = now + timer->second.period - late % timer->second.period;
    return true;
  }
  // A thread whose entry has returned is as good as over.
  const auto thread = threads.find(handle);
  const bool over = thread != threads.end() && *thread->second;
  return ::WaitForSingleObject(handle, over ? INFINITE : 0) == WAIT_OBJECT_0;
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL, DWORD timeout_ms) {
  std::unique_lock hold(mutex);
  const nanoseconds end = timeout_ms == INFINITE ? kNever : VirtualNow() + milliseconds(timeout_ms);
  for (;;) {
    nanoseconds due = end;
    for (DWORD at = 0; at < count; ++at) {
      if (IsSignalled(handles[at])) return WAIT_OBJECT_0 + at;
      const auto timer = timers.find(handles[at]);
      if (timer != timers.end()) due = std::min(due, timer->second.due);
    }
    if (end <= VirtualNow()) return WAIT_TIMEOUT;
    Sleep(hold, due);
  }
}

DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms) {
  return WaitForMultipleObjects(1, &handle, FALSE, timeout_ms);
}

void SleepMilliseconds(DWORD time_ms) { VirtualSleepUntil(VirtualNow() + milliseconds(time_ms)); }

BOOL SetEvent(HANDLE event) {
  const std::lock_guard hold(mutex);
  const BOOL set = ::SetEvent(event);
  WakeAll();
  return set;
}

struct Start {
  PTHREAD_START_ROUTINE entry;
  LPVOID argument;
  std::shared_ptr<bool> over;
};

DWORD RunThread(LPVOID argument) {
  const std::unique_ptr<Start> start(static_cast<Start*>(argument));
  const DWORD code = start->entry(start->argument);
  const std::lock_guard hold(mutex);
  *start->over = true;
  WakeAll();
  if (--awake == 0) Advance();
  return code;
}

HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stack_bytes,
                    PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* id) {
  const std::lock_guard hold(mutex);
  const auto over = std::make_shared<bool>(false);
  auto start = std::make_unique<Start>(Start{entry, argument, over});
  const HANDLE thread = ::CreateThread(security, stack_bytes, RunThread, start.get(), flags, id);
  if (thread == nullptr) return nullptr;
  static_cast<void>(start.release());
  // It counts from here on, so that no time passes before it runs.
  ++awake;
  ++open_handles;
  threads[thread] = over;
  return thread;
}

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL state, LPCWSTR name) {
  const std::lock_guard hold(mutex);
  const HANDLE event = ::CreateEventW(security, manual, state, name);
  if (event != nullptr) ++open_handles;
  return event;
}

HANDLE CreateWaitableTimerW(SECURITY_ATTRIBUTES* security, BOOL manual, LPCWSTR name) {
  const std::lock_guard hold(mutex);
  const HANDLE timer = ::CreateWaitableTimerW(security, manual, name);
  if (timer == nullptr) return nullptr;
  ++open_handles;
  timers[timer] = {};
  return timer;
}

BOOL SetWaitableTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms, PTIMERAPCROUTINE,
                      LPVOID, BOOL) {
  const std::lock_guard hold(mutex);
  // Relative times are negative, in 100 ns.
  timers[timer] = {VirtualNow() + nanoseconds(-due_time->QuadPart * 100), milliseconds(period_ms)};
  return TRUE;
}

BOOL CancelWaitableTimer(HANDLE timer) {
  const std::lock_guard hold(mutex);
  timers[timer].due = kNever;
  return TRUE;
}

BOOL CloseHandle(HANDLE handle) {
  const std::lock_guard hold(mutex);
  timers.erase(handle);
  threads.erase(handle);
  --open_handles;
  return ::CloseHandle(handle);
}

}  // namespace

void BeginVirtualTime(std::uint64_t first_ticks_ms) {
  static test::Operations operations;
  operations.CreateEventW = CreateEventW;
  operations.SetEvent = SetEvent;
  operations.CreateThread = CreateThread;
  operations.CreateWaitableTimerW = CreateWaitableTimerW;
  operations.SetWaitableTimer = SetWaitableTimer;
  operations.CancelWaitableTimer = CancelWaitableTimer;
  operations.WaitForMultipleObjects = WaitForMultipleObjects;
  operations.WaitForSingleObject = WaitForSingleObject;
  operations.CloseHandle = CloseHandle;
  operations.Sleep = SleepMilliseconds;
  test::ReplaceOperations(&operations);
  ticks_at_begin_ms = first_ticks_ms;
  begun = true;
}

nanoseconds VirtualNow() { return nanoseconds(now_ns); }

void VirtualSleepUntil(nanoseconds time) {
  std::unique_lock hold(mutex);
  while (VirtualNow() < time) Sleep(hold, time);
}

long OpenHandles() {
  const std::lock_guard hold(mutex);
  return open_handles;
}

}  // namespace zevra::endurance

// The clocks that the log reads stand in front of the C library's.
// NOLINTBEGIN(readability-identifier-naming): they have its names
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock_id,
                                                                    timespec* tp) noexcept {
  if (clock_id != CLOCK_BOOTTIME || !zevra::endurance::begun)
    return static_cast<int>(syscall(SYS_clock_gettime, clock_id, tp));
  const std::int64_t time_ns =
      static_cast<std::int64_t>(zevra::endurance::ticks_at_begin_ms) * 1'000'000 +
      zevra::endurance::VirtualNow().count();
  *tp = {time_ns / 1'000'000'000, time_ns % 1'000'000'000};
  return 0;
}

extern "C" __attribute__((visibility("default"))) std::time_t time(std::time_t* timer) noexcept {
  const std::time_t seconds =
      zevra::endurance::kFirstSecond +
      std::chrono::duration_cast<std::chrono::seconds>(zevra::endurance::VirtualNow()).count();
  if (timer != nullptr) *timer = seconds;
  return seconds;
}
// NOLINTEND(readability-identifier-naming)
