#include "log/time_text.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <optional>

#include "platform/clock.h"

namespace zevra {
namespace {

// The second that any thread asked for last, and how far local time is ahead of it, in one number:
// lines come many in a second, and the time zone with its lock costs 0.15 us. 0: none yet.
std::atomic<std::uint64_t> last_offset{0};
constexpr int kOffsetBits = 20;
constexpr std::int64_t kOffsetBias = std::int64_t{1} << (kOffsetBits - 1);
constexpr std::int64_t kSecondsLimit = std::int64_t{1} << (63 - kOffsetBits);

constexpr std::int64_t kDaySeconds = 86400, kHourSeconds = 3600, kMinuteSeconds = 60;
constexpr int kLastYear = 9999;

// The time on a clock in the zone, as if that zone had no offset; empty beyond the calendar.
std::optional<std::int64_t> LocalSeconds(std::int64_t seconds) {
  const std::uint64_t last = last_offset.load(std::memory_order_relaxed);
  if (last != 0 && static_cast<std::int64_t>(last >> kOffsetBits) == seconds)
    return seconds + static_cast<std::int64_t>(last % (1U << kOffsetBits)) - kOffsetBias;
  std::tm local{};
  if (!ToLocalTime(seconds, local)) return {};
  const int year = local.tm_year + 1900;
  if (year < 0 || year > kLastYear) return {};
  const std::chrono::sys_days day = std::chrono::year(year) / (local.tm_mon + 1) / local.tm_mday;
  const std::int64_t shown = day.time_since_epoch().count() * kDaySeconds +
                             local.tm_hour * kHourSeconds + local.tm_min * kMinuteSeconds +
                             local.tm_sec;
  const std::int64_t offset = shown - seconds + kOffsetBias;
  if (seconds >= 0 && seconds < kSecondsLimit && offset > 0 && offset < 2 * kOffsetBias)
    last_offset.store(
        static_cast<std::uint64_t>(seconds) << kOffsetBits | static_cast<std::uint64_t>(offset),
        std::memory_order_relaxed);
  return shown;
}

// Two digits and a separator.
char* PutPair(char* out, unsigned value, char separator) {
  *out++ = static_cast<char>('0' + value / 10);
  *out++ = static_cast<char>('0' + value % 10);
  *out++ = separator;
  return out;
}

}  // namespace

DisplayTime ComputeDisplayTime(std::int64_t now, std::uint64_t ticks_ms, std::int64_t start_time,
                               std::uint64_t start_ticks_ms) {
  if (now < start_time || start_ticks_ms == 0)
    return {now, static_cast<std::uint32_t>(ticks_ms % 1000)};
  const std::uint64_t elapsed_ms = ticks_ms - start_ticks_ms;
  return {start_time + static_cast<std::int64_t>(elapsed_ms / 1000),
          static_cast<std::uint32_t>(elapsed_ms % 1000)};
}

char* FormatTime(char* buffer, const DisplayTime& time, TimeForm form) {
  buffer[0] = '\0';
  const std::optional<std::int64_t> local = LocalSeconds(time.seconds);
  if (!local) return buffer;
  const auto days = std::chrono::floor<std::chrono::days>(std::chrono::seconds(*local));
  const auto of_day = static_cast<unsigned>(*local - days.count() * kDaySeconds);
  const bool is_stamp = form == TimeForm::kFileStamp;
  char* end = buffer;
  if (form != TimeForm::kTimeOnly) {
    const std::chrono::year_month_day date{std::chrono::sys_days(days)};
    const auto year = static_cast<unsigned>(static_cast<int>(date.year()));
    const char separator = is_stamp ? '-' : '/';
    if (is_stamp) end = PutPair(end, year / 100, '\0') - 1;
    end = PutPair(end, year % 100, separator);
    end = PutPair(end, static_cast<unsigned>(date.month()), separator);
    end = PutPair(end, static_cast<unsigned>(date.day()), is_stamp ? '_' : '-');
  }
  const char separator = is_stamp ? '-' : ':';
  end = PutPair(end, of_day / 3600, separator);
  end = PutPair(end, of_day / 60 % 60, separator);
  end = PutPair(end, of_day % 60, is_stamp ? '\0' : ' ');
  if (!is_stamp) {
    *end++ = static_cast<char>('0' + time.milliseconds / 100);
    PutPair(end, time.milliseconds % 100, '\0');
  }
  return buffer;
}

}  // namespace zevra
