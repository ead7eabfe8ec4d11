#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "builtin/streams.h"
#include "platform/owners.h"
#include "platform/result.h"

namespace zevra::builtin {
namespace {

constexpr REFERENCE_TIME kHnsPerSecond = 10'000'000;
constexpr REFERENCE_TIME kLongestBuffer = 10 * kHnsPerSecond;
// The least packets of a render stream: one that plays, one that is being filled.
constexpr REFERENCE_TIME kLeastRenderPackets = 2;
// Bytes of an extensible format behind the plain one.
constexpr WORD kExtraBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);

// The mix format in task memory, the caller's; null if there is no memory.
WAVEFORMATEX* NewMixFormat(const EndpointConfig& config) {
  auto* const block =
      static_cast<WAVEFORMATEXTENSIBLE*>(CoTaskMemAlloc(sizeof(WAVEFORMATEXTENSIBLE)));
  if (block == nullptr) return nullptr;
  *block = {};
  WAVEFORMATEX& format = block->Format;
  format.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
  format.nChannels = config.channels;
  format.nSamplesPerSec = config.rate;
  format.wBitsPerSample = 32;
  format.nBlockAlign = static_cast<WORD>(config.channels * 4);
  format.nAvgBytesPerSec = config.rate * format.nBlockAlign;
  if (config.channel_mask != 0) {
    format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    format.cbSize = kExtraBytes;
    block->Samples.wValidBitsPerSample = 32;
    block->dwChannelMask = config.channel_mask;
    block->SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  }
  return &format;
}

// The samples that `format`, plain or extensible, asks for; empty if the endpoint cannot give them.
std::optional<SampleKind> Recognise(const EndpointConfig& config, const WAVEFORMATEX& format) {
  if (format.nChannels != config.channels || format.nSamplesPerSec != config.rate) return {};
  WORD tag = format.wFormatTag;
  if (tag == WAVE_FORMAT_EXTENSIBLE) {
    if (format.cbSize < kExtraBytes) return {};
    WAVEFORMATEXTENSIBLE extensible{};
    std::memcpy(&extensible, &format, sizeof(extensible));
    const GUID sub_format = extensible.SubFormat;  // the record is packed
    if (IsEqualGUID(sub_format, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT))
      tag = WAVE_FORMAT_IEEE_FLOAT;
    else if (IsEqualGUID(sub_format, KSDATAFORMAT_SUBTYPE_PCM))
      tag = WAVE_FORMAT_PCM;
  }
  std::optional<SampleKind> kind;
  if (tag == WAVE_FORMAT_IEEE_FLOAT && format.wBitsPerSample == 32) kind = SampleKind::kFloat32;
  if (tag == WAVE_FORMAT_PCM && format.wBitsPerSample == 16) kind = SampleKind::kInt16;
  if (kind && format.nBlockAlign != BytesOf(*kind) * config.channels) kind.reset();
  return kind;
}

class AudioClient final : public ComObject<IAudioClient> {
 public:
  explicit AudioClient(std::shared_ptr<Endpoint> endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                     REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                     const GUID* session) override;
  HRESULT GetBufferSize(UINT32* frames) override;
  HRESULT GetCurrentPadding(UINT32* frames) override;
  HRESULT IsFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format,
                            WAVEFORMATEX** closest) override;
  HRESULT GetMixFormat(WAVEFORMATEX** format) override;
  HRESULT GetDevicePeriod(REFERENCE_TIME* default_period, REFERENCE_TIME* minimum_period) override;
  HRESULT Start() override;
  HRESULT Stop() override;
  HRESULT GetService(REFIID iid, void** service) override;

 private:
  // S_OK once the client is initialized and while the endpoint exists.
  HRESULT Ready() const;
  UINT32 BufferFrames(REFERENCE_TIME duration, REFERENCE_TIME least) const;

  const std::shared_ptr<Endpoint> endpoint_;
  // One of the two, from Initialize on.
  ComPtr<CaptureStream> capture_;
  ComPtr<RenderStream> render_;
};

HRESULT AudioClient::Ready() const {
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
      capture_ = ComPtr<CaptureStream>::Attach(new CaptureStream(endpoint_, *kind, frames));
    } else {
      const UINT32 frames = BufferFrames(duration, endpoint_->Period() * kLeastRenderPackets);
      render_ = ComPtr<RenderStream>::Attach(new RenderStream(endpoint_, *kind, frames));
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
  if (mode != AUDCLNT_SHAREMODE_SHARED) return AUDCLNT_E_UNSUPPORTED_FORMAT;
  if (closest == nullptr) return E_POINTER;
  if (Recognise(endpoint_->config(), *format)) return S_OK;
  *closest = NewMixFormat(endpoint_->config());
  return *closest != nullptr ? S_FALSE : E_OUTOFMEMORY;
}

HRESULT AudioClient::GetMixFormat(WAVEFORMATEX** format) {
  if (format == nullptr) return E_POINTER;
  *format = nullptr;
  *format = NewMixFormat(endpoint_->config());
  return *format != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT AudioClient::GetDevicePeriod(REFERENCE_TIME* default_period,
                                     REFERENCE_TIME* minimum_period) {
  if (default_period == nullptr && minimum_period == nullptr) return E_POINTER;
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
  if (iid == IID_IAudioCaptureClient)
    return capture_ ? capture_->QueryInterface(iid, service) : AUDCLNT_E_WRONG_ENDPOINT_TYPE;
  if (iid == IID_IAudioRenderClient)
    return render_ ? render_->QueryInterface(iid, service) : AUDCLNT_E_WRONG_ENDPOINT_TYPE;
  return E_NOINTERFACE;
}

}  // namespace

IAudioClient* NewAudioClient(const std::shared_ptr<Endpoint>& endpoint) noexcept {
  return MakeCom<AudioClient>(endpoint);
}

}  // namespace zevra::builtin
