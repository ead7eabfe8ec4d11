#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <string_view>

#include "platform/api.h"

namespace {

// The one class that sound runs in here. Below the 20 and more at which the machine's own interrupt
// threads and sound servers usually run.
constexpr std::u16string_view kClassName = u"Audio";
constexpr int kPriority = 5;

// Where real-time scheduling is not allowed: what sound programs commonly ask for.
constexpr int kNiceLevel = -11;

// A process that the thread starts does not inherit the class.
bool SetRealTime(int priority) {
  const sched_param parameters{.sched_priority = priority};
  return ::sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0;
}

void Raise() {
  if (SetRealTime(kPriority)) return;
  // A user may be allowed less than was asked for.
  rlimit limit{};
  if (::getrlimit(RLIMIT_RTPRIO, &limit) == 0 && limit.rlim_cur > 0 &&
      SetRealTime(static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 99))))
    return;
  ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kNiceLevel);
}

}  // namespace

HANDLE AvSetMmThreadCharacteristicsW(LPCWSTR task_name, DWORD* task_index) {
  if (task_index == nullptr) {
    SetLastError(ERROR_INVALID_TASK_INDEX);
    return nullptr;
  }
  if (task_name == nullptr || task_name != kClassName) {
    SetLastError(ERROR_INVALID_TASK_NAME);
    return nullptr;
  }
  Raise();
  if (*task_index == 0) *task_index = 1;
  // Stands for no object: it is only ever compared with null.
  return std::bit_cast<HANDLE>(std::uintptr_t{1});
}
