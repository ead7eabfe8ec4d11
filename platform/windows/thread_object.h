#ifndef ZEVRA_PLATFORM_WINDOWS_THREAD_OBJECT_H
#define ZEVRA_PLATFORM_WINDOWS_THREAD_OBJECT_H

#include <new>

#include "platform/api.h"

namespace zevra {

// Fiber-local storage: without fibers it is the thread's, and the system calls back when a thread
// ends, while everything of the thread still stands.
class ThreadSlot {
 public:
  explicit ThreadSlot(PFLS_CALLBACK_FUNCTION destroy) noexcept : index_(::FlsAlloc(destroy)) {}
  // The library may be unloaded before its threads end, and the callback with it.
  ~ThreadSlot() {
    if (index_ != FLS_OUT_OF_INDEXES) ::FlsFree(index_);
  }
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;

  void* Get() const noexcept {
    return index_ != FLS_OUT_OF_INDEXES ? ::FlsGetValue(index_) : nullptr;
  }
  bool Set(void* object) noexcept {
    return index_ != FLS_OUT_OF_INDEXES && ::FlsSetValue(index_, object) != FALSE;
  }

 private:
  DWORD index_;
};

template <class T>
T* ThreadObject() noexcept {
  static ThreadSlot slot([](void* object) { delete static_cast<T*>(object); });
  if (void* const object = slot.Get()) return static_cast<T*>(object);
  T* const object = new (std::nothrow) T;
  if (object != nullptr && !slot.Set(object)) {
    delete object;
    return nullptr;
  }
  return object;
}

}  // namespace zevra

#endif
