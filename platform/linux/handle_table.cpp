#include "platform/linux/handle_table.h"

#include <unistd.h>

#include <array>
#include <bit>
#include <cerrno>
#include <memory>
#include <mutex>
#include <new>

#include "platform/linux/last_error.h"

namespace zevra {
namespace {

static_assert(sizeof(HANDLE) == 8, "a handle holds a slot and a generation");

// A million open handles, more than a process gets descriptors. Chunks are made when they are
// needed and stay, so that a slot's address never changes under a reader.
constexpr std::uint32_t kSlotsInChunk = 256;
constexpr std::uint32_t kChunks = 4096;

// A slot's state word: generation, open bit, pins.
constexpr std::uint64_t kPinsMask = 0x7FFFFFFF;
constexpr std::uint64_t kOpenBit = 0x80000000;
constexpr int kGenerationShift = 32;

// A handle: generation, slot number from 1, two zero bits as on Windows.
constexpr int kHandleSlotShift = 2;
constexpr int kHandleGenerationShift = 32;

using Chunk = std::array<KernelObject, kSlotsInChunk>;

std::array<std::atomic<Chunk*>, kChunks> chunks;

// The lock guards what follows.
std::mutex table_mutex;
KernelObject* first_free = nullptr;
std::uint32_t slots_made = 0;

std::uint32_t GenerationOf(std::uint64_t state) {
  return static_cast<std::uint32_t>(state >> kGenerationShift);
}

// Under the lock: takes the next slot that was never used, or null without memory.
KernelObject* MakeSlot() {
  if (slots_made == kSlotsInChunk * kChunks) return nullptr;
  std::atomic<Chunk*>& chunk = chunks[slots_made / kSlotsInChunk];
  if (chunk.load(std::memory_order_relaxed) == nullptr) {
    Chunk* const made = new (std::nothrow) Chunk;
    if (made == nullptr) return nullptr;
    chunk.store(made, std::memory_order_release);
  }
  KernelObject& object = (*chunk.load(std::memory_order_relaxed))[slots_made % kSlotsInChunk];
  object.slot = slots_made++;
  return &object;
}

KernelObject* TakeSlot() {
  const std::lock_guard hold(table_mutex);
  if (first_free == nullptr) return MakeSlot();
  KernelObject* const object = first_free;
  first_free = object->next_free;
  return object;
}

void GiveSlotBack(KernelObject& object) {
  const std::lock_guard hold(table_mutex);
  object.next_free = first_free;
  first_free = &object;
}

KernelObject* ObjectOfSlot(std::uint32_t slot) {
  if (slot >= kSlotsInChunk * kChunks) return nullptr;
  Chunk* const chunk = chunks[slot / kSlotsInChunk].load(std::memory_order_acquire);
  return chunk != nullptr ? &(*chunk)[slot % kSlotsInChunk] : nullptr;
}

struct HandleParts {
  KernelObject* object;
  std::uint32_t generation;
};

HandleParts PartsOf(HANDLE handle) {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  const auto low = static_cast<std::uint32_t>(value);
  const std::uint32_t number = low >> kHandleSlotShift;
  const bool well_formed = (low & ((1U << kHandleSlotShift) - 1)) == 0 && number != 0;
  return {well_formed ? ObjectOfSlot(number - 1) : nullptr,
          static_cast<std::uint32_t>(value >> kHandleGenerationShift)};
}

bool IsOpen(std::uint64_t state, std::uint32_t generation) {
  return (state & kOpenBit) != 0 && GenerationOf(state) == generation;
}

// The last pin is gone and no handle leads here any more.
void Dispose(KernelObject& object) {
  if (object.kind == ObjectKind::kThread &&
      object.join_state.load(std::memory_order_acquire) == KernelObject::kNotJoined)
    ::pthread_detach(object.thread);
  ::close(object.descriptor);
  object.descriptor = -1;
  GiveSlotBack(object);
}

}  // namespace

KernelObject* OpenObject(ObjectKind kind, bool manual_reset, int descriptor) {
  if (descriptor < 0) {
    SetLastErrorFromErrno(errno);
    return nullptr;
  }
  KernelObject* const object = TakeSlot();
  if (object == nullptr) {
    ::close(descriptor);
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  object->kind = kind;
  object->manual_reset = manual_reset;
  object->descriptor = descriptor;
  object->join_state.store(KernelObject::kNotJoined, std::memory_order_relaxed);
  object->thread_id.store(0, std::memory_order_relaxed);
  // 0 is left out, so that no small number is ever a handle.
  std::uint32_t generation = GenerationOf(object->state.load(std::memory_order_relaxed)) + 1;
  if (generation == 0) generation = 1;
  object->state.store((std::uint64_t{generation} << kGenerationShift) | kOpenBit | 1,
                      std::memory_order_release);
  return object;
}

HANDLE HandleOf(const KernelObject& object) {
  const std::uint64_t generation = GenerationOf(object.state.load(std::memory_order_relaxed));
  const std::uint64_t value =
      (generation << kHandleGenerationShift) | (std::uint64_t{object.slot + 1} << kHandleSlotShift);
  return std::bit_cast<HANDLE>(value);
}

KernelObject* Pin(HANDLE handle) {
  const auto [object, generation] = PartsOf(handle);
  if (object != nullptr) {
    std::uint64_t state = object->state.load(std::memory_order_acquire);
    while (IsOpen(state, generation))
      if (object->state.compare_exchange_weak(state, state + 1, std::memory_order_acquire))
        return object;
  }
  ::SetLastError(ERROR_INVALID_HANDLE);
  return nullptr;
}

void AddPin(KernelObject& object) { object.state.fetch_add(1, std::memory_order_relaxed); }

void Unpin(KernelObject& object) {
  const std::uint64_t before = object.state.fetch_sub(1, std::memory_order_acq_rel);
  if ((before & kPinsMask) == 1) Dispose(object);
}

Pinned::Pinned(HANDLE handle, ObjectKind kind) : Pinned(handle) {
  if (object_ == nullptr || object_->kind == kind) return;
  Unpin(*object_);
  object_ = nullptr;
  ::SetLastError(ERROR_INVALID_HANDLE);
}

bool SignalObject(KernelObject& object) {
  object.signals.fetch_add(1, std::memory_order_release);
  const std::uint64_t one = 1;
  // EAGAIN means that the counter is full: the object is signalled already.
  return ::write(object.descriptor, &one, sizeof(one)) == sizeof(one) || errno == EAGAIN;
}

bool ReleaseHandle(HANDLE handle) {
  const auto [object, generation] = PartsOf(handle);
  if (object != nullptr) {
    std::uint64_t state = object->state.load(std::memory_order_acquire);
    while (IsOpen(state, generation)) {
      if (object->state.compare_exchange_weak(state, state & ~kOpenBit,
                                              std::memory_order_acq_rel)) {
        Unpin(*object);
        return true;
      }
    }
  }
  ::SetLastError(ERROR_INVALID_HANDLE);
  return false;
}

}  // namespace zevra

BOOL CloseHandle(HANDLE handle) { return zevra::ReleaseHandle(handle) ? TRUE : FALSE; }
