#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <string_view>

#include "platform/api.h"

namespace {

// The classes that sound runs in, with a real-time priority each: below the 20 and more at which
// the machine's own interrupt threads and sound servers usually run.
struct TaskClass {
  std::u16string_view name;
  int priority;
};
constexpr std::array<TaskClass, 4> kTaskClasses = {
    {{u"Audio", 5}, {u"Capture", 5}, {u"Playback", 5}, {u"Pro Audio", 10}}};

// Where real-time scheduling is not allowed: what sound programs commonly ask for.
constexpr int kNiceLevel = -11;

// Not a handle of the table, whose values are multiples of four.
HANDLE TaskHandle() { return std::bit_cast<HANDLE>(std::uintptr_t{2}); }

char16_t LowerAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
}

bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b) {
  return std::equal(
      a.begin(), a.end(), b.begin(), b.end(),
      [](char16_t x, char16_t y) { return LowerAscii(x) == LowerAscii(y); });
}

// A process that the thread starts does not inherit the class.
bool SetRealTime(int priority) {
  const sched_param parameters{.sched_priority = priority};
  return ::sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0;
}

void Raise(int priority) {
  if (SetRealTime(priority)) return;
  // A user may be allowed less than was asked for.
  rlimit limit{};
  if (::getrlimit(RLIMIT_RTPRIO, &limit) == 0 && limit.rlim_cur > 0 &&
      SetRealTime(static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 99))))
    return;
  ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kNiceLevel);
}

}  // namespace

HANDLE AvSetMmThreadCharacteristicsW(LPCWSTR task_name, DWORD* task_index) {
  static std::atomic<DWORD> last_index{0};
  if (task_index == nullptr) {
    SetLastError(ERROR_INVALID_TASK_INDEX);
    return nullptr;
  }
  const auto* const task =
      std::find_if(kTaskClasses.begin(), kTaskClasses.end(), [&](const TaskClass& candidate) {
        return task_name != nullptr && EqualIgnoringCase(candidate.name, task_name);
      });
  if (task == kTaskClasses.end()) {
    SetLastError(ERROR_INVALID_TASK_NAME);
    return nullptr;
  }
  Raise(task->priority);
  if (*task_index == 0) *task_index = last_index.fetch_add(1, std::memory_order_relaxed) + 1;
  return TaskHandle();
}
