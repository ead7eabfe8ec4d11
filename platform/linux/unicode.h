#ifndef ZEVRA_PLATFORM_LINUX_UNICODE_H
#define ZEVRA_PLATFORM_LINUX_UNICODE_H

#include <string>
#include <string_view>

// Text between the encodings of Linux and those of the interfaces, whatever the locale says.

namespace zevra {

// Log files and terminals are UTF-8. A value that is no character becomes the replacement
// character.
std::string WideToUtf8(const wchar_t* text);

// UTF-8 to UTF-16, whatever the bytes are: each longest run that begins like a character and does
// not end as one becomes one U+FFFD. Throws only for want of memory.
std::u16string Utf16FromUtf8(std::string_view text);

}  // namespace zevra

#endif
