#ifndef ZEVRA_PLATFORM_LINUX_UTF16_H
#define ZEVRA_PLATFORM_LINUX_UTF16_H

#include <string>
#include <string_view>

namespace zevra {

// UTF-8 to UTF-16, whatever the bytes are: each longest run that begins like a character and does
// not end as one becomes one U+FFFD. Throws only for want of memory.
std::u16string Utf16FromUtf8(std::string_view text);

}  // namespace zevra

#endif
