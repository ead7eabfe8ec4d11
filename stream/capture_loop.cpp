#include "stream/capture_loop.h"

#include <algorithm>

#include "log/log.h"
#include "platform/result.h"
#include "stream/failure.h"
#include "stream/wave_format.h"

namespace zevra {
namespace {

constexpr char kScope[] = "ZevraImpl::LoopBackCapture";

constexpr REFERENCE_TIME kHnsInMillisecond = 10'000;
// A day; a longer period comes from a broken driver and would not fit the timer's milliseconds.
constexpr REFERENCE_TIME kLongestHalfPeriod = 24LL * 3600 * 1000 * kHnsInMillisecond;

// For a call that leaves its cause in GetLastError: the line holds the bare error number.
HRESULT LogLastError(const char* operation) {
  const DWORD error = os::GetLastError();
  LogFailure(kScope, operation, static_cast<HRESULT>(error));
  return ResultFromError(error);
}

}  // namespace

CaptureLoop::~CaptureLoop() {
  if (started_) audio_client_ptr_->Stop();
}

HRESULT CaptureLoop::Run() {
  ZEVRA_RETURN_IF_FAILED(Start());
  return RunUntilStop();
}

HRESULT CaptureLoop::Start() {
  ZEVRA_RETURN_IF_FAILED(OpenFormat());
  if (!timer_.Create()) return LogLastError("CreateWaitableTimer");
  frame_bytes_ = format_->nBlockAlign;
  ZEVRA_RETURN_IF_FAILED(InitializeStream());
  ZEVRA_RETURN_IF_FAILED(PrepareThread());

  conversion_.source_format = source_format_;
  conversion_.target_format = request_.target_format;
  // A stage that does not come up is no reason to end: the host still gets its callback for every
  // packet, with nothing in it.
  StartConversion(conversion_);

  ZEVRA_RETURN_LOGGED(kScope, "audio_client_ptr->Start()", audio_client_ptr_->Start());
  started_ = true;
  os::SetEvent(request_.ready_event);
  return S_OK;
}

HRESULT CaptureLoop::OpenFormat() {
  ZEVRA_RETURN_LOGGED(kScope, "Activate",
                      request_.device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr,
                                                audio_client_ptr_.PutVoid()));
  ZEVRA_RETURN_LOGGED(kScope, "GetDevicePeriod",
                      audio_client_ptr_->GetDevicePeriod(&default_period_, nullptr));
  HRESULT result = audio_client_ptr_->GetMixFormat(mix_format_.Put());
  if (FAILED(result)) return LogFailure(kScope, "GetMixFormat", result);
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
  if (const HRESULT result = apartment_.Enter(); FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::LoopBackCapture | ZevraInitialize | error | %x", Hex(result));
    return result;
  }
  ZEVRA_RETURN_LOGGED(kScope, "audio_client_ptr->Initialize",
                      audio_client_ptr_->Initialize(AUDCLNT_SHAREMODE_SHARED, request_.stream_flags,
                                                    0, 0, format_, nullptr));
  UINT32 buffer_frames = 0;
  ZEVRA_RETURN_LOGGED(kScope, "audio_client_ptr->GetBufferSize",
                      audio_client_ptr_->GetBufferSize(&buffer_frames));

  source_format_.sample_kind = -1;
  ZEVRA_RETURN_IF_FAILED(FillSourceFormat(*format_, source_format_));
  ZEVRA_RETURN_LOGGED(
      kScope, "audio_client_ptr->GetService",
      audio_client_ptr_->GetService(IID_IAudioCaptureClient, audio_capture_ptr_.PutVoid()));
  return S_OK;
}

HRESULT CaptureLoop::PrepareThread() {
  DWORD task_index = 0;
  if (os::AvSetMmThreadCharacteristicsW(ZEVRA_WIDE("Audio"), &task_index) == nullptr)
    return LogLastError("AvSetMmThreadCharacteristics");
  const REFERENCE_TIME half =
      std::clamp<REFERENCE_TIME>(default_period_ / 2, 1, kLongestHalfPeriod);
  const auto repeat_ms = static_cast<LONG>(std::max<REFERENCE_TIME>(half / kHnsInMillisecond, 1));
  if (!timer_.Arm(half, repeat_ms)) return LogLastError("SetWaitableTimer");
  return S_OK;
}

HRESULT CaptureLoop::RunUntilStop() {
  enum : DWORD { kStopEvent = 0, kTimer = 1 };
  const HANDLE wait_set[] = {request_.stop_event, timer_.Get()};
  for (;;) {
    ZEVRA_RETURN_IF_FAILED(TakePackets());
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
    ZEVRA_RETURN_IF_FAILED(audio_capture_ptr_->GetNextPacketSize(&packet_frames));
    if (packet_frames == 0) return S_OK;
    ZEVRA_RETURN_IF_FAILED(DeliverPacket());
  }
}

// The packet stays held while the callback runs: its time comes out of the endpoint's buffering,
// and no queue stands between the stream and the host.
HRESULT CaptureLoop::DeliverPacket() {
  BYTE* packet = nullptr;
  UINT32 frames = 0;
  DWORD flags = 0;
  ZEVRA_RETURN_LOGGED(kScope, "audio_capture_ptr->GetBuffer",
                      audio_capture_ptr_->GetBuffer(&packet, &frames, &flags, nullptr, nullptr));

  const std::uint32_t silent = (flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0 ? 1 : 0;
  ConvertBuffer(conversion_, packet, frames * frame_bytes_, converted_);
  // What a callback must not throw ends the capture, with a line that names the culprit.
  ZEVRA_RETURN_LOGGED(kScope, "callback", NoThrow([&] {
                        if (const ZevraCaptureCallback callback = *request_.callback)
                          callback(nullptr, silent, converted_.data.get(), converted_.length);
                        return S_OK;
                      }));
  converted_.Clear();

  ZEVRA_RETURN_LOGGED(kScope, "audio_capture_ptr->ReleaseBuffer",
                      audio_capture_ptr_->ReleaseBuffer(frames));
  return S_OK;
}

HRESULT CaptureLoop::Stop() {
  started_ = false;
  const HRESULT result = audio_client_ptr_->Stop();
  return FAILED(result) ? LogFailure(kScope, "audio_client_ptr->Stop", result) : result;
}

}  // namespace zevra
