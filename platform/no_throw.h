#ifndef ZEVRA_PLATFORM_NO_THROW_H
#define ZEVRA_PLATFORM_NO_THROW_H

#include <new>

#include "platform/api.h"

namespace zevra {

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
