#include "stream/conversion.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <utility>

#include "platform/result.h"
#include "stream/wave_format.h"

namespace zevra {
namespace {

// Wing of the resampler's filter on either side, in samples: the longest that it knows.
constexpr LONG kHalfFilterLength = 60;

constexpr MFT_MESSAGE_TYPE kStreamStart[] = {
    MFT_MESSAGE_COMMAND_FLUSH,
    MFT_MESSAGE_NOTIFY_BEGIN_STREAMING,
    MFT_MESSAGE_NOTIFY_START_OF_STREAM,
};

// Sets attributes until the first one that fails.
class AttributeWriter {
 public:
  explicit AttributeWriter(IMFMediaType* type) : type_(type) {}

  AttributeWriter& Guid(REFGUID key, REFGUID value) {
    if (SUCCEEDED(result_)) result_ = type_->SetGUID(key, value);
    return *this;
  }
  AttributeWriter& Number(REFGUID key, UINT32 value) {
    if (SUCCEEDED(result_)) result_ = type_->SetUINT32(key, value);
    return *this;
  }
  HRESULT Result() const { return result_; }

 private:
  IMFMediaType* type_;
  HRESULT result_ = S_OK;
};

using SetType = HRESULT (IMFTransform::*)(DWORD stream, IMFMediaType* type, DWORD flags);

HRESULT SetTransformType(IMFTransform* transform, SetType set_type, const ZevraAudioFormat& format,
                         ComPtr<IMFMediaType>* type) {
  ZEVRA_RETURN_IF_FAILED(CreateConversionMediaType(format, type));
  return (transform->*set_type)(0, type->Get(), 0);
}

// A block of at least `bytes` bytes, contents not set; null if there is no memory.
ConvertedBlock NewBlock(ZevraConversionContext& context, std::size_t bytes) {
  for (SpareBlock& spare : context.spares)
    if (spare.capacity_bytes >= bytes)
      return {spare.bytes.release(), {&context, std::exchange(spare.capacity_bytes, 0)}};
  // Powers of two, so that packets of varying length share blocks.
  const std::size_t capacity = std::bit_ceil(std::max<std::size_t>(bytes, 256));
  return {new (std::nothrow) std::uint8_t[capacity], {&context, capacity}};
}

// A media buffer's bytes while they are locked.
class LockedBuffer {
 public:
  explicit LockedBuffer(IMFMediaBuffer* buffer)
      : buffer_(buffer),
        result_(buffer->Lock(&data_, nullptr, nullptr)),
        locked_(SUCCEEDED(result_)) {}
  ~LockedBuffer() {
    if (locked_) buffer_->Unlock();
  }
  LockedBuffer(const LockedBuffer&) = delete;
  LockedBuffer& operator=(const LockedBuffer&) = delete;

  HRESULT Result() const { return result_; }
  BYTE* Data() const { return data_; }
  // For callers to whom the result of the unlock matters.
  HRESULT Unlock() {
    locked_ = false;
    return buffer_->Unlock();
  }

 private:
  IMFMediaBuffer* buffer_;
  BYTE* data_ = nullptr;
  HRESULT result_;
  bool locked_;
};

// The packet lies in memory that goes back to the stream; the transform may keep its input longer.
HRESULT CopyIntoSample(const std::uint8_t* packet, std::uint32_t bytes, ComPtr<IMFSample>* sample) {
  ComPtr<IMFMediaBuffer> buffer;
  ZEVRA_RETURN_IF_FAILED(os::MFCreateMemoryBuffer(bytes, buffer.Put()));

  LockedBuffer locked(buffer.Get());
  ZEVRA_RETURN_IF_FAILED(locked.Result());
  if (bytes != 0) std::memcpy(locked.Data(), packet, bytes);
  ZEVRA_RETURN_IF_FAILED(locked.Unlock());

  ZEVRA_RETURN_IF_FAILED(buffer->SetCurrentLength(bytes));
  ZEVRA_RETURN_IF_FAILED(os::MFCreateSample(sample->Put()));
  return (*sample)->AddBuffer(buffer.Get());
}

// Puts `pulled` behind what `result` holds already.
HRESULT Append(ZevraConversionContext& context, ZevraConvertedBuffer& result,
               ZevraConvertedBuffer pulled) {
  if (result.length == 0) {
    result = std::move(pulled);
    return S_OK;
  }
  if (pulled.length == 0) return S_OK;
  ConvertedBlock joined = NewBlock(context, result.length + pulled.length);
  if (joined == nullptr) return E_OUTOFMEMORY;
  std::memcpy(joined.get(), result.data.get(), result.length);
  std::memcpy(joined.get() + result.length, pulled.data.get(), pulled.length);
  result.data = std::move(joined);
  result.length += pulled.length;
  return S_OK;
}

HRESULT PullAll(ZevraConversionContext& context, std::uint32_t capacity_bytes,
                ZevraConvertedBuffer& result) {
  for (;;) {
    ZevraConvertedBuffer pulled{capacity_bytes, {}};
    HRESULT pull_result = PullConvertedBuffer(context, pulled);
    if (pull_result == MF_E_TRANSFORM_NEED_MORE_INPUT) return S_OK;
    if (SUCCEEDED(pull_result)) pull_result = Append(context, result, std::move(pulled));
    if (FAILED(pull_result)) return pull_result;
  }
}

// Copies the bytes of `buffer` into a block of the library's own.
HRESULT CopyOut(ZevraConversionContext& context, IMFMediaBuffer* buffer,
                ZevraConvertedBuffer& pulled) {
  DWORD length = 0;
  ZEVRA_RETURN_IF_FAILED(buffer->GetCurrentLength(&length));
  if (length == 0) return S_OK;

  LockedBuffer locked(buffer);
  ZEVRA_RETURN_IF_FAILED(locked.Result());
  pulled.data = NewBlock(context, length);
  if (pulled.data == nullptr) return E_OUTOFMEMORY;
  std::memcpy(pulled.data.get(), locked.Data(), length);
  pulled.length = length;
  context.frames_out += length / BlockBytes(context.target_format);
  return locked.Unlock();
}

}  // namespace

void BlockRecycler::operator()(std::uint8_t* bytes) const noexcept {
  SpareBlock freed{capacity_bytes, std::unique_ptr<std::uint8_t[]>(bytes)};
  // The smallest goes back to the heap.
  for (SpareBlock& spare : context->spares)
    if (spare.capacity_bytes < freed.capacity_bytes) std::swap(spare, freed);
}

ZevraConversionContext::~ZevraConversionContext() {
  transform.Reset();
  if (media_foundation_started) os::MFShutdown();
}

HRESULT CreateConversionMediaType(const ZevraAudioFormat& format, ComPtr<IMFMediaType>* type) {
  ComPtr<IMFMediaType> made;
  ZEVRA_RETURN_IF_FAILED(os::MFCreateMediaType(made.Put()));

  AttributeWriter attributes(made.Get());
  attributes.Guid(MF_MT_MAJOR_TYPE, MFMediaType_Audio)
      .Guid(MF_MT_SUBTYPE, format.sample_kind == 0 ? MFAudioFormat_PCM : MFAudioFormat_Float)
      .Number(MF_MT_AUDIO_NUM_CHANNELS, format.channels)
      .Number(MF_MT_AUDIO_SAMPLES_PER_SECOND, format.samples_per_second)
      .Number(MF_MT_AUDIO_BLOCK_ALIGNMENT, BlockBytes(format))
      .Number(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, BytesPerSecond(format))
      .Number(MF_MT_AUDIO_BITS_PER_SAMPLE, format.bits_per_sample)
      .Number(MF_MT_ALL_SAMPLES_INDEPENDENT, 1);
  if (format.channel_mask != 0) attributes.Number(MF_MT_AUDIO_CHANNEL_MASK, format.channel_mask);
  if (format.valid_bits_per_sample != format.bits_per_sample)
    attributes.Number(MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, format.valid_bits_per_sample);
  ZEVRA_RETURN_IF_FAILED(attributes.Result());
  *type = std::move(made);
  return S_OK;
}

HRESULT CreateConversionStage(const ZevraAudioFormat& source, const ZevraAudioFormat& target,
                              ComPtr<IMFTransform>* transform) {
  transform->Reset();

  ComPtr<IUnknown> object;
  ZEVRA_RETURN_IF_FAILED(os::CoCreateInstance(
      CLSID_CResamplerMediaObject, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.PutVoid()));

  ComPtr<IMFTransform> resampler;
  ZEVRA_RETURN_IF_FAILED(object->QueryInterface(IID_IMFTransform, resampler.PutVoid()));

  ComPtr<IMFMediaType> input_type;
  ZEVRA_RETURN_IF_FAILED(
      SetTransformType(resampler.Get(), &IMFTransform::SetInputType, source, &input_type));

  ComPtr<IMFMediaType> output_type;
  ZEVRA_RETURN_IF_FAILED(
      SetTransformType(resampler.Get(), &IMFTransform::SetOutputType, target, &output_type));

  ComPtr<IWMResamplerProps> properties;
  ZEVRA_RETURN_IF_FAILED(object->QueryInterface(IID_IWMResamplerProps, properties.PutVoid()));

  ZEVRA_RETURN_IF_FAILED(properties->SetHalfFilterLength(kHalfFilterLength));

  *transform = std::move(resampler);
  return S_OK;
}

HRESULT StartConversion(ZevraConversionContext& context) {
  ZEVRA_RETURN_IF_FAILED(os::MFStartup(MF_VERSION, MFSTARTUP_LITE));
  context.media_foundation_started = true;

  ZEVRA_RETURN_IF_FAILED(
      CreateConversionStage(context.source_format, context.target_format, &context.transform));
  for (const MFT_MESSAGE_TYPE message : kStreamStart)
    ZEVRA_RETURN_IF_FAILED(context.transform->ProcessMessage(message, 0));
  return S_OK;
}

HRESULT ConvertBuffer(ZevraConversionContext& context, const std::uint8_t* packet,
                      std::uint32_t bytes, ZevraConvertedBuffer& result) {
  if (!context.transform) return E_UNEXPECTED;
  if (!CanConvert(context.source_format, context.target_format)) return E_INVALIDARG;
  const std::uint32_t capacity_bytes =
      OutputCapacity(context.source_format, context.target_format, bytes);

  ComPtr<IMFSample> sample;
  ZEVRA_RETURN_IF_FAILED(CopyIntoSample(packet, bytes, &sample));
  context.frames_in += bytes / BlockBytes(context.source_format);

  DWORD status = 0;
  if (FAILED(context.transform->GetInputStatus(0, &status)) ||
      status != MFT_INPUT_STATUS_ACCEPT_DATA)
    return E_FAIL;
  ZEVRA_RETURN_IF_FAILED(context.transform->ProcessInput(0, sample.Get(), 0));

  result.Clear();
  return PullAll(context, capacity_bytes, result);
}

HRESULT PullConvertedBuffer(ZevraConversionContext& context, ZevraConvertedBuffer& pulled) {
  const std::uint32_t capacity_bytes = pulled.length;
  pulled.Clear();

  ComPtr<IMFSample> sample;
  ZEVRA_RETURN_IF_FAILED(os::MFCreateSample(sample.Put()));
  ComPtr<IMFMediaBuffer> buffer;
  ZEVRA_RETURN_IF_FAILED(os::MFCreateMemoryBuffer(capacity_bytes, buffer.Put()));
  ZEVRA_RETURN_IF_FAILED(sample->AddBuffer(buffer.Get()));

  MFT_OUTPUT_DATA_BUFFER output{0, sample.Get(), 0, nullptr};
  DWORD status = 0;
  ZEVRA_RETURN_IF_FAILED(context.transform->ProcessOutput(0, 1, &output, &status));

  ComPtr<IMFMediaBuffer> contiguous;
  ZEVRA_RETURN_IF_FAILED(sample->ConvertToContiguousBuffer(contiguous.Put()));
  return CopyOut(context, contiguous.Get(), pulled);
}

}  // namespace zevra
