#include "log/time_text.h"

#include <algorithm>
#include <ctime>

#include "platform/clock.h"

namespace zevra {
namespace {

// The text of the last second that this thread formatted. Lines of one second differ only in their
// milliseconds, and the calendar costs 0.15 us.
struct CalendarText {
  std::int64_t seconds;
  TimeForm form;
  std::size_t length;
  char text[32];
};

const CalendarText& MakeCalendarText(std::int64_t seconds, TimeForm form) {
  static thread_local CalendarText last{};
  if (last.length != 0 && last.seconds == seconds && last.form == form) return last;
  const char* const format = form == TimeForm::kFileStamp  ? "%Y-%m-%d_%H-%M-%S"
                             : form == TimeForm::kTimeOnly ? "%H:%M:%S"
                                                           : "%y/%m/%d-%H:%M:%S";
  std::tm local{};
  const bool known = ToLocalTime(seconds, local);
  last = {seconds, form, 0, {}};
  last.length = known ? std::strftime(last.text, sizeof last.text, format, &local) : 0;
  return last;
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
  const CalendarText& calendar = MakeCalendarText(time.seconds, form);
  if (calendar.length == 0) return buffer;
  char* end = std::copy_n(calendar.text, calendar.length, buffer);
  if (form != TimeForm::kFileStamp) {
    *end++ = ' ';
    *end++ = static_cast<char>('0' + time.milliseconds / 100);
    *end++ = static_cast<char>('0' + time.milliseconds / 10 % 10);
    *end++ = static_cast<char>('0' + time.milliseconds % 10);
  }
  *end = '\0';
  return buffer;
}

}  // namespace zevra
