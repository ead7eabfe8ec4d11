#include "platform/text.h"

#include <strings.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include "platform/linux/wide_text.h"

namespace zevra {

std::string WideToUtf8(const wchar_t* text) {
  std::string narrow;
  for (; *text != L'\0'; ++text) {
    auto code = static_cast<char32_t>(*text);
    if (code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) code = 0xFFFD;
    const auto tail = [&](int shift) {
      narrow += static_cast<char>(0x80 | ((code >> shift) & 0x3F));
    };
    if (code < 0x80) {
      narrow += static_cast<char>(code);
    } else if (code < 0x800) {
      narrow += static_cast<char>(0xC0 | (code >> 6));
      tail(0);
    } else if (code < 0x10000) {
      narrow += static_cast<char>(0xE0 | (code >> 12));
      tail(6);
      tail(0);
    } else {
      narrow += static_cast<char>(0xF0 | (code >> 18));
      tail(12);
      tail(6);
      tail(0);
    }
  }
  return narrow;
}

std::size_t NarrowToWide(const char* text, wchar_t* buffer, std::size_t size) {
  std::mbstate_t state{};
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is this call's own
  const std::size_t count = std::mbsrtowcs(buffer, &text, size, &state);
  // The source is followed to its end only if everything fitted, the terminator too.
  return buffer != nullptr && text != nullptr ? kNotConvertible : count;
}

std::size_t WideToNarrow(const wchar_t* text, char* buffer, std::size_t size) {
  std::mbstate_t state{};
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is this call's own
  const std::size_t count = std::wcsrtombs(buffer, &text, size, &state);
  return buffer != nullptr && text != nullptr ? kNotConvertible : count;
}

std::size_t CutOnCharacter(const char* text, std::size_t limit) {
  // A UTF-8 lead byte among the last three whose sequence would run past the limit goes with its
  // tail. Text in any other encoding has no such pattern, or loses at most one character to it.
  for (std::size_t back = 1; back <= 3 && back <= limit; ++back) {
    const auto byte = static_cast<unsigned char>(text[limit - back]);
    if (byte >= 0xC0) {
      const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
      return length > back ? limit - back : limit;
    }
    if (byte < 0x80) break;
  }
  return limit;
}

std::size_t CutOnCharacter(const wchar_t*, std::size_t limit) {
  return limit;  // one element is one character here
}

bool SameIgnoringCase(const char* left, const char* right) {
  return ::strcasecmp(left, right) == 0;
}

void SetProcessLocale(const char* locale) {
  if (locale == nullptr || std::strcmp(locale, ".ACP") != 0)
    std::setlocale(LC_ALL, locale);  // NOLINT(concurrency-mt-unsafe): the setting asks for it
}

}  // namespace zevra
