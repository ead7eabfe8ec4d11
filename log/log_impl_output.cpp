// Log_Impl_T: writes a finished line to the file, within its size limit, then to the other outputs.

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include "log/line.h"
#include "log/log_impl.h"
#include "log/process_logger.h"
#include "log/text.h"
#include "platform/files.h"
#include "platform/output.h"

namespace zevra {
namespace {

// Scrambles the bytes for its life. The plain text comes back also after an exception, because the
// outputs after the file show it.
template <class Logger>
class Scrambled {
 public:
  Scrambled(Logger& logger, void* bytes, std::size_t count)
      : logger_(logger), bytes_(bytes), count_(static_cast<std::int32_t>(count)) {
    logger_.xor_bytes(bytes_, count_);
  }
  ~Scrambled() { logger_.xor_bytes(bytes_, count_); }
  Scrambled(const Scrambled&) = delete;
  Scrambled& operator=(const Scrambled&) = delete;

 private:
  Logger& logger_;
  void* const bytes_;
  const std::int32_t count_;
};

// Converts to the width of the output.
template <class To>
std::basic_string<To> ConvertTo(const char* text) {
  if constexpr (std::is_same_v<To, char>)
    return text;
  else
    return to_wide(text);
}
template <class To>
std::basic_string<To> ConvertTo(const wchar_t* text) {
  if constexpr (std::is_same_v<To, char>)
    return to_narrow(text);
  else
    return text;
}

}  // namespace

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::Put(const Log_Line<char>& line) {
  PutText(line.text());
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::Put(const Log_Line<wchar_t>& line) {
  if (cfg_.values.charset == kCharsetNarrow)
    io_->puts(to_narrow(line.text()).c_str());
  else
    io_->puts_w(line.text());
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::PutText(const char* text) {
  if (cfg_.values.charset == kCharsetWide)
    io_->puts_w(to_wide(text).c_str());
  else
    io_->puts(text);
}

// A record is the scrambled line and a plain zero character.
template <class IO, class LOCK, class CFG>
template <class Char>
void Log_Impl_T<IO, LOCK, CFG>::PutKeyed(Log_Line<Char>& line) {
  const std::size_t bytes = line.length() * sizeof(Char);
  const Scrambled scrambled(*this, line.text(), bytes);
  io_->write(line.text(), static_cast<std::int32_t>(bytes + sizeof(Char)));
}

template <class IO, class LOCK, class CFG>
template <class Char>
void Log_Impl_T<IO, LOCK, CFG>::PutToFile(Log_Line<Char>& line, bool flush) {
  const lock_guard hold(mutex_);
  if (io_ == nullptr) return;  // reload_cfg() turned the file on, `open` had not made it
  try {
    RotateIfFull(line.length());
    if (cfg_.values.xor_key != 0)
      PutKeyed(line);
    else
      Put(line);
    if (cfg_.values.flush) io_->flush();
  } catch (...) {
    constexpr const char* kCaught =
        std::is_same_v<Char, char>
            ? "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\n"
            : "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.\n";
    SwallowExceptions([] { WriteToConsole(kCaught); });
  }
  if (flush) SwallowExceptions([&] { io_->flush(); });
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::FlushFile() {
  const lock_guard hold(mutex_);
  if (io_ != nullptr) SwallowExceptions([&] { io_->flush(); });
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::RotateIfFull(std::size_t length) {
  const auto is_full = [&] {
    return length + static_cast<std::uint64_t>(io_->size()) > cfg_.values.maxsize;
  };
  if (!is_full()) return;
  // Another process may be rotating the same file. A second rotation in the same second would
  // replace its backup with an almost empty file.
  const RotationTurn turn(io_->handle());
  if (is_full()) rotate();
}

template <class IO, class LOCK, class CFG>
template <class Char>
void Log_Impl_T<IO, LOCK, CFG>::PutElsewhere(const Log_Line<Char>& line, std::uint32_t level) {
  constexpr bool kWideLine = std::is_same_v<Char, wchar_t>;
  const std::uint32_t output = cfg_.values.output;
  if ((output & kOutputConsole) != 0 && (level & cfg_.values.console_level) != 0) {
    SwallowExceptions([&] {
      if (!kWideLine && cfg_.values.charset == kCharsetWide)
        WriteToConsole(ConvertTo<wchar_t>(line.text()).c_str());
      else if (kWideLine && cfg_.values.charset == kCharsetNarrow)
        WriteToConsole(ConvertTo<char>(line.text()).c_str());
      else
        WriteToConsole(line.text());
    });
  }
  if ((output & kOutputDebugger) != 0) SwallowExceptions([&] { WriteToDebugger(line.text()); });
  if ((output & kOutputBox) != 0) {
    const BoxIcon icon = level == kLevelError ? BoxIcon::kError : BoxIcon::kInformation;
    SwallowExceptions([&] {
      if constexpr (kWideLine)
        ShowMessageBox(L"Logger", line.text(), icon);
      else
        ShowMessageBox(cfg_.values.title.c_str(), line.text(), icon);
    });
  }
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write_raw(const void* bytes, std::int32_t count) {
  const lock_guard hold(mutex_);
  int written = -1;
  SwallowExceptions([&] {
    if (io_ == nullptr) return;
    if (cfg_.values.xor_key == 0 || count <= 0) {
      written = io_->write(bytes, count);
      return;
    }
    constexpr std::size_t kStackBytes = 10240;
    const auto size = static_cast<std::size_t>(count);
    char on_stack[kStackBytes];
    std::unique_ptr<char[]> on_heap(size > kStackBytes ? new char[size] : nullptr);
    char* const copy = on_heap != nullptr ? on_heap.get() : on_stack;
    std::memcpy(copy, bytes, size);
    xor_bytes(copy, count);
    written = io_->write(copy, count);
  });
  return written;
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_rule(char c) {
  constexpr std::size_t kColumns = 80;
  char rule[kColumns + 1];
  std::memset(rule, c, kColumns);
  rule[kColumns] = '\0';
  const lock_guard hold(mutex_);
  if (io_ == nullptr || io_->handle() == nullptr) return;
  SwallowExceptions([&] {
    PutText(rule);
    PutText("\n");
    io_->flush();
  });
}

template <class IO, class LOCK, class CFG>
std::int32_t Log_Impl_T<IO, LOCK, CFG>::xor_bytes(void* bytes, std::int32_t count) {
  const auto key = static_cast<unsigned char>(cfg_.values.xor_key);
  auto* const byte = static_cast<unsigned char*>(bytes);
  for (std::int32_t i = 0; i < count && key != 0; ++i)
    byte[i] = static_cast<unsigned char>(byte[i] ^ key);
  return count;
}

template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::PutText(const char*);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::PutToFile(
    Log_Line<char>&, bool);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::PutToFile(
    Log_Line<wchar_t>&, bool);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::FlushFile();
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::PutElsewhere(
    const Log_Line<char>&, std::uint32_t);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::PutElsewhere(
    const Log_Line<wchar_t>&, std::uint32_t);
template int Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::write_raw(const void*,
                                                                                     std::int32_t);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::write_rule(char);
template std::int32_t Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::xor_bytes(
    void*, std::int32_t);

}  // namespace zevra
