// Log_Impl_T: opens, closes, and re-reads its settings file.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "log/log_impl.h"
#include "log/paths.h"
#include "log/process_logger.h"
#include "platform/files.h"
#include "platform/output.h"
#include "platform/text.h"

namespace zevra {

template <class IO, class LOCK, class CFG>
Log_Impl_T<IO, LOCK, CFG>::~Log_Impl_T() {
  SwallowExceptions([&] { Log_Impl_T::close(); });
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::open(const CFG* settings, Log_IO* given, std::int64_t extra) {
  close();
  if (given != nullptr && given->get_cfg() != nullptr) cfg_ = *given->get_cfg();
  if (settings != nullptr) cfg_ = *settings;
  if (cfg_.values.start_time == 0) TakeStartStamps(settings);
  const std::uint64_t ticks_ms = clock_.ticks_ms();
  start_ticks_ms_ = ticks_ms - static_cast<std::uint32_t>(ticks_ms - cfg_.values.start_ticks);
  ChooseLocale();
  OpenLock(given);
  if ((cfg_.values.output & kOutputFile) != 0) {
    if (const int error = OpenFile(given, extra); error != 0) return error;
  }
  if ((cfg_.values.output & kOutputConsole) != 0 && ObtainConsole()) console_allocated_ = true;
  return 0;
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::TakeStartStamps(const CFG* settings) {
  const std::int64_t first = clock_.seconds();
  std::int64_t now = first;
  if (settings != nullptr && settings->values.align_to_second)
    while ((now = clock_.seconds()) == first) clock_.sleep_ms(1);
  cfg_.values.start_time = now;
  cfg_.values.start_ticks = static_cast<std::uint32_t>(clock_.ticks_ms());
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::ChooseLocale() {
  const std::string& locale = cfg_.values.locale;
  if (locale.empty() || locale == "skip") return;
  SetProcessLocale(locale == "null" ? nullptr : locale == "empty" ? "" : locale.c_str());
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::OpenLock(Log_IO* given) {
  if (given != nullptr && given->get_lock() != nullptr) {
    mutex_ = given->get_lock();
    owns_mutex_ = false;
    return;
  }
  std::string title = cfg_.values.title;
  std::replace(title.begin(), title.end(), ' ', '_');
  std::array<char, kPathLimit> name{};
  std::snprintf(name.data(), name.size(), "Korvane_Logger_Mutex_%s", title.c_str());
  mutex_ = new LOCK;
  owns_mutex_ = true;
  if (const int error = mutex_->open(name.data()); error != 0) {
    std::array<char, 2 * kPathLimit> message{};
    std::snprintf(message.data(), message.size(),
                  "Log_Impl_T::open open lock name %s failed, error = %d.\n", name.data(), error);
    WriteToConsole(message.data());
  }
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::OpenFile(Log_IO* given, std::int64_t extra) {
  const lock_guard hold(mutex_);
  if (given != nullptr) {
    io_ = given;
    owns_io_ = false;
    return 0;
  }
  io_ = new IO;
  owns_io_ = true;
  io_->set_lock(mutex_);
  if (cfg_.values.file.size() > kPathLimit) return ENAMETOOLONG;
  MakeDirectoryOfFile();
  const int error = io_->open(cfg_.values.file.c_str(), mutex_, cfg_.values.mode, extra);
  if (error != 0) return error;
  if (cfg_.values.head) write_head(true);
  io_->set_cfg(&cfg_);
  return 0;
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::MakeDirectoryOfFile() {
  const std::string directory = DirectoryOf(cfg_.values.file);
  if (directory.empty() || IsDirectory(directory.c_str())) return;
  std::vector<std::string> prefixes;
  path_prefixes(directory.c_str(), prefixes);
  for (const std::string& prefix : prefixes) {
    // The file's own `open` reports the error.
    if (!IsDirectory(prefix.c_str()) && !MakeDirectory(prefix.c_str())) return;
  }
}

// Somebody has moved or removed the log while it is open. What is written there nobody would find.
template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::FollowFile() {
  const char* const file = cfg_.values.file.c_str();
  if (io_ == nullptr || !owns_io_ || io_->handle() == nullptr || !is_absolute_path(file) ||
      IsFileAt(io_->handle(), file))
    return;
  auto fresh = std::make_unique<IO>();
  fresh->set_lock(mutex_);
  MakeDirectoryOfFile();
  // Whoever was first here may have lines in it: the modes that empty the file do so only once.
  const bool binary = cfg_.values.mode == 1 || cfg_.values.mode == 3;
  if (fresh->open(file, mutex_, binary ? 1 : 0, 0) != 0) return;
  io_->close();
  delete io_;
  io_ = fresh.release();
  if (cfg_.values.head) write_head(false);
  io_->set_cfg(&cfg_);
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::close() {
  if (io_ != nullptr) {
    const lock_guard hold(mutex_);
    CloseFile();
  }
  if (mutex_ != nullptr && owns_mutex_) {
    mutex_->close();
    delete static_cast<LOCK*>(mutex_);
    mutex_ = nullptr;
  }
  if (console_allocated_) {
    ReleaseConsole();
    console_allocated_ = false;
  }
  return 0;
}

// A file output that was passed to open() belongs to the caller and stays open.
template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::CloseFile() {
  if (!owns_io_) return;
  SwallowExceptions([&] {
    // In the destructor there is no override left to reach.
    // NOLINTNEXTLINE(clang-analyzer-optin.cplusplus.VirtualCall)
    if (cfg_.values.head) write_tail(true);
    io_->close();
  });
  delete io_;
  io_ = nullptr;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::lock(std::uint32_t timeout_ms) {
  return mutex_ != nullptr ? mutex_->acquire(timeout_ms) : -1;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::unlock() {
  return mutex_ != nullptr ? mutex_->release() : -1;
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::BeforeFork() noexcept {
  lock(kWaitForEver);
  if (io_ != nullptr) SwallowExceptions([&] { io_->flush(); });
}

// The child's only thread is not the one that holds the lock, in the eyes of the system.
template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::AfterFork(bool is_child) noexcept {
  if (!is_child)
    unlock();
  else if (mutex_ != nullptr)
    SwallowExceptions([&] { mutex_->open(nullptr); });
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::reload_cfg() {
  constexpr std::int64_t kLeastPause = 10;  // seconds
  const std::int64_t now = clock_.seconds();
  if (now - last_cfg_check_.load(std::memory_order_relaxed) <= kLeastPause) return 0;
  const lock_guard hold(mutex_);
  SwallowExceptions([&] { FollowFile(); });
  SwallowExceptions([&] {
    Log_Cfg_Values& values = cfg_.values;
    const std::int64_t changed = ModifiedTime(values.config_file.c_str());
    if (changed == values.config_mtime) return;
    values.config_mtime = changed;
    CFG fresh(cfg_);
    fresh.read_log_config(nullptr, nullptr);
    values.output = fresh.values.output;
    values.level = fresh.values.level;
    values.console_level = fresh.values.level;
    values.flush = fresh.values.flush;
    values.style = fresh.values.style;
  });
  last_cfg_check_.store(now, std::memory_order_relaxed);
  return 0;
}

template Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::~Log_Impl_T();
template int Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::open(const Log_Settings*,
                                                                                Log_IO*,
                                                                                std::int64_t);
template int Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::close();
template int Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::lock(std::uint32_t);
template int Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::unlock();
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::BeforeFork() noexcept;
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::AfterFork(
    bool) noexcept;
template int Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::reload_cfg();

}  // namespace zevra
