// Log_Impl_T: the path of a message up to the finished line (front ends, filters, pieces).

#include <bit>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "log/line.h"
#include "log/log_impl.h"
#include "log/process_logger.h"
#include "log/text.h"
#include "log/time_text.h"

namespace zevra {

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_error(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  LogFormatted(kLevelError, true, format, arguments);
  va_end(arguments);
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_warn(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  LogFormatted(kLevelWarn, true, format, arguments);
  va_end(arguments);
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_verbose(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  LogFormatted(kLevelVerbose, false, format, arguments);
  va_end(arguments);
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_trace(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  LogFormatted(kLevelTrace, false, format, arguments);
  va_end(arguments);
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::LogFormatted(std::uint32_t level, bool flush, const char* format,
                                             std::va_list arguments) noexcept {
  if (cfg_.values.output == 0) return;
  constexpr std::size_t kFormatBytes = 65536;
  char text[kFormatBytes];  // not cleared, see Log_Line
  text[0] = '\0';
  if ((cfg_.values.level & level) != 0) FormatText(text, sizeof text, format, arguments);
  // Called for filtered levels too: LogMessage() checks the settings file first.
  SwallowExceptions([&] { LogMessage<char>(nullptr, level, 0, text, flush); });
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_msg_w(std::uint32_t level, const wchar_t* text) {
  log_msg_i_w(nullptr, level, 0, text);
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_msg(std::uint32_t level, const char* text) {
  log_msg_i(nullptr, level, 0, text);
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_msg_i_w(const wchar_t* subject, std::uint32_t level,
                                            std::uint32_t style, const wchar_t* text) {
  LogMessage(subject, level, style, text != nullptr ? text : L"", false);
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_msg_i(const char* subject, std::uint32_t level,
                                          std::uint32_t style, const char* text) {
  LogMessage(subject, level, style, text != nullptr ? text : "", false);
}

template <class IO, class LOCK, class CFG>
template <class Char>
void Log_Impl_T<IO, LOCK, CFG>::LogMessage(const Char* subject, std::uint32_t level,
                                           std::uint32_t style, const Char* text, bool flush) {
  reload_cfg();
  bool wanted = cfg_.values.output != 0 && (level & cfg_.values.level) != 0;
  if constexpr (std::is_same_v<Char, char>) wanted = wanted && !IsFilteredOut(subject, text);
  if (!wanted) {
    if (flush) FlushFile();
    return;
  }
  Log_Line<Char> line;
  BuildLine(line, subject, level, style, text);
  if ((cfg_.values.output & kOutputFile) != 0)
    PutToFile(line, flush);
  else if (flush)
    FlushFile();
  PutElsewhere(line, level);
}

template <class IO, class LOCK, class CFG>
bool Log_Impl_T<IO, LOCK, CFG>::IsFilteredOut(const char* subject, const char* text) const {
  const auto matches = [&](const std::string& entry) {
    return (subject != nullptr && entry == subject) || std::strstr(text, entry.c_str()) != nullptr;
  };
  for (const std::string& entry : cfg_.values.exclude)
    if (matches(entry)) return true;
  for (const std::string& entry : cfg_.values.include)
    if (matches(entry)) return false;
  return !cfg_.values.include.empty();
}

template <class IO, class LOCK, class CFG>
template <class Char>
void Log_Impl_T<IO, LOCK, CFG>::BuildLine(Log_Line<Char>& line, const Char* subject,
                                          std::uint32_t level, std::uint32_t style,
                                          const Char* text) {
  style = style != 0 ? style : cfg_.values.style.get();
  if ((style & (kStyleDateTime | kStyleTime)) != 0) {
    char time[kTimeBytes];
    line.AddPiece(time_text(time, false, (style & kStyleDateTime) == 0));
  }
  if ((style & kStyleLevel) != 0) line.AddPiece(level_name(level));
  if ((style & kStyleProcess) != 0) line.AddNumberPiece("Px", CurrentProcessId());
  if ((style & kStyleThread) != 0) line.AddNumberPiece("Tx", CurrentThreadId());
  if ((style & kStyleSubject) != 0 && subject != nullptr) line.AddColumnPiece(subject);
  if (!line.empty() || std::is_same_v<Char, wchar_t>) line.AddBlank();
  line.AddMessage(text);
  if ((style & kStyleLineEnd) != 0) line.End();
}

template <class IO, class LOCK, class CFG>
char* Log_Impl_T<IO, LOCK, CFG>::level_hex(std::uint32_t level, char* buffer, std::size_t size) {
  if (size >= 9) std::snprintf(buffer, size, "%8x", static_cast<unsigned>(level));
  return buffer;
}

template <class IO, class LOCK, class CFG>
const char* Log_Impl_T<IO, LOCK, CFG>::level_name(std::uint32_t level) {
  static constexpr const char* kNames[] = {"CRT", "ERR", "WAN", "INF", "VBS",
                                           "DBG", "PRF", "TRC", "SPK"};
  // The bit of the next power of two.
  const auto bit = static_cast<std::size_t>(level <= 1 ? 0 : std::bit_width(level - 1));
  return bit < std::size(kNames) ? kNames[bit] : "UNK";
}

template <class IO, class LOCK, class CFG>
bool Log_Impl_T<IO, LOCK, CFG>::is_enabled() {
  return true;
}

template <class IO, class LOCK, class CFG>
bool Log_Impl_T<IO, LOCK, CFG>::subject_enabled(std::int32_t index) {
  return index >= 32 || ((cfg_.values.subjects >> (index & 31)) & 1) != 0;
}

template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::log_error(const char*,
                                                                                      ...) noexcept;
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::log_warn(const char*,
                                                                                     ...) noexcept;
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::log_verbose(
    const char*, ...) noexcept;
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::log_trace(const char*,
                                                                                      ...) noexcept;
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::log_msg_w(
    std::uint32_t, const wchar_t*);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::log_msg(std::uint32_t,
                                                                                    const char*);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::log_msg_i_w(
    const wchar_t*, std::uint32_t, std::uint32_t, const wchar_t*);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::log_msg_i(const char*,
                                                                                      std::uint32_t,
                                                                                      std::uint32_t,
                                                                                      const char*);
template char* Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::level_hex(
    std::uint32_t, char*, std::size_t);
template const char* Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::level_name(
    std::uint32_t);
template bool Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::is_enabled();
template bool Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::subject_enabled(
    std::int32_t);

}  // namespace zevra
