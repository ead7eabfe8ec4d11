#ifndef ZEVRA_PLATFORM_LINUX_HANDLE_TABLE_H
#define ZEVRA_PLATFORM_LINUX_HANDLE_TABLE_H

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "platform/api.h"

// What handles stand for. A handle is a slot's number and the slot's generation, so that a closed
// handle is told from the one that uses the slot now. Looking one up takes no lock: it pins the
// object, and an object lives until its handle is closed and the last pin is gone. Opening and
// closing take a lock. Every function may be called on any thread.

namespace zevra {

enum class ObjectKind : std::uint8_t { kEvent, kTimer, kThread };

struct KernelObject {
  ObjectKind kind = ObjectKind::kEvent;
  bool manual_reset = false;
  // An eventfd or a timerfd, readable while the object is signalled.
  int descriptor = -1;
  // Raised before each signal and read behind each wait, so that what was written before the one
  // is seen after the other.
  std::atomic<std::uint32_t> signals{0};

  // Of a thread only.
  enum JoinState : int { kNotJoined, kJoining, kJoined };
  PTHREAD_START_ROUTINE entry = nullptr;
  LPVOID argument = nullptr;
  pthread_t thread{};
  std::atomic<int> join_state{kNotJoined};
  std::atomic<DWORD> thread_id{0};

  // The table's own: generation, whether the handle is open, count of pins.
  std::atomic<std::uint64_t> state{0};
  std::uint32_t slot = 0;
  KernelObject* next_free = nullptr;
};

// An open object over `descriptor`, which it owns from here on, pinned once for its handle. On
// failure null, the descriptor is closed and GetLastError is set. A descriptor of -1 stands for a
// call that failed with the errno in force.
KernelObject* OpenObject(ObjectKind kind, bool manual_reset, int descriptor);
HANDLE HandleOf(const KernelObject& object);
// Closes the handle and drops its pin. False, with GetLastError set, where it is not open.
bool ReleaseHandle(HANDLE handle);

// The object of an open handle with one more pin; otherwise null, and GetLastError is set.
KernelObject* Pin(HANDLE handle);
void AddPin(KernelObject& object);
void Unpin(KernelObject& object);

// One pin, for the length of a scope.
class Pinned {
 public:
  explicit Pinned(HANDLE handle) : object_(Pin(handle)) {}
  // As above; an object of another kind is refused like a closed handle.
  Pinned(HANDLE handle, ObjectKind kind);
  ~Pinned() {
    if (object_ != nullptr) Unpin(*object_);
  }
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;

  explicit operator bool() const { return object_ != nullptr; }
  KernelObject* operator->() const { return object_; }
  KernelObject& operator*() const { return *object_; }

 private:
  KernelObject* object_;
};

// Makes the object readable for every wait until it is consumed.
bool SignalObject(KernelObject& object);

}  // namespace zevra

#endif
