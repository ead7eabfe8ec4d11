#include "device/stream_control.h"

#include "log/log.h"
#include "platform/result.h"

namespace zevra {
namespace {

// An unnamed auto-reset event, not signalled.
HRESULT CreateStreamEvent(UniqueHandle& event) {
  event = UniqueHandle(os::CreateEventW(nullptr, FALSE, FALSE, nullptr));
  return event ? S_OK : ResultFromError(os::GetLastError());
}

HRESULT CreateStreamEvents(const StreamFields& stream) {
  ZEVRA_RETURN_IF_FAILED(CreateStreamEvent(stream.ready_event));
  const HRESULT result = CreateStreamEvent(stream.stop_event);
  if (FAILED(result)) stream.ready_event.Reset();
  return result;
}

HRESULT WaitUntilReady(const StreamFields& stream) {
  // The ready event stands first: it wins if the thread has already ended as well.
  const HANDLE wait_set[] = {stream.ready_event.Get(), stream.thread.Get()};
  return os::WaitForMultipleObjects(2, wait_set, FALSE, INFINITE) == WAIT_OBJECT_0 ? S_OK : E_FAIL;
}

}  // namespace

bool IsRunning(const StreamFields& stream) {
  return stream.thread && !stream.stop_pending.load(std::memory_order_acquire) &&
         os::WaitForSingleObject(stream.thread.Get(), 0) == WAIT_TIMEOUT;
}

HRESULT StartStream(const StreamFields& stream, PTHREAD_START_ROUTINE entry, void* object) {
  stream.stop_pending.store(false, std::memory_order_release);
  ZEVRA_RETURN_IF_FAILED(CreateStreamEvents(stream));

  stream.thread = UniqueHandle(os::CreateThread(nullptr, 0, entry, object, 0, nullptr));
  if (!stream.thread) {
    const DWORD error = os::GetLastError();
    ZEVRA_LOG_ERROR("ZevraImpl::%s | error | CreateThread %d", stream.member,
                    static_cast<int>(error));
    return error != 0 ? static_cast<HRESULT>(error) : E_FAIL;
  }
  return WaitUntilReady(stream);
}

void RequestStop(const StreamFields& stream) {
  stream.stop_pending.store(true, std::memory_order_release);
  if (stream.stop_event) os::SetEvent(stream.stop_event.Get());
}

void StopStream(const StreamFields& stream) {
  RequestStop(stream);
  if (stream.thread) os::WaitForSingleObject(stream.thread.Get(), INFINITE);
  stream.ready_event.Reset();
  stream.stop_event.Reset();
  stream.thread.Reset();
}

}  // namespace zevra
