#ifndef ZEVRA_LOG_IMPL_MESSAGE_H
#define ZEVRA_LOG_IMPL_MESSAGE_H

// The message path of Log_Impl_T up to the finished line: front ends, filters, pieces.

#include <bit>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "log/format.h"
#include "log/impl_common.h"
#include "log/line.h"

namespace zevra {
namespace log_detail {

constexpr std::size_t kFormatBytes = 65536;

}  // namespace log_detail

#define ZEVRA_LOG_FRONT_END(name, level, afterwards)             \
  ZEVRA_LOG_TEMPLATE                                             \
  void ZEVRA_LOG_CLASS::name(const char* format, ...) noexcept { \
    std::va_list arguments;                                      \
    va_start(arguments, format);                                 \
    if (log_formatted(level, format, arguments)) (afterwards);   \
    va_end(arguments);                                           \
  }

ZEVRA_LOG_FRONT_END(log_error, kLevelError, flush_now())
ZEVRA_LOG_FRONT_END(log_warn, kLevelWarn, flush_now())
ZEVRA_LOG_FRONT_END(log_verbose, kLevelVerbose, static_cast<void>(0))
ZEVRA_LOG_FRONT_END(log_trace, kLevelTrace, static_cast<void>(0))
#undef ZEVRA_LOG_FRONT_END

ZEVRA_LOG_TEMPLATE
bool ZEVRA_LOG_CLASS::log_formatted(std::uint32_t level, const char* format,
                                    std::va_list arguments) noexcept {
  if (cfg_.values.output == 0) return false;
  char text[log_detail::kFormatBytes];  // not cleared, see Log_Line
  text[0] = '\0';
  if ((cfg_.values.level & level) != 0) format_message(text, sizeof text, format, arguments);
  // Also for an unwanted level: the path's first act is the look at the settings file.
  log_detail::whatever_happens([&] { log_msg_i(nullptr, level, 0, text); });
  return true;
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::flush_now() noexcept {
  const lock_guard hold(mutex_);
  if (io_ != nullptr) log_detail::whatever_happens([&] { io_->flush(); });
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::log_msg_w(std::uint32_t level, const wchar_t* text) {
  log_msg_i_w(nullptr, level, 0, text);
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::log_msg(std::uint32_t level, const char* text) {
  log_msg_i(nullptr, level, 0, text);
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::log_msg_i_w(const wchar_t* subject, std::uint32_t level, std::uint32_t style,
                                  const wchar_t* text) {
  text = text != nullptr ? text : L"";
  reload_cfg();
  if (cfg_.values.output == 0 || (level & cfg_.values.level) == 0) return;
  Log_Line<wchar_t> line;
  build_line(line, subject, level, style, text);
  if ((cfg_.values.output & kOutputFile) != 0)
    put_to_file(line, "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.\n");
  put_elsewhere(line, level);
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::log_msg_i(const char* subject, std::uint32_t level, std::uint32_t style,
                                const char* text) {
  text = text != nullptr ? text : "";
  reload_cfg();
  if (cfg_.values.output == 0 || (level & cfg_.values.level) == 0 || is_filtered_out(subject, text))
    return;
  Log_Line<char> line;
  build_line(line, subject, level, style, text);
  if ((cfg_.values.output & kOutputFile) != 0)
    put_to_file(line, "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\n");
  put_elsewhere(line, level);
}

ZEVRA_LOG_TEMPLATE
bool ZEVRA_LOG_CLASS::is_filtered_out(const char* subject, const char* text) const {
  const auto matches = [&](const std::string& entry) {
    return (subject != nullptr && entry == subject) || std::strstr(text, entry.c_str()) != nullptr;
  };
  for (const std::string& entry : cfg_.values.exclude)
    if (matches(entry)) return true;
  for (const std::string& entry : cfg_.values.include)
    if (matches(entry)) return false;
  return !cfg_.values.include.empty();
}

ZEVRA_LOG_TEMPLATE
template <class Char>
void ZEVRA_LOG_CLASS::build_line(Log_Line<Char>& line, const Char* subject, std::uint32_t level,
                                 std::uint32_t style, const Char* text) {
  style = style != 0 ? style : cfg_.values.style.get();
  if ((style & (kStyleDateTime | kStyleTime)) != 0) {
    char time[log_detail::kTimeBytes];
    line.add_piece(time_text(time, false, (style & kStyleDateTime) == 0));
  }
  if ((style & kStyleLevel) != 0) line.add_piece(level_name(level));
  if ((style & kStyleProcess) != 0) line.add_number_piece("Px", CurrentProcessId());
  if ((style & kStyleThread) != 0) line.add_number_piece("Tx", CurrentThreadId());
  if ((style & kStyleSubject) != 0 && subject != nullptr) line.add_column_piece(subject);
  if (!line.empty() || std::is_same_v<Char, wchar_t>) line.add_blank();
  line.add_message(text);
  if ((style & kStyleLineEnd) != 0) line.end();
}

ZEVRA_LOG_TEMPLATE
char* ZEVRA_LOG_CLASS::level_hex(std::uint32_t level, char* buffer, std::size_t size) {
  if (size >= 9) std::snprintf(buffer, size, "%8x", static_cast<unsigned>(level));
  return buffer;
}

ZEVRA_LOG_TEMPLATE
const char* ZEVRA_LOG_CLASS::level_name(std::uint32_t level) {
  static constexpr const char* kNames[] = {"CRT", "ERR", "WAN", "INF", "VBS",
                                           "DBG", "PRF", "TRC", "SPK"};
  // The number of the bit that the level rounds up to.
  const auto bit = static_cast<std::size_t>(level <= 1 ? 0 : std::bit_width(level - 1));
  return bit < std::size(kNames) ? kNames[bit] : "UNK";
}

ZEVRA_LOG_TEMPLATE
bool ZEVRA_LOG_CLASS::is_enabled() { return true; }

ZEVRA_LOG_TEMPLATE
bool ZEVRA_LOG_CLASS::subject_enabled(std::int32_t index) {
  return index >= 32 || ((cfg_.values.subjects >> (index & 31)) & 1) != 0;
}

}  // namespace zevra

#endif
