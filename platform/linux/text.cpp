#include "platform/text.h"

#include <strings.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <string>

#include "platform/linux/unicode.h"

namespace zevra {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// What a lead byte announces. The first continuation byte has a range of its own, which shuts out
// over-long forms, surrogates and values above U+10FFFF; the others are always 80 to BF.
struct Lead {
  std::size_t continuation_bytes;
  unsigned char low, high;
  char32_t bits;
};

constexpr Lead kInvalidLead = {0, 0, 0, kReplacement};

Lead ReadLead(unsigned char byte) {
  if (byte < 0x80) return {0, 0, 0, byte};
  if (byte < 0xC2) return kInvalidLead;
  if (byte < 0xE0) return {1, 0x80, 0xBF, byte & 0x1Fu};
  if (byte == 0xE0) return {2, 0xA0, 0xBF, 0};
  if (byte == 0xED) return {2, 0x80, 0x9F, 0xD};
  if (byte < 0xF0) return {2, 0x80, 0xBF, byte & 0x0Fu};
  if (byte == 0xF0) return {3, 0x90, 0xBF, 0};
  if (byte < 0xF4) return {3, 0x80, 0xBF, byte & 0x07u};
  if (byte == 0xF4) return {3, 0x80, 0x8F, 4};
  return kInvalidLead;
}

// Takes one character, or one broken run of bytes, off the front of `text`.
char32_t TakeCharacter(std::string_view& text) {
  const Lead lead = ReadLead(static_cast<unsigned char>(text.front()));
  text.remove_prefix(1);
  char32_t character = lead.bits;
  unsigned char low = lead.low;
  unsigned char high = lead.high;
  for (std::size_t i = 0; i < lead.continuation_bytes; ++i) {
    if (text.empty()) return kReplacement;
    const auto byte = static_cast<unsigned char>(text.front());
    if (byte < low || byte > high) return kReplacement;
    character = character << 6 | (byte & 0x3Fu);
    text.remove_prefix(1);
    low = 0x80;
    high = 0xBF;
  }
  return character;
}

// The mapping of the host's locale would stop at ASCII in a host that never called setlocale.
locale_t CaseLocale() {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

std::wint_t Lower(WCHAR unit) {
  // Half of a surrogate pair is no character of its own.
  if (unit >= 0xD800 && unit <= 0xDFFF) return unit;
  const locale_t locale = CaseLocale();
  return locale != nullptr ? towlower_l(unit, locale) : std::towlower(unit);
}

}  // namespace

std::u16string Utf16FromUtf8(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  while (!text.empty()) {
    const char32_t character = TakeCharacter(text);
    if (character < 0x10000) {
      units.push_back(static_cast<char16_t>(character));
    } else {
      units.push_back(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
    }
  }
  return units;
}

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

bool EqualIgnoringCase(LPCWSTR a, LPCWSTR b) {
  while (*a != 0 && Lower(*a) == Lower(*b)) {
    ++a;
    ++b;
  }
  return *a == *b;
}

void SetProcessLocale(const char* locale) {
  if (locale == nullptr || std::strcmp(locale, ".ACP") != 0)
    std::setlocale(LC_ALL, locale);  // NOLINT(concurrency-mt-unsafe): the setting asks for it
}

}  // namespace zevra
