#ifndef ZEVRA_PLATFORM_RESULT_H
#define ZEVRA_PLATFORM_RESULT_H

#include <new>

#include "platform/api.h"

// Returns the result of `call` if it is a failure.
#define ZEVRA_RETURN_IF_FAILED(call)                                                    \
  do {                                                                                  \
    if (const HRESULT zevra_result = (call); FAILED(zevra_result)) return zevra_result; \
  } while (false)

namespace zevra {

// A Win32 error number as a result code: a value above 0 goes into the Win32 facility, any other
// stays. (HRESULT_FROM_WIN32, which is a macro or a function by SDK version.) A call that failed
// without a number has failed all the same.
constexpr HRESULT ResultFromError(DWORD error) {
  if (error == 0) return E_FAIL;
  const auto value = static_cast<std::int32_t>(error);
  return value > 0 ? static_cast<HRESULT>((error & 0xFFFFu) | 0x80070000u)
                   : static_cast<HRESULT>(value);
}

static_assert(FAILED(ResultFromError(0)));

// A result as `%x` takes it, whichever integer type the platform makes of HRESULT.
constexpr unsigned Hex(HRESULT result) { return static_cast<unsigned>(result); }

// The result of `work`, with what it throws turned into a code: nothing may be thrown out of an
// object's operation, nor through the C frames of a library that calls back.
template <class Work>
HRESULT NoThrow(Work&& work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace zevra

#endif
