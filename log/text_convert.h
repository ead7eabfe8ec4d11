#ifndef ZEVRA_LOG_TEXT_CONVERT_H
#define ZEVRA_LOG_TEXT_CONVERT_H

#include <string>

namespace zevra {

// Narrow and wide text by the process's locale. A text that does not convert gives an empty one.
// Any thread, as far as nobody changes the locale meanwhile; throws std::bad_alloc only.
std::wstring to_wide(const char* text);
std::string to_narrow(const wchar_t* text);

}  // namespace zevra

#endif
