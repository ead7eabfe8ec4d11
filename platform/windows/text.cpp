#include "platform/text.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace zevra {

std::size_t NarrowToWide(const char* text, wchar_t* buffer, std::size_t size) {
  const std::size_t needed = std::mbstowcs(nullptr, text, 0);
  if (buffer == nullptr || needed == kNotConvertible) return needed;
  std::size_t written = 0;
  // The checked function ends the process over a buffer that is too small, so that is asked first.
  const bool done = needed < size && ::mbstowcs_s(&written, buffer, size, text, needed) == 0;
  return done ? needed : kNotConvertible;
}

std::size_t WideToNarrow(const wchar_t* text, char* buffer, std::size_t size) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): this run-time library keeps no state for it
  const std::size_t needed = std::wcstombs(nullptr, text, 0);
  if (buffer == nullptr || needed == kNotConvertible) return needed;
  std::size_t written = 0;
  const bool done = needed < size && ::wcstombs_s(&written, buffer, size, text, needed) == 0;
  return done ? needed : kNotConvertible;
}

std::size_t CutOnCharacter(const char* text, std::size_t limit) {
  CPINFO page{};
  if (::GetCPInfo(CP_ACP, &page) == 0 || page.MaxCharSize < 2) return limit;
  std::size_t length = 0;
  while (length < limit) {
    const auto byte = static_cast<unsigned char>(text[length]);
    std::size_t step = 1;
    if (page.MaxCharSize > 2)  // UTF-8
      step = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    else if (::IsDBCSLeadByte(byte) != 0)
      step = 2;
    if (length + step > limit) break;
    length += step;
  }
  return length;
}

std::size_t CutOnCharacter(const wchar_t* text, std::size_t limit) {
  const bool split = limit > 0 && text[limit - 1] >= 0xD800 && text[limit - 1] < 0xDC00;
  return split ? limit - 1 : limit;
}

bool SameIgnoringCase(const char* left, const char* right) { return ::_stricmp(left, right) == 0; }

bool EqualIgnoringCase(LPCWSTR a, LPCWSTR b) { return ::_wcsicmp(a, b) == 0; }

void SetProcessLocale(const char* locale) {
  std::setlocale(LC_ALL, locale);  // NOLINT(concurrency-mt-unsafe): the setting asks for it
}

}  // namespace zevra
