#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <bit>
#include <string_view>

#include "platform/api.h"

namespace {

// The one class that sound runs in here.
constexpr std::u16string_view kClassName = u"Audio";

// What sound programs and servers commonly ask for.
constexpr int kNiceLevel = -11;

// A larger share of the processor, where the user may have it, but not the right to take it from
// whoever runs. A sound server writes a fragment in steps, and the first one wakes the thread: if
// the thread took the server's processor then, as it would in real time, it would find a part,
// sleep again and be woken twice for each fragment. Nor can a host's callback that never sleeps
// stop the machine.
void Raise() {
  const sched_param parameters{};
  // A process that the thread starts does not inherit the class.
  ::sched_setscheduler(0, SCHED_BATCH | SCHED_RESET_ON_FORK, &parameters);
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
