#include "device/zevra_impl.h"

#include "log/log.h"
#include "platform/clock.h"
#include "platform/result.h"
#include "stream/capture_loop.h"
#include "stream/failure.h"
#include "stream/render_loop.h"

using zevra::ComPtr;
using zevra::TraceScope;

ZevraImpl::ZevraImpl() { target_format.sample_kind = -1; }

HRESULT ZevraImpl::OpenDevice(LPCWSTR name, std::uint32_t data_flow) {
  const TraceScope scope("ZevraImpl::OpenDevice");
  return name == nullptr ? GetDefaultDevice(data_flow) : GetSpecifyDevice(name, data_flow);
}

void ZevraImpl::CloseDevice() {
  const TraceScope scope("ZevraImpl::CloseDevice");
  StopStream(CaptureFields());
  StopStream(PlayFields());
  device.Reset();
}

bool ZevraImpl::OnCaptureThread() const {
  return capture_thread_id_.load(std::memory_order_relaxed) == zevra::CurrentThreadId();
}

zevra::StreamFields ZevraImpl::CaptureFields() {
  return {capture_thread, capture_ready_event, capture_stop_event, capture_stop_pending_,
          "StartCapture"};
}

zevra::StreamFields ZevraImpl::PlayFields() {
  return {play_thread, play_ready_event, play_stop_event, play_stop_pending_, "StartPlay"};
}

HRESULT ZevraImpl::StartCapture(const ZevraAudioFormat* format, ZevraCaptureCallback callback,
                                void* context) {
  const TraceScope scope("ZevraImpl::StartCapture");
  if (OnCaptureThread() || IsRunning(CaptureFields())) return AUDCLNT_E_NOT_STOPPED;
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
  capture_references_.store(2, std::memory_order_release);
  const HRESULT result = StartStream(CaptureFields(), &ZevraImpl::CaptureThread, this);
  if (DropReference()) Close(this);
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
  if (OnCaptureThread()) {
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
  if (object->OnCaptureThread()) {
    RequestStop(object->CaptureFields());
    object->close_after_capture_ = true;
    // The endpoint goes after the capture has left COM, perhaps as the last of the process.
    object->holds_apartment_ = SUCCEEDED(zevra::os::CoInitialize(nullptr));
    return;
  }
  object->CloseDevice();
  delete object;
}

DWORD ZevraImpl::CaptureThread(void* argument) {
  auto* const object = static_cast<ZevraImpl*>(argument);
  object->capture_thread_id_.store(zevra::CurrentThreadId(), std::memory_order_relaxed);
  const HRESULT result = zevra::NoThrow([object] { return object->LoopBackCapture(); });
  object->capture_thread_id_.store(0, std::memory_order_relaxed);
  const bool holds_apartment = object->holds_apartment_;  // the object may go below
  if (object->close_after_capture_ && object->DropReference()) {
    // Close() joins capture_thread, which is this thread: drop the handle first.
    object->capture_thread.Reset();
    Close(object);
  }
  if (holds_apartment) zevra::os::CoUninitialize();
  return static_cast<DWORD>(result);
}

DWORD ZevraImpl::PlayThread(void* argument) {
  auto* const object = static_cast<ZevraImpl*>(argument);
  return static_cast<DWORD>(zevra::NoThrow([object] { return object->LoopBackPlay(); }));
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

HRESULT ZevraImpl::getVolume(float* volume) const {
  constexpr char kScope[] = "ZevraImpl::getVolume";
  ComPtr<IAudioEndpointVolume> control;
  ZEVRA_RETURN_LOGGED(
      kScope, "Activate",
      device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, control.PutVoid()));
  // Log readers know the read of the level as "GetService".
  ZEVRA_RETURN_LOGGED(kScope, "GetService", control->GetMasterVolumeLevelScalar(volume));
  return S_OK;
}
