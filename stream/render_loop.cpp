#include "stream/render_loop.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "log/log.h"
#include "platform/result.h"
#include "stream/wave_format.h"

namespace zevra {

std::atomic<bool> play_stop_requested{false};

namespace {

// One second in 100-ns units: the buffer that is asked for, and the base of the pause.
constexpr REFERENCE_TIME kSecond = 10'000'000;

// A failed call of the render thread: its line, then its code.
HRESULT Failed(const char* operation, HRESULT result) {
  ZEVRA_LOG_ERROR("ZevraImpl::LoopBackPlay | error | %s %x", operation, Hex(result));
  return result;
}

}  // namespace

RenderLoop::~RenderLoop() {
  if (started_) audio_client_ptr_->Stop();
}

HRESULT RenderLoop::Run() {
  HRESULT result = Start();
  if (FAILED(result)) return result;
  result = KeepFilled();
  return FAILED(result) ? result : WaitForStop();
}

HRESULT RenderLoop::Start() {
  HRESULT result = OpenStream();
  if (FAILED(result)) return result;
  result = Fill(buffer_frames_);
  if (FAILED(result)) return result;
  result = audio_client_ptr_->Start();
  if (FAILED(result)) return Failed("audio_client_ptr->Start()", result);
  started_ = true;
  os::SetEvent(request_.ready_event);
  return result;
}

HRESULT RenderLoop::OpenStream() {
  HRESULT result =
      request_.device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, audio_client_ptr_.PutVoid());
  if (FAILED(result)) return Failed("Activate", result);
  result = audio_client_ptr_->GetMixFormat(format_.Put());
  if (FAILED(result)) return Failed("GetMixFormat", result);
  MakeSixteenBit(*format_.Get());
  if (!timer_.Create()) {
    const DWORD error = os::GetLastError();
    ZEVRA_LOG_ERROR("ZevraImpl::LoopBackPlay | error | CreateWaitableTimer %x",
                    static_cast<unsigned>(error));
    return ResultFromError(error);
  }
  result = audio_client_ptr_->Initialize(AUDCLNT_SHAREMODE_SHARED, 0, kSecond, 0, format_.Get(),
                                         nullptr);
  if (FAILED(result)) return Failed("audio_client_ptr->Initialize", result);
  result = audio_client_ptr_->GetBufferSize(&buffer_frames_);
  if (FAILED(result)) return Failed("audio_client_ptr->GetBufferSize", result);
  result = audio_client_ptr_->GetService(IID_IAudioRenderClient, pRenderClient_.PutVoid());
  return FAILED(result) ? Failed("audio_client_ptr->GetService", result) : result;
}

HRESULT RenderLoop::KeepFilled() {
  const DWORD pause_ms = PauseMilliseconds();
  while (buffer_flags_ == 0) {
    os::Sleep(pause_ms);
    UINT32 queued_frames = 0;
    HRESULT result = audio_client_ptr_->GetCurrentPadding(&queued_frames);
    if (FAILED(result)) return Failed("audio_client_ptr->GetCurrentPadding", result);
    result = Fill(buffer_frames_ - std::min(queued_frames, buffer_frames_));
    if (FAILED(result)) return result;
  }
  return S_OK;
}

// The buffer holds zeros throughout; only the last fill is marked silent.
HRESULT RenderLoop::Fill(UINT32 frames) {
  BYTE* block = nullptr;
  HRESULT result = pRenderClient_->GetBuffer(frames, &block);
  if (FAILED(result)) return Failed("pRenderClient->GetBuffer", result);
  if (StopAsked()) buffer_flags_ = AUDCLNT_BUFFERFLAGS_SILENT;
  if (const std::size_t bytes = static_cast<std::size_t>(format_->nBlockAlign) * frames)
    std::memset(block, 0, bytes);
  result = pRenderClient_->ReleaseBuffer(frames, buffer_flags_);
  return FAILED(result) ? Failed("pRenderClient->ReleaseBuffer", result) : result;
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
      return FAILED(result) ? Failed("audio_client_ptr->Stop", result) : result;
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
