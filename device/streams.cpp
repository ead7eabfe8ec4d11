#include "device/zevra_impl.h"
#include "log/log.h"
#include "stream/capture_loop.h"
#include "stream/render_loop.h"

using zevra::TraceScope;

namespace {

// The object whose capture runs on this thread. The thread handle cannot tell: the callback may run
// before the start has stored it.
thread_local const ZevraImpl* captured_here = nullptr;

// Nothing may leave a thread's entry. The callback is the host's, and may be C++.
template <class Body>
HRESULT RunThreadBody(Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace

HRESULT ZevraImpl::StartCapture(const ZevraAudioFormat* format, ZevraCaptureCallback callback,
                                void* context) {
  const TraceScope scope("ZevraImpl::StartCapture");
  if (captured_here == this || IsRunning(CaptureFields())) return AUDCLNT_E_NOT_STOPPED;
  // A thread that was asked to stop from inside its callback may still be reading the fields.
  StopStream(CaptureFields());
  capture_callback = callback;
  callback_context = context;
  target_format.sample_kind = format->sample_kind;
  target_format.channels = format->channels;
  target_format.bits_per_sample = format->bits_per_sample;
  target_format.samples_per_second = format->samples_per_second;
  target_format.channel_mask = format->channel_mask;
  target_format.valid_bits_per_sample = format->valid_bits_per_sample;
  capture_keepers_.store(2, std::memory_order_release);
  const HRESULT result = StartStream(CaptureFields(), &ZevraImpl::CaptureThread, this);
  if (LetGo()) Close(this);
  return result;
}

HRESULT ZevraImpl::StartPlay() {
  const TraceScope scope("ZevraImpl::StartPlay");
  if (IsRunning(PlayFields())) return AUDCLNT_E_NOT_STOPPED;
  StopStream(PlayFields());
  zevra::play_stop_requested.store(false, std::memory_order_release);
  return StartStream(PlayFields(), &ZevraImpl::PlayThread, this);
}

void ZevraImpl::StopCapture() {
  const TraceScope scope("ZevraImpl::StopCapture");
  if (captured_here == this) {
    // Waiting here would wait for this very thread.
    RequestStop(CaptureFields());
  } else {
    StopStream(CaptureFields());
  }
}

void ZevraImpl::StopPlay() {
  const TraceScope scope("ZevraImpl::StopPlay");
  zevra::play_stop_requested.store(true, std::memory_order_release);
  StopStream(PlayFields());
}

void ZevraImpl::Close(ZevraImpl* object) {
  if (captured_here == object) {
    RequestStop(object->CaptureFields());
    object->close_after_capture_ = true;
    return;
  }
  object->CloseDevice();
  delete object;
}

DWORD ZevraImpl::CaptureThread(void* argument) {
  auto* const object = static_cast<ZevraImpl*>(argument);
  captured_here = object;
  const HRESULT result = RunThreadBody([object] { return object->LoopBackCapture(); });
  captured_here = nullptr;
  if (object->close_after_capture_ && object->LetGo()) {
    // Nobody is left to wait for this thread; its handle goes first, so that the close does not.
    object->capture_thread.Reset();
    Close(object);
  }
  return static_cast<DWORD>(result);
}

DWORD ZevraImpl::PlayThread(void* argument) {
  auto* const object = static_cast<ZevraImpl*>(argument);
  return static_cast<DWORD>(RunThreadBody([object] { return object->LoopBackPlay(); }));
}

HRESULT ZevraImpl::LoopBackCapture() {
  zevra::CaptureLoop loop({
      .device = device.Get(),
      .stream_flags = stream_flags,
      .target_format = target_format,
      .ready_event = capture_ready_event.Get(),
      .stop_event = capture_stop_event.Get(),
      .callback = &capture_callback,
  });
  return loop.Run();
}

HRESULT ZevraImpl::LoopBackPlay() {
  zevra::RenderLoop loop({
      .device = device.Get(),
      .ready_event = play_ready_event.Get(),
      .stop_event = play_stop_event.Get(),
      .stop_pending = &play_stop_pending_,
  });
  return loop.Run();
}
