#include "tools/zevra/text.h"

#include <utf8cpp/utf8.h>
#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace zevra::command {
namespace {

bool IsBetween(char32_t value, char32_t first, char32_t last) {
  return value >= first && value <= last;
}

std::u32string Characters(std::string_view text) {
  return utf8::utf8to32(utf8::replace_invalid(std::string(text)));
}

bool SameLetter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

std::size_t ColumnsOf(char32_t character) {
  const int width = wcwidth(static_cast<wchar_t>(character));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

Utf16 ToUtf16(std::string_view text) {
  return utf8::utf8to16(utf8::replace_invalid(std::string(text)));
}

std::string ToUtf8(Utf16View text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t character = text[i];
    if (IsBetween(character, 0xD800, 0xDBFF) && i + 1 < text.size() &&
        IsBetween(text[i + 1], 0xDC00, 0xDFFF))
      character = 0x10000 + ((character - 0xD800) << 10U) + (text[++i] - 0xDC00U);
    // A name that the library cut may end in half a pair, where utf8::utf16to8 would throw.
    utf8::append(IsBetween(character, 0xD800, 0xDFFF) ? U'\ufffd' : character, out);
  }
  return out;
}

bool ContainsIgnoringCase(std::string_view text, std::string_view part) {
  return std::search(text.begin(), text.end(), part.begin(), part.end(), SameLetter) != text.end();
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameLetter);
}

std::size_t Columns(std::string_view text) {
  std::size_t columns = 0;
  for (const char32_t character : Characters(text)) columns += ColumnsOf(character);
  return columns;
}

std::string Clipped(std::string_view text, std::size_t columns) {
  if (Columns(text) <= columns) return std::string(text);
  if (columns == 0) return {};
  std::string out;
  std::size_t used = 1;  // the mark
  for (const char32_t character : Characters(text)) {
    used += ColumnsOf(character);
    if (used > columns) break;
    utf8::append(character, out);
  }
  return out + '~';
}

std::string Quoted(std::string_view name) { return '"' + std::string(name) + '"'; }

std::string Format(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string out(static_cast<std::size_t>(std::max(length, 0)), '\0');
  std::vsnprintf(out.data(), out.size() + 1, format, again);
  va_end(again);
  return out;
}

}  // namespace zevra::command
