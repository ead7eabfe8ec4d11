#ifndef ZEVRA_LOG_TEXT_H
#define ZEVRA_LOG_TEXT_H

#include <cstdarg>
#include <cstddef>
#include <string>

#include "platform/compiler.h"

namespace zevra {

// Formats into `buffer` of `size` bytes (at least 3) and terminates it. A text that does not fit is
// cut between two characters and keeps its line end; one that cannot be formatted gives the format
// itself. Any thread, never throws.
void FormatText(char* buffer, std::size_t size, const char* format, std::va_list arguments) noexcept
    ZEVRA_PRINTF(3, 0);

// Narrow and wide text by the process's locale. A text that does not convert gives an empty one.
// Any thread, while no other changes the locale; throws std::bad_alloc only.
std::wstring to_wide(const char* text);
std::string to_narrow(const wchar_t* text);

}  // namespace zevra

#endif
