#ifndef ZEVRA_TOOLS_ZEVRA_TEXT_H
#define ZEVRA_TOOLS_ZEVRA_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

#include "zevra/zevra.h"

namespace zevra::command {

using Utf16 = std::basic_string<ZevraChar>;
using Utf16View = std::basic_string_view<ZevraChar>;

// Between the user's UTF-8 and the library's UTF-16. What is no character becomes U+FFFD.
Utf16 ToUtf16(std::string_view text);
std::string ToUtf8(Utf16View text);

// ASCII letters compare without case.
bool ContainsIgnoringCase(std::string_view text, std::string_view part);
bool EqualIgnoringCase(std::string_view a, std::string_view b);

// Columns that UTF-8 text takes on a terminal.
std::size_t Columns(std::string_view text);
// Text cut to at most `columns`, its end marked where something is missing.
std::string Clipped(std::string_view text, std::size_t columns);

std::string Quoted(std::string_view name);

// Like printf into a string.
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

}  // namespace zevra::command

#endif
