#ifndef ZEVRA_PLATFORM_CLOCK_H
#define ZEVRA_PLATFORM_CLOCK_H

#include <cstdint>
#include <ctime>

namespace zevra {

// Any thread.
std::int64_t WallClockSeconds();  // since 1970
std::uint64_t TickCountMs();      // since the machine started
void SleepMs(std::uint32_t milliseconds);
bool ToLocalTime(std::int64_t seconds, std::tm& local);  // false if there is no such time

std::uint32_t CurrentProcessId();
std::uint32_t CurrentThreadId();

}  // namespace zevra

#endif
