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

// A thread's CoInitialize. Declare it first: CoUninitialize comes after every release.
class ComApartment {
 public:
  ComApartment() = default;
  ~ComApartment() {
    if (entered_) os::CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

  HRESULT Enter() {
    const HRESULT result = os::CoInitialize(nullptr);
    entered_ = SUCCEEDED(result);
    return result;
  }

 private:
  bool entered_ = false;
};

// An auto-reset waitable timer, cancelled before it is closed if it was armed.
class WaitableTimer {
 public:
  WaitableTimer() = default;
  ~WaitableTimer() {
    if (armed_) os::CancelWaitableTimer(timer_.Get());
  }
  WaitableTimer(const WaitableTimer&) = delete;
  WaitableTimer& operator=(const WaitableTimer&) = delete;

  // Both give false on failure, with the cause in GetLastError.
  bool Create() {
    timer_ = UniqueHandle(os::CreateWaitableTimerW(nullptr, FALSE, nullptr));
    return static_cast<bool>(timer_);
  }
  // Signals after `first_hns` (100-ns units) and then every `repeat_ms`, which must not be 0: that
  // would be a single shot.
  bool Arm(REFERENCE_TIME first_hns, LONG repeat_ms) {
    LARGE_INTEGER due{};
    due.QuadPart = -first_hns;
    armed_ = os::SetWaitableTimer(timer_.Get(), &due, repeat_ms, nullptr, nullptr, FALSE) != FALSE;
    return armed_;
  }

  HANDLE Get() const { return timer_.Get(); }

 private:
  UniqueHandle timer_;
  bool armed_ = false;
};

}  // namespace zevra

#endif
