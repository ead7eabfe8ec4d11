#include "log/text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

#include "platform/text.h"

namespace zevra {
namespace {

// The last character of a text of `length` bytes that did not fit, by formatting it again in full.
// Out of memory it returns 0, as for a text without a line end.
char LastCharacter(std::size_t length, const char* format, std::va_list arguments) noexcept {
  const std::unique_ptr<char[]> whole(new (std::nothrow) char[length + 1]);
  if (whole == nullptr ||
      std::vsnprintf(whole.get(), length + 1, format, arguments) != static_cast<int>(length))
    return '\0';
  return whole[length - 1];
}

constexpr std::size_t kStackElements = 20480;

// For a text that the stack buffer does not hold: asks for the size first.
template <class To, class From, class Convert>
std::basic_string<To> ConvertOnHeap(const From* text, Convert convert) {
  const std::size_t needed = convert(text, nullptr, 0);
  if (needed == kNotConvertible) return {};
  std::basic_string<To> converted(needed + 1, To());
  const std::size_t length = convert(text, converted.data(), converted.size());
  converted.resize(length == kNotConvertible ? 0 : length);
  return converted;
}

}  // namespace

void FormatText(char* buffer, std::size_t size, const char* format,
                std::va_list arguments) noexcept {
  std::va_list again;
  va_copy(again, arguments);
  const int formatted = std::vsnprintf(buffer, size, format, arguments);
  if (formatted < 0) {
    const std::size_t length = std::min(std::strlen(format), size - 1);
    std::memcpy(buffer, format, length);
    buffer[length] = '\0';
  } else if (const auto length = static_cast<std::size_t>(formatted); length >= size) {
    const char last = LastCharacter(length, format, again);
    std::size_t cut = CutOnCharacter(buffer, size - 2);
    if (last == '\n' || last == '\r') buffer[cut++] = last;
    buffer[cut] = '\0';
  }
  va_end(again);
}

std::wstring to_wide(const char* text) {
  if (std::strlen(text) + 1 >= kStackElements) return ConvertOnHeap<wchar_t>(text, NarrowToWide);
  wchar_t wide[kStackElements];
  const std::size_t length = NarrowToWide(text, wide, kStackElements);
  return length == kNotConvertible ? std::wstring() : std::wstring(wide, length);
}

std::string to_narrow(const wchar_t* text) {
  if ((std::wcslen(text) + 1) * sizeof(wchar_t) >= kStackElements)
    return ConvertOnHeap<char>(text, WideToNarrow);
  char narrow[kStackElements];
  const std::size_t length = WideToNarrow(text, narrow, kStackElements);
  // A character can take more bytes as narrow text than it had as a wide one.
  return length == kNotConvertible ? ConvertOnHeap<char>(text, WideToNarrow)
                                   : std::string(narrow, length);
}

}  // namespace zevra
