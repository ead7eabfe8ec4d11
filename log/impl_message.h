#ifndef ZEVRA_LOG_IMPL_MESSAGE_H
#define ZEVRA_LOG_IMPL_MESSAGE_H

// The message path of Log_Impl_T: front ends, filters, the line and where it goes.

#include <array>
#include <bit>
#include <cstring>
#include <iterator>
#include <string_view>

#include "log/format.h"
#include "log/line.h"
#include "log/log_impl.h"
#include "log/masks.h"
#include "log/text_convert.h"
#include "platform/files.h"
#include "platform/output.h"

namespace zevra {
namespace log_detail {

constexpr std::size_t kFormatBytes = 65536;
constexpr std::size_t kTimeBytes = 133;

// What an output fails at must not keep the next one from its turn, nor reach the caller.
template <class Work>
void whatever_happens(Work work) noexcept {
  try {
    work();
  } catch (...) {  // the log has no place to tell its own failures
  }
}

// Gives the bytes their plain text back, however the work in between ends: the outputs behind the
// file show it.
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

// A text as an output of the other width shows it.
template <class To>
std::basic_string<To> convert(const char* text) {
  if constexpr (std::is_same_v<To, char>) {
    return text;
  } else {
    return to_wide(text);
  }
}
template <class To>
std::basic_string<To> convert(const wchar_t* text) {
  if constexpr (std::is_same_v<To, char>) {
    return to_narrow(text);
  } else {
    return text;
  }
}

}  // namespace log_detail

#define ZEVRA_LOG_TEMPLATE template <class IO, class LOCK, class CFG>
#define ZEVRA_LOG_CLASS Log_Impl_T<IO, LOCK, CFG>

#define ZEVRA_LOG_FRONT_END(name, level, afterwards)                \
  ZEVRA_LOG_TEMPLATE                                                \
  void ZEVRA_LOG_CLASS::name(const char* format, ...) noexcept {    \
    std::va_list arguments;                                         \
    va_start(arguments, format);                                    \
    const bool passed_on = log_formatted(level, format, arguments); \
    va_end(arguments);                                              \
    if (passed_on) {                                                \
      afterwards;                                                   \
    }                                                               \
  }

ZEVRA_LOG_FRONT_END(log_error, kLevelError, flush_now())
ZEVRA_LOG_FRONT_END(log_warn, kLevelWarn, flush_now())
ZEVRA_LOG_FRONT_END(log_verbose, kLevelVerbose, )
ZEVRA_LOG_FRONT_END(log_trace, kLevelTrace, )
#undef ZEVRA_LOG_FRONT_END

ZEVRA_LOG_TEMPLATE
bool ZEVRA_LOG_CLASS::log_formatted(std::uint32_t level, const char* format,
                                    std::va_list arguments) noexcept {
  if (cfg_.values.output == 0) {
    return false;
  }
  char text[log_detail::kFormatBytes];  // not cleared, see Log_Line
  text[0] = '\0';
  if ((cfg_.values.level & level) != 0) {
    format_message(text, sizeof text, format, arguments);
  }
  // Also for an unwanted level: the path's first act is the look at the settings file.
  log_detail::whatever_happens([&] { log_msg_i(nullptr, level, 0, text); });
  return true;
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::flush_now() noexcept {
  const lock_guard hold(mutex_);
  if (io_ != nullptr) {
    log_detail::whatever_happens([&] { io_->flush(); });
  }
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
  reload_cfg();
  if (cfg_.values.output == 0 || (level & cfg_.values.level) == 0) {
    return;
  }
  Log_Line<wchar_t> line;
  build_line(line, subject, level, style, text);
  if ((cfg_.values.output & kOutputFile) != 0) {
    put_to_file(line, "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.\n");
  }
  put_elsewhere(line, level);
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::log_msg_i(const char* subject, std::uint32_t level, std::uint32_t style,
                                const char* text) {
  reload_cfg();
  if (cfg_.values.output == 0 || (level & cfg_.values.level) == 0 ||
      is_filtered_out(subject, text)) {
    return;
  }
  Log_Line<char> line;
  build_line(line, subject, level, style, text);
  if ((cfg_.values.output & kOutputFile) != 0) {
    put_to_file(line, "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\n");
  }
  put_elsewhere(line, level);
}

ZEVRA_LOG_TEMPLATE
bool ZEVRA_LOG_CLASS::is_filtered_out(const char* subject, const char* text) const {
  const auto matches = [&](const std::string& entry) {
    return (subject != nullptr && entry == subject) || std::strstr(text, entry.c_str()) != nullptr;
  };
  for (const std::string& entry : cfg_.values.exclude) {
    if (matches(entry)) {
      return true;
    }
  }
  for (const std::string& entry : cfg_.values.include) {
    if (matches(entry)) {
      return false;
    }
  }
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
  if ((style & kStyleLevel) != 0) {
    line.add_piece(level_name(level));
  }
  if ((style & kStyleProcess) != 0) {
    line.add_number_piece("Px", CurrentProcessId());
  }
  if ((style & kStyleThread) != 0) {
    line.add_number_piece("Tx", CurrentThreadId());
  }
  if ((style & kStyleSubject) != 0 && subject != nullptr) {
    line.add_column_piece(subject);
  }
  if (!line.empty() || std::is_same_v<Char, wchar_t>) {
    line.add_blank();
  }
  line.add_message(text);
  if ((style & kStyleLineEnd) != 0) {
    line.end();
  }
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::put(const Log_Line<char>& line) { put_text(line.text()); }

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::put(const Log_Line<wchar_t>& line) {
  if (cfg_.values.charset == kCharsetNarrow) {
    io_->puts(to_narrow(line.text()).c_str());
  } else {
    io_->puts_w(line.text());
  }
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::put_text(const char* text) {
  if (cfg_.values.charset == kCharsetWide) {
    io_->puts_w(to_wide(text).c_str());
  } else {
    io_->puts(text);
  }
}

// One record: the scrambled line and a plain zero character.
ZEVRA_LOG_TEMPLATE
template <class Char>
void ZEVRA_LOG_CLASS::put_keyed(Log_Line<Char>& line) {
  const std::size_t bytes = line.length() * sizeof(Char);
  const log_detail::Scrambled scrambled(*this, line.text(), bytes);
  io_->write(line.text(), static_cast<std::int32_t>(bytes + sizeof(Char)));
}

ZEVRA_LOG_TEMPLATE
template <class Char>
void ZEVRA_LOG_CLASS::put_to_file(Log_Line<Char>& line, const char* caught) {
  const lock_guard hold(mutex_);
  if (io_ == nullptr) {
    return;  // the re-read turned the file on after `open` had left it out
  }
  try {
    make_room(line.length());
    if (cfg_.values.xor_key != 0) {
      put_keyed(line);
    } else {
      put(line);
    }
    if (cfg_.values.flush) {
      io_->flush();
    }
  } catch (...) {
    log_detail::whatever_happens([&] { WriteToConsole(caught); });
  }
}

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::make_room(std::size_t length) {
  const auto is_full = [&] {
    return length + static_cast<std::uint64_t>(io_->size()) > cfg_.values.maxsize;
  };
  if (!is_full()) {
    return;
  }
  // Another process that writes the same file may be at it already. Rotating what it has just
  // emptied would put a near-empty file over its backup of the same second.
  const RotationTurn turn(io_->handle());
  if (is_full()) {
    rotate();
  }
}

ZEVRA_LOG_TEMPLATE
template <class Char>
void ZEVRA_LOG_CLASS::put_elsewhere(const Log_Line<Char>& line, std::uint32_t level) {
  constexpr bool kWideLine = std::is_same_v<Char, wchar_t>;
  const std::uint32_t output = cfg_.values.output;
  if ((output & kOutputConsole) != 0 && (level & cfg_.values.console_level) != 0) {
    log_detail::whatever_happens([&] {
      if (!kWideLine && cfg_.values.charset == kCharsetWide) {
        WriteToConsole(log_detail::convert<wchar_t>(line.text()).c_str());
      } else if (kWideLine && cfg_.values.charset == kCharsetNarrow) {
        WriteToConsole(log_detail::convert<char>(line.text()).c_str());
      } else {
        WriteToConsole(line.text());
      }
    });
  }
  if ((output & kOutputDebugger) != 0) {
    log_detail::whatever_happens([&] { WriteToDebugger(line.text()); });
  }
  if ((output & kOutputBox) != 0) {
    const BoxIcon icon = level == kLevelError ? BoxIcon::kError : BoxIcon::kInformation;
    log_detail::whatever_happens([&] {
      if constexpr (kWideLine) {
        ShowMessageBox(L"Logger", line.text(), icon);
      } else {
        ShowMessageBox(cfg_.values.title.c_str(), line.text(), icon);
      }
    });
  }
}

ZEVRA_LOG_TEMPLATE
int ZEVRA_LOG_CLASS::write_raw(const void* bytes, std::int32_t count) {
  const lock_guard hold(mutex_);
  int written = -1;
  log_detail::whatever_happens([&] {
    if (io_ == nullptr) {
      return;
    }
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

ZEVRA_LOG_TEMPLATE
void ZEVRA_LOG_CLASS::write_rule(char c) {
  if (io_ == nullptr || io_->handle() == nullptr) {
    return;
  }
  constexpr std::size_t kColumns = 80;
  char rule[kColumns + 1];
  std::memset(rule, c, kColumns);
  rule[kColumns] = '\0';
  const lock_guard hold(mutex_);
  log_detail::whatever_happens([&] {
    put_text(rule);
    put_text("\n");
    io_->flush();
  });
}

ZEVRA_LOG_TEMPLATE
char* ZEVRA_LOG_CLASS::level_hex(std::uint32_t level, char* buffer, std::size_t size) {
  if (size >= 9) {
    std::snprintf(buffer, size, "%8x", static_cast<unsigned>(level));
  }
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
std::int32_t ZEVRA_LOG_CLASS::xor_bytes(void* bytes, std::int32_t count) {
  const auto key = static_cast<unsigned char>(cfg_.values.xor_key);
  auto* const byte = static_cast<unsigned char*>(bytes);
  for (std::int32_t i = 0; i < count && key != 0; ++i) {
    byte[i] = static_cast<unsigned char>(byte[i] ^ key);
  }
  return count;
}

ZEVRA_LOG_TEMPLATE
bool ZEVRA_LOG_CLASS::is_enabled() { return true; }

ZEVRA_LOG_TEMPLATE
bool ZEVRA_LOG_CLASS::subject_enabled(std::int32_t index) {
  return index >= 32 || ((cfg_.values.subjects >> (index & 31)) & 1) != 0;
}

}  // namespace zevra

#endif
