#include "platform/linux/pulse/client.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/owners.h"
#include "platform/result.h"

namespace zevra {
namespace {

constexpr REFERENCE_TIME kSecond = 10'000'000;
// How much sound the server hands over at once. A fragment every 10 ms would cost the host, the
// server and every other client of the graph twice the wake-ups for 10 ms that few would hear.
constexpr REFERENCE_TIME kFragment = 200'000;
// Streams are polled at half the device's period: a little more seldom than fragments come, so that
// every poll finds one. Waking up is the greater part of what a capture costs.
constexpr REFERENCE_TIME kPeriod = 500'000;
// A shorter queue than this runs dry before the server asks again; a longer one gains nothing.
constexpr REFERENCE_TIME kShortestQueue = kFragment;
constexpr REFERENCE_TIME kLongestQueue = 2 * kSecond;

UINT32 FramesIn(REFERENCE_TIME duration, DWORD rate) {
  return static_cast<UINT32>((duration * rate + kSecond - 1) / kSecond);
}

// The services are shells: a stream keeps its state however often it is asked for one.
class CaptureService final : public ComObject<IAudioCaptureClient> {
 public:
  CaptureService(IAudioClient* owner, PulseCapture& capture)
      : owner_(ComPtr<IAudioClient>::Share(owner)), capture_(capture) {}

  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                    UINT64* counter_position) override {
    return capture_.GetBuffer(data, frames, flags, device_position, counter_position);
  }
  HRESULT ReleaseBuffer(UINT32 frames) override { return capture_.ReleaseBuffer(frames); }
  HRESULT GetNextPacketSize(UINT32* frames) override { return capture_.GetNextPacketSize(frames); }

 private:
  ComPtr<IAudioClient> owner_;
  PulseCapture& capture_;
};

class RenderService final : public ComObject<IAudioRenderClient> {
 public:
  RenderService(IAudioClient* owner, PulseRender& render)
      : owner_(ComPtr<IAudioClient>::Share(owner)), render_(render) {}

  HRESULT GetBuffer(UINT32 frames, BYTE** data) override { return render_.GetBuffer(frames, data); }
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) override {
    return render_.ReleaseBuffer(frames, flags);
  }

 private:
  ComPtr<IAudioClient> owner_;
  PulseRender& render_;
};

}  // namespace

HRESULT PulseAudioClient::Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                                     REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                                     const GUID*) {
  if (format == nullptr) return E_POINTER;
  if (stream_.IsOpen()) return AUDCLNT_E_ALREADY_INITIALIZED;
  if (mode != AUDCLNT_SHAREMODE_SHARED) return AUDCLNT_E_UNSUPPORTED_FORMAT;
  if ((flags & ~AUDCLNT_STREAMFLAGS_LOOPBACK) != 0 || duration < 0 || periodicity != 0)
    return E_INVALIDARG;
  const bool is_render_endpoint = stream_.Endpoint().flow == eRender;
  if (flags != 0 && !is_render_endpoint) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
  const auto stream_format = StreamFormat(*format, stream_.Endpoint());
  if (!stream_format) return AUDCLNT_E_UNSUPPORTED_FORMAT;

  is_render_ = is_render_endpoint && flags == 0;
  if (!is_render_)
    return stream_.Record(*stream_format, FramesIn(kFragment, format->nSamplesPerSec));
  const REFERENCE_TIME queue = std::clamp(duration, kShortestQueue, kLongestQueue);
  const HRESULT result = stream_.Play(*stream_format, FramesIn(queue, format->nSamplesPerSec));
  return FAILED(result) ? result : render_.Prepare();
}

HRESULT PulseAudioClient::GetBufferSize(UINT32* frames) {
  if (frames == nullptr) return E_POINTER;
  *frames = 0;
  if (!stream_.IsOpen()) return AUDCLNT_E_NOT_INITIALIZED;
  if (const HRESULT result = stream_.Probe(); FAILED(result)) return result;
  *frames = stream_.BufferFrames();
  return S_OK;
}

HRESULT PulseAudioClient::GetCurrentPadding(UINT32* frames) {
  if (frames == nullptr) return E_POINTER;
  *frames = 0;
  if (!stream_.IsOpen()) return AUDCLNT_E_NOT_INITIALIZED;
  return is_render_ ? render_.GetCurrentPadding(frames) : capture_.GetNextPacketSize(frames);
}

HRESULT PulseAudioClient::IsFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format,
                                            WAVEFORMATEX** closest) {
  if (closest != nullptr) *closest = nullptr;
  if (format == nullptr) return E_POINTER;
  if (mode != AUDCLNT_SHAREMODE_SHARED) return AUDCLNT_E_UNSUPPORTED_FORMAT;
  if (closest == nullptr) return E_POINTER;
  if (const HRESULT result = stream_.Probe(); FAILED(result)) return result;
  if (StreamFormat(*format, stream_.Endpoint())) return S_OK;
  const HRESULT result = GetMixFormat(closest);
  return FAILED(result) ? result : S_FALSE;
}

HRESULT PulseAudioClient::GetMixFormat(WAVEFORMATEX** format) {
  if (format == nullptr) return E_POINTER;
  *format = nullptr;
  if (const HRESULT result = stream_.Probe(); FAILED(result)) return result;
  const WAVEFORMATEXTENSIBLE mix = MixFormat(stream_.Endpoint());
  void* const block = ::CoTaskMemAlloc(sizeof mix);
  *format = static_cast<WAVEFORMATEX*>(block);
  if (block == nullptr) return E_OUTOFMEMORY;
  std::memcpy(block, &mix, sizeof mix);
  return S_OK;
}

HRESULT PulseAudioClient::GetDevicePeriod(REFERENCE_TIME* default_period,
                                          REFERENCE_TIME* minimum_period) {
  if (default_period == nullptr && minimum_period == nullptr) return E_POINTER;
  if (const HRESULT result = stream_.Probe(); FAILED(result)) return result;
  if (default_period != nullptr) *default_period = kPeriod;
  if (minimum_period != nullptr) *minimum_period = kPeriod;
  return S_OK;
}

HRESULT PulseAudioClient::Start() {
  if (!stream_.IsOpen()) return AUDCLNT_E_NOT_INITIALIZED;
  if (running_) return AUDCLNT_E_NOT_STOPPED;
  const HRESULT result = stream_.Run(true);
  running_ = SUCCEEDED(result);
  return result;
}

HRESULT PulseAudioClient::Stop() {
  if (!stream_.IsOpen()) return AUDCLNT_E_NOT_INITIALIZED;
  if (!std::exchange(running_, false)) return FAILED(stream_.State()) ? stream_.State() : S_FALSE;
  return stream_.Run(false);
}

HRESULT PulseAudioClient::GetService(REFIID iid, void** service) {
  if (service == nullptr) return E_POINTER;
  *service = nullptr;
  if (!stream_.IsOpen()) return AUDCLNT_E_NOT_INITIALIZED;
  if (const HRESULT result = stream_.State(); FAILED(result)) return result;
  if (iid == IID_IAudioCaptureClient) {
    if (is_render_) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
    *service = static_cast<IAudioCaptureClient*>(MakeCom<CaptureService>(this, capture_));
  } else if (iid == IID_IAudioRenderClient) {
    if (!is_render_) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
    *service = static_cast<IAudioRenderClient*>(MakeCom<RenderService>(this, render_));
  } else {
    return E_NOINTERFACE;
  }
  return *service != nullptr ? S_OK : E_OUTOFMEMORY;
}

}  // namespace zevra
