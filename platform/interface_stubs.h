#ifndef ZEVRA_PLATFORM_INTERFACE_STUBS_H
#define ZEVRA_PLATFORM_INTERFACE_STUBS_H

// Stub<I> is the interface I with every operation that the library never calls answered by
// E_NOTIMPL, so that an implementation writes only those that matter. The Linux headers declare
// only those to begin with.
#if defined(_WIN32)
#include "platform/windows/interface_stubs.h"
#else
namespace zevra {
template <class Interface>
using Stub = Interface;
}  // namespace zevra
#endif

#endif
