#ifndef ZEVRA_LOG_TIME_TEXT_H
#define ZEVRA_LOG_TIME_TEXT_H

// The times that a log shows. Any thread.

#include <cstddef>
#include <cstdint>

namespace zevra {

constexpr std::size_t kTimeBytes = 133;  // for any text of a time

struct DisplayTime {
  std::int64_t seconds;  // since 1970
  std::uint32_t milliseconds;
};

// The time that a log shows. It follows the tick counter since the start, so that a change of the
// system's clock does not show, unless the clock was set back to before the start.
DisplayTime ComputeDisplayTime(std::int64_t now, std::uint64_t ticks_ms, std::int64_t start_time,
                               std::uint64_t start_ticks_ms);

enum class TimeForm { kDateTime, kTimeOnly, kFileStamp };

// Into at least kTimeBytes bytes; gives `buffer`, empty for a time that the calendar does not
// reach.
char* FormatTime(char* buffer, const DisplayTime& time, TimeForm form);

}  // namespace zevra

#endif
