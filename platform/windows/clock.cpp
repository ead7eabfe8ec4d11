#include "platform/clock.h"

#include <windows.h>

#include <time.h>

namespace zevra {

std::int64_t WallClockSeconds() { return ::_time64(nullptr); }

std::uint64_t TickCountMs() { return ::GetTickCount64(); }

void SleepMs(std::uint32_t milliseconds) { ::Sleep(milliseconds); }

bool ToLocalTime(std::int64_t seconds, std::tm& local) {
  const __time64_t value = seconds;
  const std::tm* converted = ::_localtime64(&value);  // the runtime keeps one record a thread
  if (converted != nullptr) local = *converted;
  return converted != nullptr;
}

std::uint32_t CurrentProcessId() { return ::GetCurrentProcessId(); }

std::uint32_t CurrentThreadId() { return ::GetCurrentThreadId(); }

}  // namespace zevra
