#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "platform/com_object.h"
#include "platform/linux/pulse/format.h"
#include "platform/linux/pulse/stream.h"
#include "platform/owners.h"
#include "platform/result.h"

namespace zevra {
namespace {

constexpr REFERENCE_TIME kSecond = 10'000'000;
// How much sound the server hands over at once. 10 ms would cost every client twice the wake-ups.
constexpr REFERENCE_TIME kFragment = 200'000;
// The data themselves wake a capture. Its timer, which signals at half the device's period, only
// stands by: with one tick for 25 fragments it adds 2 wake-ups to the 50 of a second.
constexpr REFERENCE_TIME kPeriod = 50 * kFragment;
// A shorter queue than this runs dry before the server asks again; a longer one gains nothing.
constexpr REFERENCE_TIME kShortestQueue = kFragment;
constexpr REFERENCE_TIME kLongestQueue = 2 * kSecond;

UINT32 FramesIn(REFERENCE_TIME duration, DWORD rate) {
  return static_cast<UINT32>((duration * rate + kSecond - 1) / kSecond);
}

// Stands for the server's missing data in every stream; never written. All sample types that a
// stream can have are zero in silence.
alignas(32) std::array<BYTE, 16384> hole_zeros{};

template <class Sample>
bool IsZero(const void* data, std::size_t bytes) {
  const auto* const samples = static_cast<const Sample*>(data);
  return std::all_of(samples, samples + bytes / sizeof(Sample),
                     [](Sample sample) { return sample == 0; });
}

// Ends at the first sample that is not zero, so that sound costs nothing. A float zero may have a
// sign, so bytes cannot tell.
bool IsSilence(const void* data, std::size_t bytes, const pa_sample_spec& spec) {
  return spec.format == PA_SAMPLE_S16LE ? IsZero<std::int16_t>(data, bytes)
                                        : IsZero<float>(data, bytes);
}

// The packets of a record stream, each lying where the server's data arrived: nothing is copied.
// What the host is late for stays with the server, because nothing more is taken from the
// connection while a packet waits here. A packet of nothing but zeros is flagged silent. A hole in
// the server's data comes as such packets, flagged discontinuous as well. One thread, the stream's.
class PulseCapture final : public ComObject<IAudioCaptureClient> {
 public:
  // `stream` is open for recording.
  explicit PulseCapture(std::shared_ptr<PulseStream> stream) noexcept
      : stream_(std::move(stream)) {}

  // No positions are kept: both pointers are null.
  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                    UINT64* counter_position) override;
  HRESULT ReleaseBuffer(UINT32 frames) override;
  HRESULT GetNextPacketSize(UINT32* frames) override;

 private:
  // What the server handed over last, less what has been released.
  struct Packet {
    const void* data = nullptr;  // null in a hole
    std::size_t bytes = 0;
  };

  HRESULT Fetch();
  HRESULT Peek();
  UINT32 NextFrames() const;

  const std::shared_ptr<PulseStream> stream_;
  Packet packet_;
  bool handed_out_ = false;  // between GetBuffer and ReleaseBuffer
};

// Makes `packet_` the oldest data that the server has handed over, if any.
HRESULT PulseCapture::Peek() {
  const void* data = nullptr;
  std::size_t bytes = 0;
  if (pa_stream_peek(stream_->Get(), &data, &bytes) < 0) return AUDCLNT_E_DEVICE_INVALIDATED;
  if (bytes != 0 && bytes < stream_->FrameBytes()) return stream_->Drop();  // no sound
  packet_ = {data, bytes};
  return S_OK;
}

// Fills `packet_` if it is empty and there is anything to fill it with.
HRESULT PulseCapture::Fetch() {
  if (packet_.bytes != 0 || stream_->NothingArrived()) return S_OK;
  do {
    if (const HRESULT result = Peek(); FAILED(result)) return result;
    if (packet_.bytes != 0) return S_OK;
  } while (stream_->Pump());
  const HRESULT result = stream_->State();
  if (SUCCEEDED(result)) stream_->MarkDrained();
  return result;
}

UINT32 PulseCapture::NextFrames() const {
  const std::size_t most = packet_.data != nullptr ? packet_.bytes : hole_zeros.size();
  return static_cast<UINT32>(std::min(packet_.bytes, most) / stream_->FrameBytes());
}

HRESULT PulseCapture::GetNextPacketSize(UINT32* frames) {
  *frames = 0;
  if (const HRESULT result = Fetch(); FAILED(result)) return result;
  *frames = NextFrames();
  return S_OK;
}

HRESULT PulseCapture::GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                                UINT64* counter_position) {
  *data = nullptr;
  *frames = 0;
  *flags = 0;
  if (device_position != nullptr || counter_position != nullptr) return E_NOTIMPL;
  if (handed_out_) return AUDCLNT_E_OUT_OF_ORDER;
  if (const HRESULT result = Fetch(); FAILED(result)) return result;
  if (packet_.bytes == 0) return AUDCLNT_S_BUFFER_EMPTY;
  const bool is_hole = packet_.data == nullptr;
  // The interface hands out writable bytes; a host has no reason to write them.
  *data = is_hole ? hole_zeros.data() : static_cast<BYTE*>(const_cast<void*>(packet_.data));
  *frames = NextFrames();
  if (is_hole)
    *flags = AUDCLNT_BUFFERFLAGS_SILENT | AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY;
  else if (IsSilence(packet_.data, packet_.bytes, *pa_stream_get_sample_spec(stream_->Get())))
    *flags = AUDCLNT_BUFFERFLAGS_SILENT;
  handed_out_ = true;
  return S_OK;
}

HRESULT PulseCapture::ReleaseBuffer(UINT32 frames) {
  if (!handed_out_) return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
  // A packet goes as a whole or, with 0, comes again.
  if (frames != 0 && frames != NextFrames()) return AUDCLNT_E_INVALID_SIZE;
  handed_out_ = false;
  if (frames == 0) return S_OK;
  const std::size_t bytes = frames * stream_->FrameBytes();
  if (packet_.data == nullptr && packet_.bytes - bytes >= stream_->FrameBytes()) {
    packet_.bytes -= bytes;
    return S_OK;
  }
  packet_ = {};
  return stream_->Drop();
}

// The queue of a playback stream. A block is gathered here and handed over at its release. One
// thread, the stream's.
class PulseRender final : public ComObject<IAudioRenderClient> {
 public:
  // `stream` is open for playing; `block` has the size of its queue.
  PulseRender(std::shared_ptr<PulseStream> stream, std::unique_ptr<BYTE[]> block) noexcept
      : stream_(std::move(stream)), block_(std::move(block)) {}

  HRESULT GetBuffer(UINT32 frames, BYTE** data) override;
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) override;
  HRESULT GetCurrentPadding(UINT32* frames);  // the client's operation

 private:
  const std::shared_ptr<PulseStream> stream_;
  const std::unique_ptr<BYTE[]> block_;
  std::optional<UINT32> handed_out_;  // frames, between GetBuffer and ReleaseBuffer
};

// Free space = bytes that the server has requested and the host has not written.
HRESULT PulseRender::GetCurrentPadding(UINT32* frames) {
  while (stream_->Pump()) {
  }
  if (const HRESULT result = stream_->State(); FAILED(result)) return result;
  const std::size_t free_bytes = pa_stream_writable_size(stream_->Get());
  if (free_bytes == static_cast<std::size_t>(-1)) return AUDCLNT_E_DEVICE_INVALIDATED;
  // After it has run dry the server may request more than the queue holds.
  const std::size_t free_frames =
      std::min<std::size_t>(free_bytes / stream_->FrameBytes(), stream_->BufferFrames());
  *frames = stream_->BufferFrames() - static_cast<UINT32>(free_frames);
  return S_OK;
}

HRESULT PulseRender::GetBuffer(UINT32 frames, BYTE** data) {
  *data = nullptr;
  if (handed_out_) return AUDCLNT_E_OUT_OF_ORDER;
  UINT32 queued = 0;
  if (const HRESULT result = GetCurrentPadding(&queued); FAILED(result)) return result;
  if (frames > stream_->BufferFrames() - queued) return AUDCLNT_E_BUFFER_TOO_LARGE;
  handed_out_ = frames;
  *data = block_.get();
  return S_OK;
}

HRESULT PulseRender::ReleaseBuffer(UINT32 frames, DWORD flags) {
  if (!handed_out_) return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
  if (frames > *handed_out_) return AUDCLNT_E_INVALID_SIZE;
  if ((flags & ~AUDCLNT_BUFFERFLAGS_SILENT) != 0) return E_INVALIDARG;
  handed_out_.reset();
  if (frames == 0) return stream_->State();
  const std::size_t bytes = frames * stream_->FrameBytes();
  // All sample types that a stream can have are zero in silence.
  if (flags != 0) std::memset(block_.get(), 0, bytes);
  if (pa_stream_write(stream_->Get(), block_.get(), bytes, nullptr, 0, PA_SEEK_RELATIVE) < 0)
    return AUDCLNT_E_DEVICE_INVALIDATED;
  stream_->Flush();
  return stream_->State();
}

class PulseAudioClient final : public ComObject<IAudioClient> {
 public:
  // `stream` knows its endpoint.
  explicit PulseAudioClient(std::shared_ptr<PulseStream> stream) noexcept
      : stream_(std::move(stream)) {}

  HRESULT Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                     REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                     const GUID* session) override;
  // Of a render stream its queue, of a capture stream what the server keeps for a late host.
  HRESULT GetBufferSize(UINT32* frames) override;
  // Of a capture stream the frames of its next packet.
  HRESULT GetCurrentPadding(UINT32* frames) override;
  HRESULT IsFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format,
                            WAVEFORMATEX** closest) override;
  HRESULT GetMixFormat(WAVEFORMATEX** format) override;
  HRESULT GetDevicePeriod(REFERENCE_TIME* default_period, REFERENCE_TIME* minimum_period) override;
  HRESULT Start() override;
  HRESULT Stop() override;
  HRESULT GetService(REFIID iid, void** service) override;

 private:
  bool IsInitialized() const { return capture_ || render_; }

  const std::shared_ptr<PulseStream> stream_;
  // What the initialised stream does: one of the two.
  ComPtr<PulseCapture> capture_;
  ComPtr<PulseRender> render_;
  bool running_ = false;
};

HRESULT PulseAudioClient::Initialize(AUDCLNT_SHAREMODE, DWORD flags, REFERENCE_TIME duration,
                                     REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                                     const GUID*) {
  if (stream_->IsOpen()) return AUDCLNT_E_ALREADY_INITIALIZED;
  if ((flags & ~AUDCLNT_STREAMFLAGS_LOOPBACK) != 0 || duration < 0 || periodicity != 0)
    return E_INVALIDARG;
  const bool is_render_endpoint = stream_->Endpoint().flow == eRender;
  if (flags != 0 && !is_render_endpoint) return AUDCLNT_E_WRONG_ENDPOINT_TYPE;
  const auto stream_format = StreamFormat(*format, stream_->Endpoint());
  if (!stream_format) return AUDCLNT_E_UNSUPPORTED_FORMAT;

  if (!is_render_endpoint || flags != 0) {
    const UINT32 fragment = FramesIn(kFragment, format->nSamplesPerSec);
    if (const HRESULT result = stream_->Record(*stream_format, fragment); FAILED(result))
      return result;
    capture_ = ComPtr<PulseCapture>::Attach(MakeCom<PulseCapture>(stream_));
    return capture_ ? S_OK : E_OUTOFMEMORY;
  }
  const UINT32 queue =
      FramesIn(std::clamp(duration, kShortestQueue, kLongestQueue), format->nSamplesPerSec);
  if (const HRESULT result = stream_->Play(*stream_format, queue); FAILED(result)) return result;
  std::unique_ptr<BYTE[]> block(new (std::nothrow)
                                    BYTE[stream_->BufferFrames() * stream_->FrameBytes()]);
  if (!block) return E_OUTOFMEMORY;
  render_ = ComPtr<PulseRender>::Attach(MakeCom<PulseRender>(stream_, std::move(block)));
  return render_ ? S_OK : E_OUTOFMEMORY;
}

HRESULT PulseAudioClient::GetBufferSize(UINT32* frames) {
  *frames = 0;
  if (!IsInitialized()) return AUDCLNT_E_NOT_INITIALIZED;
  if (const HRESULT result = stream_->PollServer(); FAILED(result)) return result;
  *frames = stream_->BufferFrames();
  return S_OK;
}

HRESULT PulseAudioClient::GetCurrentPadding(UINT32* frames) {
  *frames = 0;
  if (!IsInitialized()) return AUDCLNT_E_NOT_INITIALIZED;
  return render_ ? render_->GetCurrentPadding(frames) : capture_->GetNextPacketSize(frames);
}

HRESULT PulseAudioClient::IsFormatSupported(AUDCLNT_SHAREMODE, const WAVEFORMATEX* format,
                                            WAVEFORMATEX** closest) {
  *closest = nullptr;
  if (const HRESULT result = stream_->PollServer(); FAILED(result)) return result;
  if (StreamFormat(*format, stream_->Endpoint())) return S_OK;
  const HRESULT result = GetMixFormat(closest);
  return FAILED(result) ? result : S_FALSE;
}

HRESULT PulseAudioClient::GetMixFormat(WAVEFORMATEX** format) {
  *format = nullptr;
  if (const HRESULT result = stream_->PollServer(); FAILED(result)) return result;
  const WAVEFORMATEXTENSIBLE mix = MixFormat(stream_->Endpoint());
  void* const block = ::CoTaskMemAlloc(sizeof mix);
  if (block == nullptr) return E_OUTOFMEMORY;
  std::memcpy(block, &mix, sizeof mix);
  *format = static_cast<WAVEFORMATEX*>(block);
  return S_OK;
}

HRESULT PulseAudioClient::GetDevicePeriod(REFERENCE_TIME* default_period,
                                          REFERENCE_TIME* minimum_period) {
  if (const HRESULT result = stream_->PollServer(); FAILED(result)) return result;
  if (default_period != nullptr) *default_period = kPeriod;
  if (minimum_period != nullptr) *minimum_period = kPeriod;
  return S_OK;
}

HRESULT PulseAudioClient::Start() {
  if (!IsInitialized()) return AUDCLNT_E_NOT_INITIALIZED;
  if (running_) return AUDCLNT_E_NOT_STOPPED;
  const HRESULT result = stream_->SetCorked(false);
  running_ = SUCCEEDED(result);
  return result;
}

HRESULT PulseAudioClient::Stop() {
  if (!IsInitialized()) return AUDCLNT_E_NOT_INITIALIZED;
  if (!std::exchange(running_, false)) return FAILED(stream_->State()) ? stream_->State() : S_FALSE;
  return stream_->SetCorked(true);
}

HRESULT PulseAudioClient::GetService(REFIID iid, void** service) {
  *service = nullptr;
  if (!IsInitialized()) return AUDCLNT_E_NOT_INITIALIZED;
  if (const HRESULT result = stream_->State(); FAILED(result)) return result;
  if (iid == IID_IAudioCaptureClient)
    return capture_ ? capture_->QueryInterface(iid, service) : AUDCLNT_E_WRONG_ENDPOINT_TYPE;
  if (iid == IID_IAudioRenderClient)
    return render_ ? render_->QueryInterface(iid, service) : AUDCLNT_E_WRONG_ENDPOINT_TYPE;
  return E_NOINTERFACE;
}

}  // namespace

HRESULT OpenAudioClient(const PulseEndpoint& endpoint, IAudioClient** client) {
  return NoThrow([&] {
    auto stream = std::make_shared<PulseStream>();
    const HRESULT result = stream->Open(endpoint);
    if (FAILED(result)) return result;
    *client = MakeCom<PulseAudioClient>(std::move(stream));
    return *client != nullptr ? S_OK : E_OUTOFMEMORY;
  });
}

}  // namespace zevra
