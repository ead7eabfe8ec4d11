#ifndef ZEVRA_LOG_LOG_IMPL_H
#define ZEVRA_LOG_LOG_IMPL_H

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "log/io.h"
#include "log/mutex.h"
#include "log/settings.h"
#include "platform/clock.h"
#include "platform/compiler.h"

namespace zevra {

template <class Char>
class Log_Line;

// The clock of a logger: seconds since 1970, a millisecond counter, a sleep.
// Tests set their own. Any thread may call the functions.
struct Log_Clock {
  std::int64_t (*seconds)();
  std::uint64_t (*ticks_ms)();
  void (*sleep_ms)(std::uint32_t milliseconds);
};

constexpr Log_Clock kSystemClock{WallClockSeconds, TickCountMs, SleepMs};

// Runs `work` and swallows its exceptions: one failing output must not stop the others or reach the
// caller. The log has nowhere to report its own failures.
template <class Work>
void SwallowExceptions(Work work) noexcept {
  try {
    work();
  } catch (...) {
  }
}

// The logger: takes a message from any thread, decides whether it is wanted, builds one line and
// sends it to up to four outputs. IO is the file output it makes, LOCK its lock, CFG its record.
// The members stand in log/log_impl_*.cpp, each instantiated there for the process logger.
//
// Any thread may log at any time, also on a closed logger, which has no file. `open` and `close`
// are for one thread while no other logs. The front ends throw nothing and report nothing: a text
// that an output does not take is lost.
//
// A front end needs 131,072 bytes of stack; a wide message needs 65,536 wide characters. The order
// of the virtual operations is fixed.
template <class IO, class LOCK, class CFG>
class Log_Impl_T {
 public:
  explicit Log_Impl_T(const Log_Clock& clock = kSystemClock) : clock_(clock) {}
  virtual ~Log_Impl_T();
  Log_Impl_T(const Log_Impl_T&) = delete;
  Log_Impl_T& operator=(const Log_Impl_T&) = delete;

  // Restarts the logger with a copy of `settings`, or with what `given` carries. `given` becomes
  // the file output as it is and stays the caller's; without it the file of the settings is opened.
  // 0, or the error number of that file: the logger then serves its other outputs.
  virtual int open(const CFG* settings, Log_IO* given, std::int64_t extra);
  virtual int close();  // 0
  // The result of the lock, -1 without one.
  virtual int lock(std::uint32_t timeout_ms);
  virtual int unlock();

  virtual void log_msg_w(std::uint32_t level, const wchar_t* text);
  virtual void log_msg(std::uint32_t level, const char* text);
  // `subject` may be null; a `style` of 0 means the record's own.
  virtual void log_msg_i_w(const wchar_t* subject, std::uint32_t level, std::uint32_t style,
                           const wchar_t* text);
  virtual void log_msg_i(const char* subject, std::uint32_t level, std::uint32_t style,
                         const char* text);
  // Writes bytes to the file unchanged, without line pieces or size test. Returns the result of
  // `write`, -1 without a file.
  virtual int write_raw(const void* bytes, std::int32_t count);
  virtual void write_rule(char c);  // 80 of them on a line of their own
  virtual char* level_hex(std::uint32_t level, char* buffer, std::size_t size);  // from 9 bytes on
  virtual const char* level_name(std::uint32_t level);
  virtual std::int32_t xor_bytes(void* bytes, std::int32_t count);  // in place; gives `count`
  virtual bool is_enabled();
  virtual bool subject_enabled(std::int32_t index);

  // The caller of these three holds the logger's lock.
  virtual void write_head(bool created);
  virtual void write_tail(bool end);
  virtual int rotate();  // the result of `backup`, 0 without a file

  // Writes at most 133 bytes; returns `buffer`.
  virtual char* time_text(char* buffer, bool file_stamp, bool time_only);
  // Re-reads the settings file if it has changed, and opens the log anew if it was moved or
  // removed; looks at most once in 11 seconds. Returns 0.
  virtual int reload_cfg();

  // Around a fork: the child finds the file flushed and the lock free.
  void BeforeFork() noexcept;
  void AfterFork(bool is_child) noexcept;

  // The printf-style front ends. The first two flush the file.
  void log_error(const char* format, ...) noexcept ZEVRA_PRINTF(2, 3);
  void log_warn(const char* format, ...) noexcept ZEVRA_PRINTF(2, 3);
  void log_verbose(const char* format, ...) noexcept ZEVRA_PRINTF(2, 3);
  void log_trace(const char* format, ...) noexcept ZEVRA_PRINTF(2, 3);

  // The macros of log/log.h test these two before they evaluate a message's arguments.
  std::uint32_t output_mask() const { return cfg_.values.output; }
  std::uint32_t level_mask() const { return cfg_.values.level; }
  const CFG& cfg() const { return cfg_; }

 private:
  void LogFormatted(std::uint32_t level, bool flush, const char* format,
                    std::va_list arguments) noexcept ZEVRA_PRINTF(4, 0);
  // With `flush` the file is flushed also if the message is filtered out.
  template <class Char>
  void LogMessage(const Char* subject, std::uint32_t level, std::uint32_t style, const Char* text,
                  bool flush);
  bool IsFilteredOut(const char* subject, const char* text) const;
  template <class Char>
  void BuildLine(Log_Line<Char>& line, const Char* subject, std::uint32_t level,
                 std::uint32_t style, const Char* text);
  void Put(const Log_Line<char>& line);
  void Put(const Log_Line<wchar_t>& line);
  template <class Char>
  void PutToFile(Log_Line<Char>& line, bool flush);
  void FlushFile();
  template <class Char>
  void PutKeyed(Log_Line<Char>& line);
  template <class Char>
  void PutElsewhere(const Log_Line<Char>& line, std::uint32_t level);
  void PutText(const char* text);  // in the width of the record's charset
  void RotateIfFull(std::size_t length);

  void TakeStartStamps(const CFG* settings);
  void ChooseLocale();
  void OpenLock(Log_IO* given);
  int OpenFile(Log_IO* given, std::int64_t extra);
  void CloseFile();
  void FollowFile();
  void MakeDirectoryOfFile();
  std::string BackupName();
  void PurgeBackups();

  CFG cfg_;
  Log_IO* io_ = nullptr;
  bool owns_io_ = true;
  Log_Mutex* mutex_ = nullptr;
  bool owns_mutex_ = false;
  std::atomic<std::int64_t> last_cfg_check_ = 0;  // seconds; tested before the lock is taken
  bool console_allocated_ = false;
  std::uint64_t start_ticks_ms_ = 0;  // those of the record, which keeps the lower half
  const Log_Clock clock_;
};

}  // namespace zevra

#endif
