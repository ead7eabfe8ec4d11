#include "tools/zevra/text.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace zevra::command {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Takes one character off the front of `text`, which is not empty.
char32_t TakeCharacter(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  text.remove_prefix(1);
  if (first < 0x80) return first;
  int more = 0;
  char32_t character = 0;
  char32_t least = 0;
  if (first >= 0xC2 && first <= 0xDF)
    more = 1, character = first & 0x1FU, least = 0x80;
  else if (first >= 0xE0 && first <= 0xEF)
    more = 2, character = first & 0x0FU, least = 0x800;
  else if (first >= 0xF0 && first <= 0xF4)
    more = 3, character = first & 0x07U, least = 0x10000;
  else
    return kReplacement;
  for (; more > 0; --more) {
    if (text.empty()) return kReplacement;
    const auto next = static_cast<unsigned char>(text.front());
    if ((next & 0xC0U) != 0x80) return kReplacement;
    text.remove_prefix(1);
    character = character << 6U | (next & 0x3FU);
  }
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  return character < least || character > 0x10FFFF || surrogate ? kReplacement : character;
}

char32_t TakeCharacter(Utf16View& text) {
  const char32_t first = text.front();
  text.remove_prefix(1);
  if (first < 0xD800 || first > 0xDFFF) return first;
  if (first > 0xDBFF || text.empty()) return kReplacement;
  const char32_t second = text.front();
  if (second < 0xDC00 || second > 0xDFFF) return kReplacement;
  text.remove_prefix(1);
  return 0x10000 + ((first - 0xD800) << 10U) + (second - 0xDC00);
}

void Append(std::string& out, char32_t character) {
  const auto byte = [&out](char32_t value) { out.push_back(static_cast<char>(value)); };
  if (character < 0x80) {
    byte(character);
    return;
  }
  if (character < 0x800) {
    byte(0xC0 | character >> 6U);
  } else {
    if (character < 0x10000) {
      byte(0xE0 | character >> 12U);
    } else {
      byte(0xF0 | character >> 18U);
      byte(0x80 | (character >> 12U & 0x3F));
    }
    byte(0x80 | (character >> 6U & 0x3F));
  }
  byte(0x80 | (character & 0x3F));
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
  Utf16 out;
  while (!text.empty()) {
    const char32_t character = TakeCharacter(text);
    if (character < 0x10000) {
      out.push_back(static_cast<ZevraChar>(character));
    } else {
      out.push_back(static_cast<ZevraChar>(0xD800 + ((character - 0x10000) >> 10U)));
      out.push_back(static_cast<ZevraChar>(0xDC00 + ((character - 0x10000) & 0x3FF)));
    }
  }
  return out;
}

std::string ToUtf8(Utf16View text) {
  std::string out;
  while (!text.empty()) Append(out, TakeCharacter(text));
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
  while (!text.empty()) columns += ColumnsOf(TakeCharacter(text));
  return columns;
}

std::string Clipped(std::string_view text, std::size_t columns) {
  if (Columns(text) <= columns) return std::string(text);
  std::string out;
  constexpr std::string_view kMark = "~";
  std::size_t used = kMark.size();
  while (!text.empty()) {
    const char32_t character = TakeCharacter(text);
    used += ColumnsOf(character);
    if (used > columns) break;
    Append(out, character);
  }
  return columns == 0 ? std::string() : out + std::string(kMark);
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
