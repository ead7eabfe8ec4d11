#ifndef ZEVRA_PLATFORM_RESULT_H
#define ZEVRA_PLATFORM_RESULT_H

#include "platform/api.h"

namespace zevra {

// A Win32 error number as a result code: a value above 0 goes into the Win32 facility, any other
// stays. (HRESULT_FROM_WIN32, which is a macro or a function by SDK version.)
constexpr HRESULT ResultFromError(DWORD error) {
  const auto value = static_cast<std::int32_t>(error);
  return value > 0 ? static_cast<HRESULT>((error & 0xFFFFu) | 0x80070000u)
                   : static_cast<HRESULT>(value);
}

// A result as `%x` takes it, whichever integer type the platform makes of HRESULT.
constexpr unsigned Hex(HRESULT result) { return static_cast<unsigned>(result); }

}  // namespace zevra

#endif
