#ifndef ZEVRA_TESTS_SUPPORT_SYSTEM_H
#define ZEVRA_TESTS_SUPPORT_SYSTEM_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

// What tests need of the system.

namespace zevra::test {

// Lines of files in text mode end in two bytes there.
inline constexpr bool kOnWindows = std::filesystem::path::preferred_separator == '\\';

// Of a file, in seconds since 1970.
inline void SetModifiedTime(const std::filesystem::path& path, std::int64_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  std::filesystem::last_write_time(path, std::chrono::file_clock::from_sys(time));
}

// What the bytes of a file in text mode say. A line that ends in one byte on Windows shows as
// "<bare line feed>".
inline std::string FromTextMode(const std::string& bytes) {
  if (!kOnWindows) return bytes;
  std::string text;
  for (const char byte : bytes) {
    if (byte == '\n' && text.ends_with('\r'))
      text.pop_back();
    else if (byte == '\n')
      text += "<bare line feed>";
    text += byte;
  }
  return text;
}

// Bytes that the text takes in a file in text mode.
inline std::size_t TextModeBytes(const std::string& text) {
  return text.size() + (kOnWindows ? std::count(text.begin(), text.end(), '\n') : 0);
}

// Local time is UTC from here on. Before any other thread runs.
void UseUtc();

// The path of the program that runs, as the system tells it.
std::string ProgramPath();

}  // namespace zevra::test

#endif
