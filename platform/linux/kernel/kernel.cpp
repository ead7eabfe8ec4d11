#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <new>
#include <span>
#include <thread>
#include <utility>

#include "platform/api.h"
#include "platform/linux/kernel/wake_ups.h"

namespace {

using namespace std::chrono_literals;

// A stream's thread waits for its stop event and its timer, the caller that starts it for the
// thread and its ready event.
constexpr std::size_t kMostInAWait = 2;

enum class Kind { kEvent, kTimer, kThread };

// How many forks lie between the first process and this one.
std::atomic<unsigned> forks{0};
const int kForkWatch = ::pthread_atfork(nullptr, nullptr, [] { ++forks; });

// What a handle points to. An event and a thread stand on an eventfd, a timer on a timerfd; each is
// readable while the object is signalled. The handle holds a reference, and so does a running
// thread, which may outlive its handle.
struct KernelObject {
  KernelObject(Kind object_kind, int object_descriptor)
      : kind(object_kind), descriptor(object_descriptor) {}
  ~KernelObject() { ::close(descriptor); }
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;

  // A child of fork has neither the thread nor anyone who waits, but shares the descriptor with its
  // parent, whose streams go on.
  bool IsOfParent() const { return generation != forks; }

  const Kind kind;
  const int descriptor;
  const unsigned generation = forks;
  std::atomic<int> references{1};

  // Of a thread only.
  PTHREAD_START_ROUTINE entry = nullptr;
  LPVOID argument = nullptr;
  pthread_t thread{};
  bool is_joined = false;

  // Of a timer only; null while nothing but its time makes it signal.
  std::shared_ptr<zevra::WakeUps> wake_ups;
};

// For the timer that this thread arms next.
thread_local std::shared_ptr<zevra::WakeUps> offered_wake_ups;

thread_local DWORD last_error = ERROR_SUCCESS;

DWORD ErrorFromErrno(int error) {
  switch (error) {
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EAGAIN:
      return ERROR_NO_SYSTEM_RESOURCES;
    default:
      return ERROR_GEN_FAILURE;
  }
}

// FALSE, with `code` for GetLastError.
BOOL Fail(DWORD code) {
  last_error = code;
  return FALSE;
}

// Takes over `descriptor`; -1 stands for a call that failed with the errno in force. Null on
// failure, with the code for GetLastError.
KernelObject* NewObject(Kind kind, int descriptor) {
  if (descriptor < 0) {
    last_error = ErrorFromErrno(errno);
    return nullptr;
  }
  auto* const object = new (std::nothrow) KernelObject(kind, descriptor);
  if (object == nullptr) {
    ::close(descriptor);
    last_error = ERROR_NOT_ENOUGH_MEMORY;
  }
  return object;
}

int NewEventDescriptor() { return ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); }

void Release(KernelObject* object) {
  // The reference of a parent's thread is never given back.
  if (object->references.fetch_sub(1, std::memory_order_acq_rel) == 1 || object->IsOfParent())
    delete object;
}

// Null, with the code for GetLastError, where the handle is null or of another kind.
KernelObject* ObjectOf(HANDLE handle, Kind kind) {
  auto* const object = static_cast<KernelObject*>(handle);
  if (object != nullptr && object->kind == kind) return object;
  last_error = ERROR_INVALID_HANDLE;
  return nullptr;
}

bool Signal(const KernelObject& object) {
  const std::uint64_t one = 1;
  // EAGAIN means that the counter is full: the object is signalled already.
  return ::write(object.descriptor, &one, sizeof(one)) == sizeof(one) || errno == EAGAIN;
}

// What a wait polls for one object: its own descriptor, then those that wake a timer early.
constexpr std::size_t kMostSources = 1 + std::tuple_size_v<decltype(zevra::WakeUps::descriptors)>;

// Writes them at `next`, and gives the place behind them.
pollfd* PutSources(const KernelObject& object, pollfd* next) {
  *next++ = {object.descriptor, POLLIN, 0};
  if (!object.wake_ups) return next;
  return std::copy_n(object.wake_ups->descriptors.begin(), object.wake_ups->count, next);
}

// Takes the object's own signal. False if there is none, or if another wait was faster.
bool ConsumeSignal(KernelObject& object, const pollfd& polled) {
  if ((polled.revents & POLLIN) == 0) return false;
  if (object.kind == Kind::kThread) {
    // The thread signals its end itself. Only the join knows that its thread-local objects are
    // destroyed too.
    if (!object.is_joined) ::pthread_join(object.thread, nullptr);
    object.is_joined = true;
    return true;
  }
  // One read takes all that has piled up: sets of an event, missed ticks of a timer.
  std::uint64_t count = 0;
  return ::read(object.descriptor, &count, sizeof(count)) == sizeof(count);
}

// The same, or true for what wakes a timer early. A tick of the same moment is taken with it.
bool Consume(KernelObject& object, std::span<const pollfd> polled) {
  const bool is_signalled = ConsumeSignal(object, polled.front());
  const bool is_early = std::any_of(polled.begin() + 1, polled.end(),
                                    [](const pollfd& source) { return source.revents != 0; });
  if (is_early) object.wake_ups->count = 0;
  return is_signalled || is_early;
}

// An exception that left the entry would unwind into the C library; noexcept ends the process with
// the exception's name instead.
void* RunThread(void* started) noexcept {
  auto* const object = static_cast<KernelObject*>(started);
  // So that a tool which lists the host's threads shows whose this is.
  ::pthread_setname_np(::pthread_self(), "zevra");
  object->entry(object->argument);
  Signal(*object);
  Release(object);
  return nullptr;
}

// The host's signals belong to the host's own threads. What a fault of this very thread raises, and
// what profilers send to it, still gets through.
int StartThread(KernelObject& object) {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, SIGPROF})
    sigdelset(&blocked, signal);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const int error = ::pthread_create(&object.thread, nullptr, RunThread, &object);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return error;
}

BOOL Arm(const KernelObject& timer, const itimerspec& when) {
  // Setting also forgets the ticks that nobody has waited for.
  if (::timerfd_settime(timer.descriptor, 0, &when, nullptr) != 0)
    return Fail(ErrorFromErrno(errno));
  return TRUE;
}

timespec ToTimespec(std::chrono::nanoseconds span) {
  return {span / 1s, static_cast<long>((span % 1s).count())};
}

}  // namespace

void zevra::OfferWakeUps(std::shared_ptr<WakeUps> wake_ups) {
  offered_wake_ups = std::move(wake_ups);
}

DWORD GetLastError() { return last_error; }

void SetLastError(DWORD code) { last_error = code; }

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    LPCWSTR name) {
  if (security != nullptr || manual_reset != FALSE || initial_state != FALSE || name != nullptr) {
    last_error = ERROR_INVALID_PARAMETER;
    return nullptr;
  }
  return NewObject(Kind::kEvent, NewEventDescriptor());
}

BOOL SetEvent(HANDLE event) {
  const auto* const object = ObjectOf(event, Kind::kEvent);
  if (object == nullptr) return FALSE;
  return object->IsOfParent() || Signal(*object) ? TRUE : Fail(ErrorFromErrno(errno));
}

// NOLINTBEGIN(readability-non-const-parameter): the signature is given
HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stack_bytes,
                    PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* thread_id) {
  // NOLINTEND(readability-non-const-parameter)
  if (security != nullptr || stack_bytes != 0 || entry == nullptr || flags != 0 ||
      thread_id != nullptr) {
    last_error = ERROR_INVALID_PARAMETER;
    return nullptr;
  }
  KernelObject* const object = NewObject(Kind::kThread, NewEventDescriptor());
  if (object == nullptr) return nullptr;
  object->entry = entry;
  object->argument = argument;
  object->references = 2;
  if (const int error = StartThread(*object); error != 0) {
    delete object;
    last_error = ErrorFromErrno(error);
    return nullptr;
  }
  return object;
}

HANDLE CreateWaitableTimerW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name) {
  if (security != nullptr || manual_reset != FALSE || name != nullptr) {
    last_error = ERROR_INVALID_PARAMETER;
    return nullptr;
  }
  return NewObject(Kind::kTimer, ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
}

BOOL SetWaitableTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
                      PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume) {
  auto* const object = ObjectOf(timer, Kind::kTimer);
  if (object == nullptr) return FALSE;
  if (due_time == nullptr || due_time->QuadPart >= 0 || period_ms < 0 || completion != nullptr ||
      argument != nullptr || resume != FALSE)
    return Fail(ERROR_INVALID_PARAMETER);
  using Units = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
  const timespec first = ToTimespec(-Units(due_time->QuadPart));
  if (!Arm(*object, {ToTimespec(std::chrono::milliseconds(period_ms)), first})) return FALSE;
  object->wake_ups = std::move(offered_wake_ups);
  return TRUE;
}

BOOL CancelWaitableTimer(HANDLE timer) {
  auto* const object = ObjectOf(timer, Kind::kTimer);
  if (object == nullptr) return FALSE;
  object->wake_ups.reset();
  return Arm(*object, {});
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms) {
  std::array<pollfd, kMostInAWait * kMostSources> sources{};
  std::array<pollfd*, kMostInAWait + 1> begins{sources.data()};  // of each handle's sources
  if (count == 0 || count > kMostInAWait || handles == nullptr || wait_all != FALSE) {
    last_error = ERROR_INVALID_PARAMETER;
    return WAIT_FAILED;
  }
  for (DWORD index = 0; index < count; ++index) {
    if (handles[index] == nullptr) {
      last_error = ERROR_INVALID_HANDLE;
      return WAIT_FAILED;
    }
    const auto& object = *static_cast<KernelObject*>(handles[index]);
    if (object.IsOfParent()) return WAIT_OBJECT_0 + index;  // nobody here could signal it
    begins[index + 1] = PutSources(object, begins[index]);
  }
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  while (true) {
    const timespec left = ToTimespec(std::max<Clock::duration>(deadline - Clock::now(), 0ns));
    const int ready = ::ppoll(sources.data(), static_cast<nfds_t>(begins[count] - sources.data()),
                              timeout_ms != INFINITE ? &left : nullptr, nullptr);
    if (ready == 0) return WAIT_TIMEOUT;
    if (ready < 0 && errno != EINTR) {
      last_error = ErrorFromErrno(errno);
      return WAIT_FAILED;
    }
    for (DWORD index = 0; ready > 0 && index < count; ++index)
      if (Consume(*static_cast<KernelObject*>(handles[index]), {begins[index], begins[index + 1]}))
        return WAIT_OBJECT_0 + index;
  }
}

DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms) {
  return WaitForMultipleObjects(1, &handle, FALSE, timeout_ms);
}

BOOL CloseHandle(HANDLE handle) {
  auto* const object = static_cast<KernelObject*>(handle);
  if (object == nullptr) return Fail(ERROR_INVALID_HANDLE);
  if (object->kind == Kind::kThread && !object->is_joined && !object->IsOfParent())
    ::pthread_detach(object->thread);
  Release(object);
  return TRUE;
}

void Sleep(DWORD milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
