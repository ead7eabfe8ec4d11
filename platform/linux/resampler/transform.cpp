#include <algorithm>
#include <optional>

#include "platform/com_object.h"
#include "platform/linux/com/com.h"
#include "platform/linux/com/media_foundation.h"
#include "platform/linux/resampler/engine.h"
#include "platform/owners.h"

namespace zevra {
namespace {

constexpr LONG kMaxHalfFilterLength = 60;

// The resampler transform. The types may be set in either order and again later, which starts a new
// signal, as does a flush or another filter length. One packet is inside at a time; it is read
// where it lies and converted into the memory of the output samples. One thread at a time.
class Resampler final : public ComObject<IMFTransform, IWMResamplerProps> {
 public:
  HRESULT SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
  HRESULT SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override;
  HRESULT GetInputStatus(DWORD stream, DWORD* flags) override;
  HRESULT ProcessMessage(MFT_MESSAGE_TYPE message, std::uintptr_t parameter) override;
  HRESULT ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override;
  HRESULT ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* samples,
                        DWORD* status) override;
  HRESULT SetHalfFilterLength(LONG length) override;

 private:
  // What is left of the packet inside: a locked buffer, unlocked when the packet goes.
  class Packet {
   public:
    Packet() = default;
    ~Packet() { Drop(); }
    Packet(const Packet&) = delete;
    Packet& operator=(const Packet&) = delete;

    // Takes the bytes of `sample`, which must be whole blocks.
    HRESULT Take(IMFSample* sample, UINT32 block_bytes);
    void Drop();
    void Advance(UINT32 frames);
    const BYTE* Data() const { return data_; }
    UINT32 Frames() const { return frames_; }

   private:
    ComPtr<IMFMediaBuffer> buffer_;
    const BYTE* data_ = nullptr;
    UINT32 frames_ = 0;
    UINT32 block_bytes_ = 0;
  };

  HRESULT SetType(IMFMediaType* type, DWORD flags, std::optional<ResamplerFormat>* side);
  bool TypesSet() const { return input_.has_value() && output_.has_value(); }
  // Makes the engine if there is none.
  HRESULT Prepare();
  // Forgets the signal so far; the next packet begins a new one.
  void Reset();
  HRESULT Write(IMFMediaBuffer* buffer, UINT32* frames);
  HRESULT Fill(BYTE* output, UINT32 most_frames, UINT32* frames);

  std::optional<ResamplerFormat> input_;
  std::optional<ResamplerFormat> output_;
  LONG half_filter_length_ = 30;  // what the component has by default on Windows
  SwrEngine engine_;
  Packet packet_;
  bool fed_ = false;           // the engine has seen frames since it was opened
  bool output_waits_ = false;  // from a packet taken until there is nothing more to write
  bool kept_inside_ = false;   // the engine filled the output, and may hold more
};

}  // namespace

HRESULT Resampler::Packet::Take(IMFSample* sample, UINT32 block_bytes) {
  HRESULT result = sample->ConvertToContiguousBuffer(buffer_.Put());
  if (FAILED(result)) return result;
  BYTE* data = nullptr;
  DWORD bytes = 0;
  result = buffer_->Lock(&data, nullptr, &bytes);
  if (FAILED(result)) {
    buffer_.Reset();
    return result;
  }
  data_ = data;
  frames_ = bytes / block_bytes;
  block_bytes_ = block_bytes;
  if (bytes % block_bytes != 0) {
    Drop();
    return E_INVALIDARG;
  }
  return S_OK;
}

void Resampler::Packet::Drop() {
  if (buffer_) buffer_->Unlock();
  buffer_.Reset();
  data_ = nullptr;
  frames_ = 0;
}

void Resampler::Packet::Advance(UINT32 frames) {
  data_ += std::size_t{frames} * block_bytes_;
  frames_ -= frames;
}

HRESULT Resampler::SetType(IMFMediaType* type, DWORD flags, std::optional<ResamplerFormat>* side) {
  if (flags != 0) return E_INVALIDARG;
  ResamplerFormat format;
  if (const HRESULT result = ReadResamplerFormat(*type, &format); FAILED(result)) return result;
  *side = format;
  Reset();
  engine_.Close();
  return S_OK;
}

HRESULT Resampler::SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) {
  return stream == 0 ? SetType(type, flags, &input_) : MF_E_INVALIDSTREAMNUMBER;
}

HRESULT Resampler::SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) {
  return stream == 0 ? SetType(type, flags, &output_) : MF_E_INVALIDSTREAMNUMBER;
}

HRESULT Resampler::SetHalfFilterLength(LONG length) {
  if (length < 1 || length > kMaxHalfFilterLength) return E_INVALIDARG;
  if (length == half_filter_length_) return S_OK;
  half_filter_length_ = length;
  Reset();
  engine_.Close();
  return S_OK;
}

HRESULT Resampler::Prepare() {
  if (!TypesSet()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  if (engine_.IsOpen()) return S_OK;
  return engine_.Open(*input_, *output_, static_cast<UINT32>(half_filter_length_));
}

void Resampler::Reset() {
  packet_.Drop();
  output_waits_ = false;
  kept_inside_ = false;
  // An engine that is still new has nothing to forget.
  if (fed_) engine_.Close();
  fed_ = false;
}

HRESULT Resampler::ProcessMessage(MFT_MESSAGE_TYPE message, std::uintptr_t) {
  switch (message) {
    case MFT_MESSAGE_COMMAND_FLUSH:
      Reset();
      return S_OK;
    case MFT_MESSAGE_NOTIFY_BEGIN_STREAMING:
      // The filter is worked out here, so that the first packet does not wait for it.
      return Prepare();
    case MFT_MESSAGE_NOTIFY_START_OF_STREAM:
      return TypesSet() ? S_OK : MF_E_TRANSFORM_TYPE_NOT_SET;
  }
  return E_NOTIMPL;
}

HRESULT Resampler::GetInputStatus(DWORD stream, DWORD* flags) {
  *flags = 0;
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  if (!TypesSet()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  *flags = MFT_INPUT_STATUS_ACCEPT_DATA;
  return S_OK;
}

HRESULT Resampler::ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) {
  if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
  if (flags != 0) return E_INVALIDARG;
  if (const HRESULT result = Prepare(); FAILED(result)) return result;
  // New input with output pending means an earlier pull failed. Drop the old packet: refusing would
  // fail every later one.
  packet_.Drop();
  const HRESULT result = packet_.Take(sample, input_->BlockBytes());
  output_waits_ = SUCCEEDED(result) || kept_inside_;
  return result;
}

HRESULT Resampler::ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* samples,
                                 DWORD* status) {
  if (flags != 0 || count != 1 || samples->pSample == nullptr) return E_INVALIDARG;
  if (samples->dwStreamID != 0) return MF_E_INVALIDSTREAMNUMBER;
  samples->dwStatus = 0;
  if (status != nullptr) *status = 0;
  if (!TypesSet()) return MF_E_TRANSFORM_TYPE_NOT_SET;
  if (!output_waits_) return MF_E_TRANSFORM_NEED_MORE_INPUT;
  ComPtr<IMFMediaBuffer> buffer;
  HRESULT result = samples->pSample->ConvertToContiguousBuffer(buffer.Put());
  if (FAILED(result)) return result;
  UINT32 frames = 0;
  result = Write(buffer.Get(), &frames);
  if (FAILED(result)) return result;
  if (frames == 0) return MF_E_TRANSFORM_NEED_MORE_INPUT;
  return buffer->SetCurrentLength(frames * output_->BlockBytes());
}

// Fills the buffer's memory; its length is the caller's to set.
HRESULT Resampler::Write(IMFMediaBuffer* buffer, UINT32* frames) {
  BYTE* data = nullptr;
  DWORD capacity = 0;
  if (const HRESULT result = buffer->Lock(&data, &capacity, nullptr); FAILED(result)) return result;
  const UINT32 most_frames = std::min<UINT32>(capacity / output_->BlockBytes(), INT32_MAX);
  const HRESULT result = most_frames > 0 ? Fill(data, most_frames, frames) : MF_E_BUFFERTOOSMALL;
  const HRESULT unlocked = buffer->Unlock();
  return FAILED(result) ? result : unlocked;
}

HRESULT Resampler::Fill(BYTE* output, UINT32 most_frames, UINT32* frames) {
  *frames = 0;
  while (*frames < most_frames) {
    // What the engine holds goes out before it is fed again, so that it never holds much.
    const UINT32 fed =
        kept_inside_ ? 0 : std::min(packet_.Frames(), engine_.MostInput(most_frames - *frames));
    UINT32 written = 0;
    const HRESULT result =
        engine_.Convert(packet_.Data(), fed, output + std::size_t{*frames} * output_->BlockBytes(),
                        most_frames - *frames, &written);
    if (FAILED(result)) {
      // The packet is lost, the next one begins a new signal.
      Reset();
      return result;
    }
    fed_ = fed_ || fed > 0;
    packet_.Advance(fed);
    kept_inside_ = written == most_frames - *frames;
    *frames += written;
    if (!kept_inside_ && packet_.Frames() == 0) {
      packet_.Drop();
      output_waits_ = false;
      break;
    }
  }
  return S_OK;
}

HRESULT CreateResampler(REFIID iid, void** object) {
  const auto created = ComPtr<Resampler>::Attach(MakeCom<Resampler>());
  return created ? created->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

}  // namespace zevra
