#ifndef ZEVRA_PLATFORM_OWNERS_H
#define ZEVRA_PLATFORM_OWNERS_H

#include <utility>

#include "platform/api.h"
#include "platform/calls.h"

// Owners for what the platform hands out. All are move-only, give back in their destructor, and
// are empty before an out-parameter fills them.

namespace zevra {

// One reference on a COM object.
template <class Interface>
class ComPtr {
 public:
  ComPtr() = default;
  ~ComPtr() { Reset(); }
  ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPtr& operator=(ComPtr&& other) noexcept {
    if (this != &other) {
      Reset();
      object_ = std::exchange(other.object_, nullptr);
    }
    return *this;
  }

  // Takes over a reference that the caller holds.
  static ComPtr Attach(Interface* object) {
    ComPtr owner;
    owner.object_ = object;
    return owner;
  }
  // Adds a reference.
  static ComPtr Share(Interface* object) {
    if (object != nullptr) object->AddRef();
    return Attach(object);
  }

  Interface* Get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  // Slots for out-parameters; what was held is given back first.
  Interface** Put() {
    Reset();
    return &object_;
  }
  void** PutVoid() { return reinterpret_cast<void**>(Put()); }

  Interface* Detach() { return std::exchange(object_, nullptr); }
  void Reset() {
    if (Interface* const object = std::exchange(object_, nullptr)) object->Release();
  }

 private:
  Interface* object_ = nullptr;
};

// A kernel handle, closed through the operations in use.
class UniqueHandle {
 public:
  UniqueHandle() = default;
  explicit UniqueHandle(HANDLE handle) : handle_(handle) {}
  ~UniqueHandle() { Reset(); }
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) {
      Reset();
      handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
  }

  HANDLE Get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }
  void Reset() {
    if (HANDLE const handle = std::exchange(handle_, nullptr)) os::CloseHandle(handle);
  }

 private:
  HANDLE handle_ = nullptr;
};

// A block of task memory.
template <class T>
class TaskMemory {
 public:
  TaskMemory() = default;
  ~TaskMemory() { Reset(); }
  TaskMemory(TaskMemory&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  TaskMemory& operator=(TaskMemory&& other) noexcept {
    if (this != &other) {
      Reset();
      block_ = std::exchange(other.block_, nullptr);
    }
    return *this;
  }

  T* Get() const { return block_; }
  T* operator->() const { return block_; }
  explicit operator bool() const { return block_ != nullptr; }
  T** Put() {
    Reset();
    return &block_;
  }
  void Reset() {
    if (T* const block = std::exchange(block_, nullptr)) ::CoTaskMemFree(block);
  }

 private:
  T* block_ = nullptr;
};

// A property's value.
class PropVariant {
 public:
  PropVariant() = default;
  ~PropVariant() { ::PropVariantClear(&value_); }
  PropVariant(const PropVariant&) = delete;
  PropVariant& operator=(const PropVariant&) = delete;

  const PROPVARIANT& Get() const { return value_; }
  PROPVARIANT* Put() {
    ::PropVariantClear(&value_);
    return &value_;
  }

 private:
  PROPVARIANT value_{};
};

}  // namespace zevra

#endif
