#ifndef ZEVRA_PLATFORM_WIDE_TEXT_H
#define ZEVRA_PLATFORM_WIDE_TEXT_H

#include "platform/api.h"

namespace zevra {

// True if both zero-terminated UTF-16 texts have the same length and the same units, letter case
// ignored. On Windows that is _wcsicmp in the host's locale; elsewhere the C library's simple
// lower-case mapping, unit by unit, whatever locale the host has chosen. Any thread.
bool EqualIgnoringCase(LPCWSTR a, LPCWSTR b);

}  // namespace zevra

#endif
