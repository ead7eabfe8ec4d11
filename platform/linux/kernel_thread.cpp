#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>

#include "platform/linux/handle_table.h"
#include "platform/linux/last_error.h"

using zevra::KernelObject;
using zevra::ObjectKind;

namespace {

// The host's signals belong to the host's own threads. What a fault of this very thread raises, and
// what profilers send to it, still gets through.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, SIGPROF})
      sigdelset(&all, signal);
    ::pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

class ThreadAttributes {
 public:
  ThreadAttributes() { ::pthread_attr_init(&attributes_); }
  ~ThreadAttributes() { ::pthread_attr_destroy(&attributes_); }
  ThreadAttributes(const ThreadAttributes&) = delete;
  ThreadAttributes& operator=(const ThreadAttributes&) = delete;

  // 0 leaves the default; anything else is taken up to what a thread needs at least.
  int SetStack(std::size_t bytes) {
    if (bytes == 0) return 0;
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const auto least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    if (bytes > SIZE_MAX - page) return EINVAL;
    return ::pthread_attr_setstacksize(&attributes_,
                                       (std::max(bytes, least) + page - 1) / page * page);
  }
  const pthread_attr_t* Get() const { return &attributes_; }

 private:
  pthread_attr_t attributes_{};
};

// An exception that left the entry would unwind into the C library; noexcept ends the process with
// the exception's name instead.
void* RunThread(void* started) noexcept {
  auto& object = *static_cast<KernelObject*>(started);
  // So that a tool which lists the host's threads shows whose this is.
  ::pthread_setname_np(::pthread_self(), "zevra");
  object.thread_id.store(::GetCurrentThreadId(), std::memory_order_release);
  object.thread_id.notify_all();
  object.entry(object.argument);
  SignalObject(object);
  Unpin(object);
  return nullptr;
}

int StartThread(KernelObject& object, std::size_t stack_bytes) {
  ThreadAttributes attributes;
  if (const int error = attributes.SetStack(stack_bytes); error != 0) return error;
  // The thread's own pin: it may outlive its handle.
  AddPin(object);
  const SignalsBlocked blocked;
  const int error = ::pthread_create(&object.thread, attributes.Get(), RunThread, &object);
  if (error != 0) Unpin(object);
  return error;
}

}  // namespace

DWORD GetCurrentThreadId() {
  thread_local const auto id = static_cast<DWORD>(::gettid());
  return id;
}

HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stack_bytes,
                    PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* thread_id) {
  if (security != nullptr || entry == nullptr || flags != 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  KernelObject* const object =
      zevra::OpenObject(ObjectKind::kThread, true, ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (object == nullptr) return nullptr;
  object->entry = entry;
  object->argument = argument;
  HANDLE const handle = HandleOf(*object);
  if (const int error = StartThread(*object, stack_bytes); error != 0) {
    object->join_state.store(KernelObject::kJoined, std::memory_order_relaxed);
    CloseHandle(handle);
    zevra::SetLastErrorFromErrno(error);
    return nullptr;
  }
  if (thread_id != nullptr) {
    object->thread_id.wait(0, std::memory_order_acquire);
    *thread_id = object->thread_id.load(std::memory_order_acquire);
  }
  return handle;
}
