#include <poll.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>

#include "platform/linux/handle_table.h"
#include "platform/linux/last_error.h"

using zevra::KernelObject;
using zevra::ObjectKind;

namespace {

constexpr long kNanosecondsInSecond = 1'000'000'000;

timespec Now() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return now;
}

timespec After(timespec start, DWORD milliseconds) {
  start.tv_sec += milliseconds / 1000;
  start.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
  if (start.tv_nsec >= kNanosecondsInSecond) {
    start.tv_nsec -= kNanosecondsInSecond;
    ++start.tv_sec;
  }
  return start;
}

// What is left until `deadline`, zero once it has passed.
timespec Remaining(const timespec& deadline) {
  const timespec now = Now();
  timespec left{deadline.tv_sec - now.tv_sec, deadline.tv_nsec - now.tv_nsec};
  if (left.tv_nsec < 0) {
    left.tv_nsec += kNanosecondsInSecond;
    --left.tv_sec;
  }
  return left.tv_sec < 0 ? timespec{} : left;
}

// A thread that was waited for is gone with all that it held: the signal comes from the thread
// itself, so only the join knows that its thread-local objects are destroyed too.
void Join(KernelObject& object) {
  if (::pthread_equal(object.thread, ::pthread_self()) != 0) return;
  int state = KernelObject::kNotJoined;
  if (object.join_state.compare_exchange_strong(state, KernelObject::kJoining)) {
    ::pthread_join(object.thread, nullptr);
    object.join_state.store(KernelObject::kJoined);
    object.join_state.notify_all();
  } else {
    object.join_state.wait(KernelObject::kJoining);
  }
}

// Takes the signal of a readable object. False if another wait was faster.
bool Consume(KernelObject& object) {
  if (!object.manual_reset) {
    // One read takes all that has piled up: sets of an event, missed ticks of a timer.
    std::uint64_t count = 0;
    if (::read(object.descriptor, &count, sizeof(count)) != sizeof(count)) return false;
  }
  static_cast<void>(object.signals.load(std::memory_order_acquire));
  if (object.kind == ObjectKind::kThread) Join(object);
  return true;
}

// The objects of one wait, pinned for as long as it lasts.
class WaitSet {
 public:
  WaitSet() = default;
  ~WaitSet() {
    while (count_ > 0) Unpin(*objects_[--count_]);
  }
  WaitSet(const WaitSet&) = delete;
  WaitSet& operator=(const WaitSet&) = delete;

  // False for a handle that is not open.
  bool Add(HANDLE handle) {
    KernelObject* const object = zevra::Pin(handle);
    if (object == nullptr) return false;
    descriptors_[count_] = {object->descriptor, POLLIN, 0};
    objects_[count_++] = object;
    return true;
  }

  DWORD Wait(DWORD timeout_ms) {
    const timespec deadline = timeout_ms != INFINITE ? After(Now(), timeout_ms) : timespec{};
    while (true) {
      timespec left{};
      if (timeout_ms != INFINITE && timeout_ms != 0) left = Remaining(deadline);
      const int ready =
          ::ppoll(descriptors_.data(), count_, timeout_ms != INFINITE ? &left : nullptr, nullptr);
      if (ready == 0) return WAIT_TIMEOUT;
      if (ready < 0 && errno != EINTR) {
        zevra::SetLastErrorFromErrno(errno);
        return WAIT_FAILED;
      }
      if (ready > 0) {
        if (const DWORD index = TakeFirst(); index < count_) return WAIT_OBJECT_0 + index;
      }
    }
  }

 private:
  // The lowest index whose signal could be taken, or the count.
  DWORD TakeFirst() {
    DWORD index = 0;
    while (index < count_ &&
           ((descriptors_[index].revents & POLLIN) == 0 || !Consume(*objects_[index])))
      ++index;
    return index;
  }

  std::array<KernelObject*, MAXIMUM_WAIT_OBJECTS> objects_{};
  std::array<pollfd, MAXIMUM_WAIT_OBJECTS> descriptors_{};
  DWORD count_ = 0;
};

}  // namespace

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms) {
  if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || handles == nullptr ||
      (wait_all != FALSE && count > 1)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  WaitSet set;
  for (DWORD index = 0; index < count; ++index)
    if (!set.Add(handles[index])) return WAIT_FAILED;
  return set.Wait(timeout_ms);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms) {
  return WaitForMultipleObjects(1, &handle, FALSE, timeout_ms);
}

void Sleep(DWORD milliseconds) {
  if (milliseconds == 0) {
    ::sched_yield();
    return;
  }
  while (milliseconds == INFINITE) ::pause();
  const timespec end = After(Now(), milliseconds);
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}
