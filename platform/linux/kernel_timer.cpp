#include <sys/timerfd.h>

#include <cerrno>

#include "platform/linux/handle_table.h"
#include "platform/linux/last_error.h"

using zevra::ObjectKind;
using zevra::Pinned;

namespace {

constexpr std::int64_t kUnitsInSecond = 10'000'000;
constexpr long kNanosecondsInUnit = 100;

bool Arm(int descriptor, const itimerspec& when) {
  // Setting also forgets the ticks that nobody has waited for.
  if (::timerfd_settime(descriptor, 0, &when, nullptr) == 0) return true;
  zevra::SetLastErrorFromErrno(errno);
  return false;
}

}  // namespace

HANDLE CreateWaitableTimerW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name) {
  if (security != nullptr || name != nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const int descriptor = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
  const auto* const object =
      zevra::OpenObject(ObjectKind::kTimer, manual_reset != FALSE, descriptor);
  return object != nullptr ? HandleOf(*object) : nullptr;
}

BOOL SetWaitableTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
                      PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume) {
  const Pinned object(timer, ObjectKind::kTimer);
  if (!object) return FALSE;
  if (due_time == nullptr || due_time->QuadPart > 0 || period_ms < 0 || completion != nullptr ||
      argument != nullptr || resume != FALSE) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const std::int64_t seconds = -(due_time->QuadPart / kUnitsInSecond);
  const auto rest = static_cast<long>(-(due_time->QuadPart % kUnitsInSecond));
  itimerspec when{};
  when.it_value.tv_sec = seconds;
  // A zero value would disarm the timer; due at once is one nanosecond from now.
  when.it_value.tv_nsec = due_time->QuadPart == 0 ? 1 : rest * kNanosecondsInUnit;
  when.it_interval.tv_sec = period_ms / 1000;
  when.it_interval.tv_nsec = (period_ms % 1000) * 1'000'000L;
  return Arm(object->descriptor, when) ? TRUE : FALSE;
}

BOOL CancelWaitableTimer(HANDLE timer) {
  const Pinned object(timer, ObjectKind::kTimer);
  if (!object) return FALSE;
  return Arm(object->descriptor, itimerspec{}) ? TRUE : FALSE;
}
