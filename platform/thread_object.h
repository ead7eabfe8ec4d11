#ifndef ZEVRA_PLATFORM_THREAD_OBJECT_H
#define ZEVRA_PLATFORM_THREAD_OBJECT_H

// An object that each thread has for itself and that goes with its thread. Plain `thread_local` is
// for objects without a destructor: mingw-w64 runs a destructor only after it has freed the memory
// of the object.
#if defined(_WIN32)
#include "platform/windows/thread_object.h"
#else
namespace zevra {

// The calling thread's object of type T, made when it is first asked for; null if there is no
// memory for it.
template <class T>
T* ThreadObject() noexcept {
  thread_local T object;
  return &object;
}

}  // namespace zevra
#endif

#endif
