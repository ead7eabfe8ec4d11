#include "support/manual_clock.h"

#include "support/manual_schedule.h"

namespace zevra::test {
namespace {

using HnsDuration = std::chrono::duration<LONGLONG, std::ratio<1, 10'000'000>>;

// How often a thread that waits for an object looks whether time has to pass for it.
constexpr DWORD kPollMilliseconds = 1;

const Operations& System() { return SystemOperations(); }

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
  ReplaceOperations(&InForce());
}

ManualClock::~ManualClock() { ReplaceOperations(nullptr); }

nanoseconds ManualClock::Now() const { return SharedSchedule().Now(); }

void ManualClock::Advance(nanoseconds by) {
  SharedSchedule().AdvanceTo(SharedSchedule().Now() + by);
}

const Operations& ManualClock::InForce() {
  static const Operations operations = MakeOperations();
  return operations;
}

}  // namespace zevra::test
