#include "builtin/audio_client.h"

#include <algorithm>
#include <utility>

#include "platform/result.h"

namespace zevra::builtin {
namespace {

constexpr REFERENCE_TIME kHnsPerSecond = 10'000'000;
constexpr REFERENCE_TIME kLongestBuffer = 10 * kHnsPerSecond;
// Packets that a render stream of the least length holds: one that plays, one that is filled.
constexpr REFERENCE_TIME kLeastRenderPackets = 2;

class CaptureService final : public ComObject<IAudioCaptureClient> {
 public:
  CaptureService(std::shared_ptr<Endpoint> endpoint, std::shared_ptr<CaptureStream> stream)
      : endpoint_(std::move(endpoint)), stream_(std::move(stream)) {}

  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                    UINT64* counter_position) override {
    if (data == nullptr || frames == nullptr || flags == nullptr) return E_POINTER;
    if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
    return stream_->GetBuffer(data, frames, flags, device_position, counter_position);
  }
  HRESULT ReleaseBuffer(UINT32 frames) override {
    if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
    return stream_->ReleaseBuffer(frames);
  }
  HRESULT GetNextPacketSize(UINT32* frames) override {
    if (frames == nullptr) return E_POINTER;
    if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
    return stream_->NextPacketSize(frames);
  }

 private:
  const std::shared_ptr<Endpoint> endpoint_;
  const std::shared_ptr<CaptureStream> stream_;
};

class RenderService final : public ComObject<IAudioRenderClient> {
 public:
  RenderService(std::shared_ptr<Endpoint> endpoint, std::shared_ptr<RenderStream> stream)
      : endpoint_(std::move(endpoint)), stream_(std::move(stream)) {}

  HRESULT GetBuffer(UINT32 frames, BYTE** data) override {
    if (data == nullptr) return E_POINTER;
    if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
    return stream_->GetBuffer(frames, data);
  }
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) override {
    if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
    return stream_->ReleaseBuffer(frames, flags);
  }

 private:
  const std::shared_ptr<Endpoint> endpoint_;
  const std::shared_ptr<RenderStream> stream_;
};

// Hands the one reference of a fresh service out.
template <class Interface>
HRESULT HandOut(Interface* service, void** out) {
  *out = service;
  return service != nullptr ? S_OK : E_OUTOFMEMORY;
}

}  // namespace

AudioClient::AudioClient(std::shared_ptr<Endpoint> endpoint) : endpoint_(std::move(endpoint)) {}

HRESULT AudioClient::Ready() const {
  if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
  return capture_ || render_ ? S_OK : AUDCLNT_E_NOT_INITIALIZED;
}

UINT32 AudioClient::BufferFrames(REFERENCE_TIME duration, REFERENCE_TIME least) const {
  const REFERENCE_TIME length = std::clamp(duration, least, std::max(least, kLongestBuffer));
  // Rounded up, so that a buffer is never shorter than was asked for.
  return static_cast<UINT32>((length * endpoint_->config().rate + kHnsPerSecond - 1) /
                             kHnsPerSecond);
}

HRESULT AudioClient::Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                                REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                                const GUID* /*session*/) {
  if (format == nullptr) return E_POINTER;
  if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
  if (capture_ || render_) return AUDCLNT_E_ALREADY_INITIALIZED;
  if ((flags & ~DWORD{AUDCLNT_STREAMFLAGS_LOOPBACK}) != 0) return E_INVALIDARG;
  if (duration < 0 || periodicity != 0) return E_INVALIDARG;
  const bool loopback = flags != 0;
  if (loopback && endpoint_->config().flow == eCapture) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
  const auto kind = Recognise(endpoint_->config(), *format);
  if (mode != AUDCLNT_SHAREMODE_SHARED || !kind) return AUDCLNT_E_UNSUPPORTED_FORMAT;

  return NoThrow([&] {
    if (loopback || endpoint_->config().flow == eCapture) {
      const UINT32 frames = BufferFrames(duration, kHistory.count() * kHnsPerSecond);
      capture_ = std::make_shared<CaptureStream>(endpoint_, *kind, frames);
    } else {
      const UINT32 frames = BufferFrames(duration, endpoint_->Period() * kLeastRenderPackets);
      render_ = std::make_shared<RenderStream>(endpoint_, *kind, frames);
    }
    return S_OK;
  });
}

HRESULT AudioClient::GetBufferSize(UINT32* frames) {
  if (frames == nullptr) return E_POINTER;
  if (const HRESULT result = Ready(); FAILED(result)) return result;
  *frames = capture_ ? capture_->BufferFrames() : render_->BufferFrames();
  return S_OK;
}

HRESULT AudioClient::GetCurrentPadding(UINT32* frames) {
  if (frames == nullptr) return E_POINTER;
  if (const HRESULT result = Ready(); FAILED(result)) return result;
  *frames = capture_ ? capture_->Padding() : render_->Padding();
  return S_OK;
}

HRESULT AudioClient::IsFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format,
                                       WAVEFORMATEX** closest) {
  if (closest != nullptr) *closest = nullptr;
  if (format == nullptr) return E_POINTER;
  if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
  if (mode != AUDCLNT_SHAREMODE_SHARED) return AUDCLNT_E_UNSUPPORTED_FORMAT;
  if (closest == nullptr) return E_POINTER;
  if (Recognise(endpoint_->config(), *format)) return S_OK;
  *closest = NewMixFormat(endpoint_->config());
  return *closest != nullptr ? S_FALSE : E_OUTOFMEMORY;
}

HRESULT AudioClient::GetMixFormat(WAVEFORMATEX** format) {
  if (format == nullptr) return E_POINTER;
  *format = nullptr;
  if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
  *format = NewMixFormat(endpoint_->config());
  return *format != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT AudioClient::GetDevicePeriod(REFERENCE_TIME* default_period,
                                     REFERENCE_TIME* minimum_period) {
  if (default_period == nullptr && minimum_period == nullptr) return E_POINTER;
  if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
  if (default_period != nullptr) *default_period = endpoint_->Period();
  if (minimum_period != nullptr) *minimum_period = endpoint_->Period();
  return S_OK;
}

HRESULT AudioClient::Start() {
  if (const HRESULT result = Ready(); FAILED(result)) return result;
  return NoThrow([this] { return capture_ ? capture_->Start() : render_->Start(); });
}

HRESULT AudioClient::Stop() {
  if (const HRESULT result = Ready(); FAILED(result)) return result;
  return capture_ ? capture_->Stop() : render_->Stop();
}

HRESULT AudioClient::GetService(REFIID iid, void** service) {
  if (service == nullptr) return E_POINTER;
  *service = nullptr;
  if (const HRESULT result = Ready(); FAILED(result)) return result;
  if (iid == IID_IAudioCaptureClient) {
    if (!capture_) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
    return HandOut<IAudioCaptureClient>(MakeCom<CaptureService>(endpoint_, capture_), service);
  }
  if (iid == IID_IAudioRenderClient) {
    if (!render_) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
    return HandOut<IAudioRenderClient>(MakeCom<RenderService>(endpoint_, render_), service);
  }
  return E_NOINTERFACE;
}

}  // namespace zevra::builtin
