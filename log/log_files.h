#ifndef ZEVRA_LOG_LOG_FILES_H
#define ZEVRA_LOG_LOG_FILES_H

// The parts of a log file's life that need no logger: names, times, what a banner tells. Any
// thread.

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/modules.h"

namespace zevra::log_detail {

constexpr std::size_t kTimeBytes = 133;  // for any text of a time

// The directory of a path with its "/" behind, normalised; "" if the path names none.
std::string directory_of(const std::string& path);

// The wildcard pattern of the backups of a log file.
std::string backup_pattern(const std::string& log_file);

// The modification time of a file in local time, "" if there is none.
std::string file_time_text(const char* path);

// What the head banner tells of the process and of the module that logs. A module that is the
// application itself shows as no path and one blank.
struct Modules {
  std::string application;
  std::string application_time;
  std::string module;
  std::string module_time;
  std::string version;
};
Modules modules_for_banner(ModuleHandle module);

// Gives a banner that did not fit its buffer a line end; `length` is what snprintf gave.
void end_cut_banner(char* banner, std::size_t size, int length);

struct Shown_Time {
  std::int64_t seconds;  // since 1970
  std::uint32_t milliseconds;
};

// The time that a log shows: from the start on it goes by the tick counter, so that a change of the
// system's clock does not show, unless it was put back to before the start.
Shown_Time shown_time(std::int64_t now, std::uint32_t ticks_ms, std::int64_t start_time,
                      std::uint32_t start_ticks_ms);

enum class Time_Form { kDateTime, kTimeOnly, kFileStamp };

// Into at least kTimeBytes bytes; gives `buffer`, empty for a time that the calendar does not
// reach.
char* format_time(char* buffer, const Shown_Time& time, Time_Form form);

}  // namespace zevra::log_detail

#endif
