#ifndef ZEVRA_TESTS_LOG_LOG_TEST_H
#define ZEVRA_TESTS_LOG_LOG_TEST_H

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "log/process_logger.h"
#include "log/settings.h"

namespace zevra::test {

namespace fs = std::filesystem;

inline std::string Read(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Lines of files in text mode end in two bytes there.
inline constexpr bool kOnWindows = fs::path::preferred_separator == '\\';

// What a file in text mode says. A line that ends in one byte on Windows shows as "<bare line
// feed>".
inline std::string Text(const fs::path& path) {
  std::string text;
  for (const char byte : Read(path)) {
    if (kOnWindows && byte == '\n' && text.ends_with('\r'))
      text.pop_back();
    else if (kOnWindows && byte == '\n')
      text += "<bare line feed>";
    text += byte;
  }
  return text;
}

// Bytes that the text takes in a file in text mode.
inline std::size_t TextModeBytes(const std::string& text) {
  return text.size() + (kOnWindows ? std::count(text.begin(), text.end(), '\n') : 0);
}

// Of a file, in seconds since 1970.
inline void SetModifiedTime(const fs::path& path, std::int64_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  fs::last_write_time(path, std::chrono::file_clock::from_sys(time));
}

// Local time is UTC from here on. Before any other thread runs.
void UseUtc();

// The path of the program that runs, as the system tells it.
std::string ProgramPath();

inline void Write(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

template <class Work>
void InThreads(int count, Work work) {
  std::vector<std::jthread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int thread = 0; thread < count; ++thread) threads.emplace_back([=] { work(thread); });
}

// A fresh directory per test and a clock that stands until the test turns it, in UTC.
class LogTest : public testing::Test {
 protected:
  LogTest() {
    fs::create_directory(dir);
    UseUtc();
    now = 1741944413;  // 2025-03-14 09:26:53
    ticks = 5000000;
    // The counter and not the clock tells the time: 1.123 s after a start one second ago.
    settings.values.start_time = now - 1;
    settings.values.start_ticks = static_cast<std::uint32_t>(ticks - 1123);
    settings.values.file = Path("z.log");
    settings.values.locale = "skip";
    settings.values.level = 0xFFFFFFFF;
    settings.values.head = false;
  }
  ~LogTest() override {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }

  std::string Path(const std::string& name) const { return (dir / name).generic_string(); }

  // What the settings make of the lines that `work` logs.
  template <class Work>
  std::string Logged(Work work) {
    fs::remove(settings.values.file);
    Process_Logger logger(kClock);
    EXPECT_EQ(logger.open(&settings, nullptr, 0), 0);
    work(logger);
    logger.close();
    return Text(settings.values.file);
  }

  static inline std::atomic<std::int64_t> now;
  static inline std::atomic<std::uint64_t> ticks;
  static constexpr Log_Clock kClock{[] { return now.load(); }, [] { return ticks.load(); },
                                    [](std::uint32_t ms) {
                                      ticks += ms;
                                      now += ticks % 1000 == 0 ? 1 : 0;
                                    }};
  const fs::path dir =
      fs::temp_directory_path() / ("zevra_" + std::to_string(std::random_device()()));
  Log_Settings settings;
};

}  // namespace zevra::test

#endif
