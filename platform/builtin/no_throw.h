#ifndef ZEVRA_PLATFORM_BUILTIN_NO_THROW_H
#define ZEVRA_PLATFORM_BUILTIN_NO_THROW_H

#include <new>

#include "platform/types.h"

namespace zevra::builtin {

// Runs what may throw inside an operation that must not: `work` gives the operation's result.
template <class Work>
HRESULT NoThrow(Work&& work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

}  // namespace zevra::builtin

#endif
