#include "stream/render_loop.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "log/log.h"
#include "platform/result.h"
#include "stream/failure.h"
#include "stream/wave_format.h"

namespace zevra {

std::atomic<bool> play_stop_requested{false};

namespace {

constexpr char kScope[] = "ZevraImpl::LoopBackPlay";

// One second in 100-ns units: the buffer that is asked for, and the base of the pause.
constexpr REFERENCE_TIME kSecond = 10'000'000;

}  // namespace

RenderLoop::~RenderLoop() {
  if (started_) audio_client_ptr_->Stop();
}

HRESULT RenderLoop::Run() {
  ZEVRA_RETURN_IF_FAILED(Start());
  ZEVRA_RETURN_IF_FAILED(KeepFilled());
  return WaitForStop();
}

HRESULT RenderLoop::Start() {
  ZEVRA_RETURN_IF_FAILED(OpenStream());
  ZEVRA_RETURN_IF_FAILED(Fill(buffer_frames_));
  ZEVRA_RETURN_LOGGED(kScope, "audio_client_ptr->Start()", audio_client_ptr_->Start());
  started_ = true;
  os::SetEvent(request_.ready_event);
  return S_OK;
}

HRESULT RenderLoop::OpenStream() {
  ZEVRA_RETURN_LOGGED(kScope, "Activate",
                      request_.device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr,
                                                audio_client_ptr_.PutVoid()));
  ZEVRA_RETURN_LOGGED(kScope, "GetMixFormat", audio_client_ptr_->GetMixFormat(format_.Put()));
  MakeSixteenBit(*format_.Get());
  if (!timer_.Create()) {
    const DWORD error = os::GetLastError();
    LogFailure(kScope, "CreateWaitableTimer", static_cast<HRESULT>(error));
    return ResultFromError(error);
  }
  ZEVRA_RETURN_LOGGED(kScope, "audio_client_ptr->Initialize",
                      audio_client_ptr_->Initialize(AUDCLNT_SHAREMODE_SHARED, 0, kSecond, 0,
                                                    format_.Get(), nullptr));
  ZEVRA_RETURN_LOGGED(kScope, "audio_client_ptr->GetBufferSize",
                      audio_client_ptr_->GetBufferSize(&buffer_frames_));
  ZEVRA_RETURN_LOGGED(
      kScope, "audio_client_ptr->GetService",
      audio_client_ptr_->GetService(IID_IAudioRenderClient, pRenderClient_.PutVoid()));
  return S_OK;
}

HRESULT RenderLoop::KeepFilled() {
  const DWORD pause_ms = PauseMilliseconds();
  while (buffer_flags_ == 0) {
    os::Sleep(pause_ms);
    UINT32 queued_frames = 0;
    ZEVRA_RETURN_LOGGED(kScope, "audio_client_ptr->GetCurrentPadding",
                        audio_client_ptr_->GetCurrentPadding(&queued_frames));
    ZEVRA_RETURN_IF_FAILED(Fill(buffer_frames_ - std::min(queued_frames, buffer_frames_)));
  }
  return S_OK;
}

// The buffer holds zeros throughout; only the last fill is marked silent.
HRESULT RenderLoop::Fill(UINT32 frames) {
  BYTE* block = nullptr;
  ZEVRA_RETURN_LOGGED(kScope, "pRenderClient->GetBuffer",
                      pRenderClient_->GetBuffer(frames, &block));
  if (StopAsked()) buffer_flags_ = AUDCLNT_BUFFERFLAGS_SILENT;
  if (const std::size_t bytes = static_cast<std::size_t>(format_->nBlockAlign) * frames)
    std::memset(block, 0, bytes);
  ZEVRA_RETURN_LOGGED(kScope, "pRenderClient->ReleaseBuffer",
                      pRenderClient_->ReleaseBuffer(frames, buffer_flags_));
  return S_OK;
}

HRESULT RenderLoop::WaitForStop() {
  enum : DWORD { kStopEvent = 0, kTimer = 1 };
  const HANDLE wait_set[] = {request_.stop_event, timer_.Get()};
  switch (os::WaitForMultipleObjects(2, wait_set, FALSE, INFINITE)) {
    case WAIT_OBJECT_0 + kStopEvent:
      return S_OK;
    case WAIT_OBJECT_0 + kTimer: {
      started_ = false;
      const HRESULT result = audio_client_ptr_->Stop();
      return FAILED(result) ? LogFailure(kScope, "audio_client_ptr->Stop", result) : result;
    }
    default:
      ZEVRA_LOG_ERROR("ZevraImpl::LoopBackPlay | error | wakeup error");
      return E_UNEXPECTED;
  }
}

// Half of the buffer's duration. At least one millisecond, so that an endpoint with a tiny buffer,
// or one that gives no rate, does not keep the processor busy.
DWORD RenderLoop::PauseMilliseconds() const {
  if (format_->nSamplesPerSec == 0) return 1;
  const auto buffer_units = static_cast<std::int64_t>(static_cast<double>(buffer_frames_) *
                                                      kSecond / format_->nSamplesPerSec);
  return static_cast<DWORD>(std::max<std::int64_t>(buffer_units / 20'000, 1));
}

bool RenderLoop::StopAsked() const {
  return play_stop_requested.load(std::memory_order_acquire) ||
         request_.stop_pending->load(std::memory_order_acquire);
}

}  // namespace zevra
