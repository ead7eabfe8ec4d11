#ifndef ZEVRA_LOG_FORMAT_H
#define ZEVRA_LOG_FORMAT_H

#include <cstdarg>
#include <cstddef>

#include "platform/compiler.h"

namespace zevra {

// Formats into `buffer` of `size` bytes (at least 3) and terminates it. A text that does not fit is
// cut between two characters and keeps its line end; one that cannot be formatted gives the format
// itself. Any thread, never throws.
void format_message(char* buffer, std::size_t size, const char* format,
                    std::va_list arguments) noexcept ZEVRA_PRINTF(3, 0);

}  // namespace zevra

#endif
