#ifndef ZEVRA_LOG_LINE_H
#define ZEVRA_LOG_LINE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/text.h"

namespace zevra {

// Builds one line, narrow or wide, on the stack of the thread that logs. A text that does not fit
// is cut; a line end and the terminator always fit.
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
  void AddPiece(std::string_view text) {
    Add('[');
    for (const char c : text) Add(c);
    Add(']');
  }

  // "[Px%04x]" and its like.
  void AddNumberPiece(std::string_view prefix, std::uint32_t number) {
    Add('[');
    for (const char c : prefix) Add(c);
    int digits = 4;
    while (digits < 8 && (number >> (4 * digits)) != 0) ++digits;
    while (digits-- > 0) Add("0123456789abcdef"[(number >> (4 * digits)) & 0xF]);
    Add(']');
  }

  // "[%-8.8s]": exactly eight columns.
  void AddColumnPiece(std::basic_string_view<Char> text) {
    constexpr std::size_t kColumns = 8;
    Add('[');
    for (std::size_t i = 0; i < kColumns; ++i)
      Add(i < text.size() ? text[i] : static_cast<Char>(' '));
    Add(']');
  }

  void AddBlank() { Add(' '); }

  // A message that is too long is cut between two characters and keeps its line end.
  void AddMessage(std::basic_string_view<Char> text) {
    const std::size_t limit = kCapacity - kReserved - length_;
    const bool fits = text.size() <= limit;
    const std::size_t count = fits ? text.size() : CutOnCharacter(text.data(), limit);
    std::copy_n(text.data(), count, text_ + length_);
    length_ += count;
    if (!fits && IsLineEnd(text.back())) text_[length_++] = text.back();
    text_[length_] = Char();
  }

  // A line end, unless the line has one already.
  void End() {
    if (length_ == 0 || !IsLineEnd(text_[length_ - 1])) {
      text_[length_++] = static_cast<Char>('\n');
      text_[length_] = Char();
    }
  }

 private:
  static constexpr std::size_t kReserved = 2;  // line end and terminator

  static bool IsLineEnd(Char c) {
    return c == static_cast<Char>('\n') || c == static_cast<Char>('\r');
  }

  template <class Any>
  void Add(Any c) {
    if (length_ < kCapacity - kReserved) text_[length_++] = static_cast<Char>(c);
  }

  std::size_t length_ = 0;
  Char text_[kCapacity];  // not cleared: that would cost more than the rest of a line
};

}  // namespace zevra

#endif
