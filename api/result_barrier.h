#ifndef ZEVRA_API_RESULT_BARRIER_H
#define ZEVRA_API_RESULT_BARRIER_H

#include <new>

#include "platform/api.h"

namespace zevra {

// Runs the body of an exported function: its result, and a result in the place of any exception,
// for none may leave the library.
template <class Body>
std::int32_t Guarded(Body&& body) noexcept {
  try {
    return static_cast<std::int32_t>(body());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace zevra

#endif
