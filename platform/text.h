#ifndef ZEVRA_PLATFORM_TEXT_H
#define ZEVRA_PLATFORM_TEXT_H

// Text in the encoding of the process: the locale in force decides how narrow and wide text turn
// into each other. Any thread, as far as nobody changes the locale meanwhile.

#include <cstddef>

#include "platform/api.h"

namespace zevra {

constexpr std::size_t kNotConvertible = static_cast<std::size_t>(-1);

// Converts a zero-terminated text into `buffer` of `size` elements and terminates it. Returns the
// elements written without the terminator; with a null `buffer` the elements that are needed. A
// text that does not convert, or does not fit, gives kNotConvertible.
std::size_t NarrowToWide(const char* text, wchar_t* buffer, std::size_t size);
std::size_t WideToNarrow(const wchar_t* text, char* buffer, std::size_t size);

// The largest length up to `limit` at which `text` can be cut without splitting a character. The
// text must have at least `limit` elements.
std::size_t CutOnCharacter(const char* text, std::size_t limit);
std::size_t CutOnCharacter(const wchar_t* text, std::size_t limit);

// True if the two texts are the same but for the case of their letters.
bool SameIgnoringCase(const char* left, const char* right);

// True if both zero-terminated UTF-16 texts have the same length and the same units, letter case
// ignored. On Windows that is _wcsicmp in the host's locale; elsewhere the C library's simple
// lower-case mapping, unit by unit, whatever locale the host has chosen.
bool EqualIgnoringCase(LPCWSTR a, LPCWSTR b);

// setlocale for all categories. A null text only asks. ".ACP", the system's own code page, leaves a
// Linux host's locale alone: there the host has chosen its encoding already.
void SetProcessLocale(const char* locale);

}  // namespace zevra

#endif
