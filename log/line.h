#ifndef ZEVRA_LOG_LINE_H
#define ZEVRA_LOG_LINE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/text.h"

namespace zevra {

// One line as it is built, narrow or wide, on the stack of the thread that logs. What does not fit
// is cut; there is always room for a line end and the terminator.
template <class Char>
class Log_Line {
 public:
  static constexpr std::size_t kCapacity = 65536;

  Log_Line() { text_[0] = Char(); }
  Log_Line(const Log_Line&) = delete;
  Log_Line& operator=(const Log_Line&) = delete;

  Char* text() { return text_; }
  const Char* text() const { return text_; }
  std::size_t length() const { return length_; }
  bool empty() const { return length_ == 0; }

  // "[text]", for texts of plain ASCII.
  void add_piece(std::string_view text) {
    add('[');
    for (const char c : text) add(c);
    add(']');
  }

  // "[Px%04x]" and its like.
  void add_number_piece(std::string_view prefix, std::uint32_t number) {
    add('[');
    for (const char c : prefix) add(c);
    int digits = 4;
    while (digits < 8 && (number >> (4 * digits)) != 0) ++digits;
    while (digits-- > 0) add("0123456789abcdef"[(number >> (4 * digits)) & 0xF]);
    add(']');
  }

  // "[%-8.8s]": exactly eight columns.
  void add_column_piece(std::basic_string_view<Char> text) {
    constexpr std::size_t kColumns = 8;
    add('[');
    for (std::size_t i = 0; i < kColumns; ++i)
      add(i < text.size() ? text[i] : static_cast<Char>(' '));
    add(']');
  }

  void add_blank() { add(' '); }

  // The message itself, cut between two characters if need be; its own line end stays then too.
  void add_message(std::basic_string_view<Char> text) {
    const std::size_t room = kCapacity - kReserved - length_;
    const bool fits = text.size() <= room;
    const std::size_t count = fits ? text.size() : CutOnCharacter(text.data(), room);
    std::copy_n(text.data(), count, text_ + length_);
    length_ += count;
    if (!fits && is_line_end(text.back())) text_[length_++] = text.back();
    text_[length_] = Char();
  }

  // A line end, unless the line has one already.
  void end() {
    if (length_ == 0 || !is_line_end(text_[length_ - 1])) {
      text_[length_++] = static_cast<Char>('\n');
      text_[length_] = Char();
    }
  }

 private:
  static constexpr std::size_t kReserved = 2;  // line end and terminator

  static bool is_line_end(Char c) {
    return c == static_cast<Char>('\n') || c == static_cast<Char>('\r');
  }

  template <class Any>
  void add(Any c) {
    if (length_ < kCapacity - kReserved) text_[length_++] = static_cast<Char>(c);
  }

  std::size_t length_ = 0;
  Char text_[kCapacity];  // not cleared: that would cost more than the rest of a line
};

}  // namespace zevra

#endif
