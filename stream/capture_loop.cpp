#include "stream/capture_loop.h"

#include "log/log.h"
#include "platform/result.h"
#include "stream/wave_format.h"

namespace zevra {
namespace {

// A failed call of the capture thread: its line, then its code.
HRESULT Failed(const char* operation, HRESULT result) {
  ZEVRA_LOG_ERROR("ZevraImpl::LoopBackCapture | error | %s %x", operation, Hex(result));
  return result;
}

// The same for a call that leaves its cause in GetLastError.
HRESULT FailedWithLastError(const char* operation) {
  const DWORD error = os::GetLastError();
  ZEVRA_LOG_ERROR("ZevraImpl::LoopBackCapture | error | %s %x", operation,
                  static_cast<unsigned>(error));
  return ResultFromError(error);
}

}  // namespace

CaptureLoop::~CaptureLoop() {
  if (started_) audio_client_ptr_->Stop();
}

HRESULT CaptureLoop::Run() {
  const HRESULT result = Start();
  return FAILED(result) ? result : RunUntilStop();
}

HRESULT CaptureLoop::Start() {
  HRESULT result = OpenFormat();
  if (FAILED(result)) return result;
  if (!timer_.Create()) return FailedWithLastError("CreateWaitableTimer");
  frame_bytes_ = format_->nBlockAlign;
  result = InitializeStream();
  if (FAILED(result)) return result;
  result = PrepareThread();
  if (FAILED(result)) return result;

  conversion_.source_format = source_format_;
  conversion_.target_format = request_.target_format;
  // A stage that does not come up is no reason to end: the host still gets its callback for every
  // packet, with nothing in it.
  StartConversion(conversion_);

  result = audio_client_ptr_->Start();
  if (FAILED(result)) return Failed("audio_client_ptr->Start()", result);
  started_ = true;
  os::SetEvent(request_.ready_event);
  return S_OK;
}

HRESULT CaptureLoop::OpenFormat() {
  HRESULT result =
      request_.device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, audio_client_ptr_.PutVoid());
  if (FAILED(result)) return Failed("Activate", result);
  result = audio_client_ptr_->GetDevicePeriod(&default_period_, nullptr);
  if (FAILED(result)) return Failed("GetDevicePeriod", result);
  result = audio_client_ptr_->GetMixFormat(mix_format_.Put());
  if (FAILED(result)) return Failed("GetMixFormat", result);
  format_ = mix_format_.Get();
  ZEVRA_LOG_WARN(
      "ZevraImpl::LoopBackCapture | IsFormatSupported | info | %x | nChannels is %d, "
      "nSamplesPerSec is %d, nBlockAlign is %d, nAvgBytesPerSec is %d, wFormatTag is %d, "
      "wBitsPerSample is %d",
      Hex(result), format_->nChannels, static_cast<int>(format_->nSamplesPerSec),
      format_->nBlockAlign, static_cast<int>(format_->nAvgBytesPerSec), format_->wFormatTag,
      format_->wBitsPerSample);

  result = audio_client_ptr_->IsFormatSupported(AUDCLNT_SHAREMODE_SHARED, format_,
                                                closest_format_.Put());
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR(
        "ZevraImpl::LoopBackCapture | IsFormatSupported | error | %x | nChannels is %d, "
        "nSamplesPerSec is %d, nBlockAlign is %d, nAvgBytesPerSec is %d, wFormatTag is %d",
        Hex(result), format_->nChannels, static_cast<int>(format_->nSamplesPerSec),
        format_->nBlockAlign, static_cast<int>(format_->nAvgBytesPerSec), format_->wFormatTag);
    return result;
  }
  if (result == S_FALSE && closest_format_) {
    format_ = closest_format_.Get();
    ZEVRA_LOG_WARN(
        "ZevraImpl::LoopBackCapture | IsFormatSupported | error | %x, change closest format",
        Hex(result));
  }
  return result;
}

HRESULT CaptureLoop::InitializeStream() {
  HRESULT result = apartment_.Enter();
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::LoopBackCapture | ZevraInitialize | error | %x", Hex(result));
    return result;
  }
  result = audio_client_ptr_->Initialize(AUDCLNT_SHAREMODE_SHARED, request_.stream_flags, 0, 0,
                                         format_, nullptr);
  if (FAILED(result)) return Failed("audio_client_ptr->Initialize", result);
  UINT32 buffer_frames = 0;
  result = audio_client_ptr_->GetBufferSize(&buffer_frames);
  if (FAILED(result)) return Failed("audio_client_ptr->GetBufferSize", result);

  source_format_.sample_kind = -1;
  result = FillSourceFormat(*format_, source_format_);
  if (FAILED(result)) return result;
  result = audio_client_ptr_->GetService(IID_IAudioCaptureClient, audio_capture_ptr_.PutVoid());
  return FAILED(result) ? Failed("audio_client_ptr->GetService", result) : result;
}

HRESULT CaptureLoop::PrepareThread() {
  DWORD task_index = 0;
  if (os::AvSetMmThreadCharacteristicsW(ZEVRA_WIDE("Audio"), &task_index) == nullptr)
    return FailedWithLastError("AvSetMmThreadCharacteristics");
  if (!timer_.Arm(default_period_)) return FailedWithLastError("SetWaitableTimer");
  return S_OK;
}

HRESULT CaptureLoop::RunUntilStop() {
  enum : DWORD { kStopEvent = 0, kTimer = 1 };
  const HANDLE wait_set[] = {request_.stop_event, timer_.Get()};
  for (;;) {
    const HRESULT result = TakePackets();
    if (FAILED(result)) return result;
    switch (os::WaitForMultipleObjects(2, wait_set, FALSE, INFINITE)) {
      case WAIT_OBJECT_0 + kStopEvent:
        return Stop();
      case WAIT_OBJECT_0 + kTimer:
        break;
      default:
        ZEVRA_LOG_ERROR("ZevraImpl::LoopBackCapture | error | wakeup error");
        return E_UNEXPECTED;
    }
  }
}

HRESULT CaptureLoop::TakePackets() {
  for (;;) {
    UINT32 packet_frames = 0;
    HRESULT result = audio_capture_ptr_->GetNextPacketSize(&packet_frames);
    if (FAILED(result) || packet_frames == 0) return result;
    result = DeliverPacket();
    if (FAILED(result)) return result;
  }
}

// The packet stays held while the callback runs: its time comes out of the endpoint's buffering,
// and no queue stands between the stream and the host.
HRESULT CaptureLoop::DeliverPacket() {
  BYTE* packet = nullptr;
  UINT32 frames = 0;
  DWORD flags = 0;
  HRESULT result = audio_capture_ptr_->GetBuffer(&packet, &frames, &flags, nullptr, nullptr);
  if (FAILED(result)) return Failed("audio_capture_ptr->GetBuffer", result);

  const std::uint32_t silent = (flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0 ? 1 : 0;
  ConvertBuffer(conversion_, packet, frames * frame_bytes_, converted_);
  if (const ZevraCaptureCallback callback = *request_.callback)
    callback(nullptr, silent, converted_.data.get(), converted_.length);
  converted_.Clear();

  result = audio_capture_ptr_->ReleaseBuffer(frames);
  return FAILED(result) ? Failed("audio_capture_ptr->ReleaseBuffer", result) : result;
}

HRESULT CaptureLoop::Stop() {
  started_ = false;
  const HRESULT result = audio_client_ptr_->Stop();
  return FAILED(result) ? Failed("audio_client_ptr->Stop", result) : result;
}

}  // namespace zevra
