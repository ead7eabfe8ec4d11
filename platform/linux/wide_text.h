#ifndef ZEVRA_PLATFORM_LINUX_WIDE_TEXT_H
#define ZEVRA_PLATFORM_LINUX_WIDE_TEXT_H

#include <string>

namespace zevra {

// Whatever the locale says: log files and terminals are UTF-8. A value that is no character becomes
// the replacement character.
std::string WideToUtf8(const wchar_t* text);

}  // namespace zevra

#endif
