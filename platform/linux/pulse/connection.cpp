#include "platform/linux/pulse/connection.h"

#include <dirent.h>
#include <fcntl.h>
#include <pulse/operation.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/linux/com/core_audio.h"

namespace zevra {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

// The kernel shows a memory file by the name that its maker gave it.
constexpr std::string_view kPoolName = "/memfd:pulseaudio";

// Closes the client library's shared memory to programs that the host starts. The library opens it
// without the close-on-exec flag and, with a server that does not share memory, keeps it open as
// long as the connection. Call it right behind the making of a context.
void KeepSharedMemoryFromChildren() {
  const std::unique_ptr<DIR, CloseDirectory> descriptors(opendir("/proc/self/fd"));
  if (!descriptors) return;
  std::array<char, kPoolName.size()> target{};
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the directory stream is this call's own
  while (const dirent* const entry = readdir(descriptors.get())) {
    const ssize_t size =
        readlinkat(dirfd(descriptors.get()), entry->d_name, target.data(), target.size());
    if (size < 0 || std::string_view(target.data(), static_cast<std::size_t>(size)) != kPoolName)
      continue;
    const int descriptor = std::atoi(entry->d_name);
    const int flags = fcntl(descriptor, F_GETFD);
    if (flags >= 0) fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC);
  }
}

}  // namespace

// A timer may still hold the list of sockets.
PulseConnection::~PulseConnection() { ClearDrained(); }

void PulseConnection::CloseContext::operator()(pa_context* context) const {
  pa_context_disconnect(context);
  pa_context_unref(context);
}

HRESULT PulseConnection::Open() {
  loop_.reset(pa_mainloop_new());
  if (!loop_) return E_OUTOFMEMORY;
  pa_mainloop_set_poll_func(loop_.get(), Poll, this);
  // Without a name of ours the server shows the host program's.
  context_.reset(pa_context_new(pa_mainloop_get_api(loop_.get()), nullptr));
  if (!context_) return AUDCLNT_E_SERVICE_NOT_RUNNING;
  KeepSharedMemoryFromChildren();
  if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
    return AUDCLNT_E_SERVICE_NOT_RUNNING;
  const HRESULT result =
      WaitUntil([this] { return pa_context_get_state(context_.get()) == PA_CONTEXT_READY; });
  return FAILED(result) ? AUDCLNT_E_SERVICE_NOT_RUNNING : S_OK;
}

HRESULT PulseConnection::State() const {
  const bool good = !silent_too_long_ && PA_CONTEXT_IS_GOOD(pa_context_get_state(context_.get()));
  return good ? S_OK : AUDCLNT_E_DEVICE_INVALIDATED;
}

int PulseConnection::Pump() {
  ClearDrained();
  return pa_mainloop_iterate(loop_.get(), 0, nullptr);
}

int PulseConnection::Poll(pollfd* descriptors, unsigned long count, int timeout_ms, void* self) {
  auto* const connection = static_cast<PulseConnection*>(self);
  connection->polled_count_ = count;
  auto& kept = connection->wake_ups_->descriptors;
  std::copy_n(descriptors, std::min<std::size_t>(count, kept.size()), kept.begin());
  return ::poll(descriptors, count, timeout_ms);
}

void PulseConnection::MarkDrained() {
  // Where some are missing, the timer alone looks for data.
  if (polled_count_ <= wake_ups_->descriptors.size()) wake_ups_->count = polled_count_;
}

bool PulseConnection::NothingArrived() {
  return wake_ups_->count != 0 && ::poll(wake_ups_->descriptors.data(), wake_ups_->count, 0) == 0;
}

bool PulseConnection::IterateUntil(Clock::time_point deadline) {
  ClearDrained();
  const auto left = std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::now());
  if (left.count() <= 0) return false;
  // Errors of the loop itself show in the context's state, or else end at the deadline.
  if (pa_mainloop_prepare(loop_.get(), static_cast<int>(left.count())) >= 0 &&
      pa_mainloop_poll(loop_.get()) >= 0)
    pa_mainloop_dispatch(loop_.get());
  return true;
}

HRESULT PulseConnection::Await(pa_operation* operation) {
  if (operation == nullptr) return FAILED(State()) ? State() : E_FAIL;
  const HRESULT result =
      WaitUntil([operation] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; });
  // Its callback must not run any more: what it writes to ends with the caller.
  if (FAILED(result)) pa_operation_cancel(operation);
  const bool carried_out = pa_operation_get_state(operation) == PA_OPERATION_DONE;
  pa_operation_unref(operation);
  if (FAILED(result)) return result;
  return carried_out ? S_OK : AUDCLNT_E_DEVICE_INVALIDATED;
}

void PulseConnection::Flush() {
  const auto deadline = Clock::now() + kFlushPatience;
  while (pa_context_is_pending(context_.get()) > 0 && IterateUntil(deadline)) {
  }
}

}  // namespace zevra
