#include "stream/wake_up_timer.h"

#include <algorithm>

namespace zevra {
namespace {

constexpr REFERENCE_TIME kUnitsPerMillisecond = 10'000;
// A day; a longer period comes from a broken driver and would not fit the timer's milliseconds.
constexpr REFERENCE_TIME kLongestHalf = 24LL * 3600 * 1000 * kUnitsPerMillisecond;

}  // namespace

bool WakeUpTimer::Create() {
  timer_ = UniqueHandle(os::CreateWaitableTimerW(nullptr, FALSE, nullptr));
  return static_cast<bool>(timer_);
}

bool WakeUpTimer::Arm(REFERENCE_TIME period) {
  const REFERENCE_TIME half = std::clamp<REFERENCE_TIME>(period / 2, 1, kLongestHalf);
  LARGE_INTEGER first{};
  first.QuadPart = -half;
  const auto repeat_ms =
      static_cast<LONG>(std::max<REFERENCE_TIME>(half / kUnitsPerMillisecond, 1));
  armed_ = os::SetWaitableTimer(timer_.Get(), &first, repeat_ms, nullptr, nullptr, FALSE) != FALSE;
  return armed_;
}

}  // namespace zevra
