#include "log/log_files.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>

#include "log/paths.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/text.h"

namespace zevra::log_detail {
namespace {

constexpr std::size_t kCalendarBytes = 128;

std::string path_of(ModuleHandle module) {
  std::array<char, kPathLimit> path{};
  ModulePath(module, path.data(), path.size());
  return path.data();
}

std::string time_or_blank(const std::string& path) {
  return path.empty() ? " " : file_time_text(path.c_str());
}

std::string normalized(std::string path) {
  normalize_path(path.data());
  path.resize(std::strlen(path.c_str()));  // it only gets shorter
  return path;
}

// The last text that this thread made. Lines of one second differ in their milliseconds only, and
// the calendar is a good part of what a line costs (0.15 us).
struct Calendar_Text {
  std::int64_t seconds;
  Time_Form form;
  std::size_t length;
  char text[32];
};

const Calendar_Text& calendar_text(std::int64_t seconds, Time_Form form) {
  static thread_local Calendar_Text last{};
  if (last.length != 0 && last.seconds == seconds && last.form == form) return last;
  const char* const format = form == Time_Form::kFileStamp  ? "%Y-%m-%d_%H-%M-%S"
                             : form == Time_Form::kTimeOnly ? "%H:%M:%S"
                                                            : "%y/%m/%d-%H:%M:%S";
  std::tm local{};
  const bool known = ToLocalTime(seconds, local);
  last = {seconds, form, 0, {}};
  last.length = known ? std::strftime(last.text, sizeof last.text, format, &local) : 0;
  return last;
}

}  // namespace

std::string directory_of(const std::string& path) {
  const std::string whole = normalized(path);
  return whole.substr(0, whole.rfind('/') + 1);
}

std::string backup_pattern(const std::string& log_file) {
  const std::string whole = normalized(log_file);
  const std::string name = whole.substr(whole.rfind('/') + 1);
  return name.substr(0, name.rfind('.')) + "_*.log";
}

std::string file_time_text(const char* path) {
  const std::int64_t modified = ModifiedTime(path);
  std::tm local{};
  if (modified == 0 || !ToLocalTime(modified, local)) return {};
  std::array<char, kCalendarBytes> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return text.data();
}

Modules modules_for_banner(ModuleHandle module) {
  Modules modules;
  modules.application = path_of(kExecutable);
  modules.module = module != 0 ? path_of(module) : std::string();
  if (modules.module == modules.application) modules.module.clear();
  modules.application_time = time_or_blank(modules.application);
  modules.module_time = time_or_blank(modules.module);
  const std::string& versioned = modules.module.empty() ? modules.application : modules.module;
  modules.version = FileVersionText(versioned.c_str());
  return modules;
}

void end_cut_banner(char* banner, std::size_t size, int length) {
  if (length < 0) {
    banner[0] = '\0';
  } else if (static_cast<std::size_t>(length) >= size) {
    const std::size_t cut = CutOnCharacter(banner, size - 2);
    banner[cut] = '\n';
    banner[cut + 1] = '\0';
  }
}

Shown_Time shown_time(std::int64_t now, std::uint32_t ticks_ms, std::int64_t start_time,
                      std::uint32_t start_ticks_ms) {
  if (now < start_time || start_ticks_ms == 0) return {now, ticks_ms % 1000};
  // The counter cannot tell how often it has wrapped, but the wall clock can: it would have to be
  // wrong by more than half a wrap, 24 days, to lead to another number.
  constexpr std::int64_t kWrapMs = std::int64_t{1} << 32;
  const auto elapsed_ms = static_cast<std::int64_t>(ticks_ms - start_ticks_ms);
  const std::int64_t wall_ms = (now - start_time) * 1000;
  const std::int64_t wraps =
      wall_ms > elapsed_ms ? (wall_ms - elapsed_ms + kWrapMs / 2) / kWrapMs : 0;
  const std::int64_t total_ms = elapsed_ms + wraps * kWrapMs;
  return {start_time + total_ms / 1000, static_cast<std::uint32_t>(total_ms % 1000)};
}

char* format_time(char* buffer, const Shown_Time& time, Time_Form form) {
  buffer[0] = '\0';
  const Calendar_Text& calendar = calendar_text(time.seconds, form);
  if (calendar.length == 0) return buffer;
  char* end = std::copy_n(calendar.text, calendar.length, buffer);
  if (form != Time_Form::kFileStamp) {
    *end++ = ' ';
    *end++ = static_cast<char>('0' + time.milliseconds / 100);
    *end++ = static_cast<char>('0' + time.milliseconds / 10 % 10);
    *end++ = static_cast<char>('0' + time.milliseconds % 10);
  }
  *end = '\0';
  return buffer;
}

}  // namespace zevra::log_detail
