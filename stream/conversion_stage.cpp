#include "stream/conversion_stage.h"

#include "stream/conversion_arithmetic.h"

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
  const HRESULT result = CreateConversionMediaType(format, type);
  return FAILED(result) ? result : (transform->*set_type)(0, type->Get(), 0);
}

}  // namespace

ZevraConversionContext::~ZevraConversionContext() {
  transform.Reset();
  if (media_foundation_started) os::MFShutdown();
}

HRESULT CreateConversionMediaType(const ZevraAudioFormat& format, ComPtr<IMFMediaType>* type) {
  ComPtr<IMFMediaType> made;
  HRESULT result = os::MFCreateMediaType(made.Put());
  if (FAILED(result)) return result;

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
  result = attributes.Result();
  if (SUCCEEDED(result)) *type = std::move(made);
  return result;
}

HRESULT CreateConversionStage(const ZevraAudioFormat& source, const ZevraAudioFormat& target,
                              ComPtr<IMFTransform>* transform) {
  transform->Reset();

  ComPtr<IUnknown> object;
  HRESULT result = os::CoCreateInstance(CLSID_CResamplerMediaObject, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IUnknown, object.PutVoid());
  if (FAILED(result)) return result;

  ComPtr<IMFTransform> resampler;
  result = object->QueryInterface(IID_IMFTransform, resampler.PutVoid());
  if (FAILED(result)) return result;

  ComPtr<IMFMediaType> input_type;
  result = SetTransformType(resampler.Get(), &IMFTransform::SetInputType, source, &input_type);
  if (FAILED(result)) return result;

  ComPtr<IMFMediaType> output_type;
  result = SetTransformType(resampler.Get(), &IMFTransform::SetOutputType, target, &output_type);
  if (FAILED(result)) return result;

  ComPtr<IWMResamplerProps> properties;
  result = object->QueryInterface(IID_IWMResamplerProps, properties.PutVoid());
  if (FAILED(result)) return result;

  result = properties->SetHalfFilterLength(kHalfFilterLength);
  if (FAILED(result)) return result;

  *transform = std::move(resampler);
  return result;
}

HRESULT StartConversion(ZevraConversionContext& context) {
  HRESULT result = os::MFStartup(MF_VERSION, MFSTARTUP_LITE);
  if (FAILED(result)) return result;
  context.media_foundation_started = true;

  result = CreateConversionStage(context.source_format, context.target_format, &context.transform);
  for (const MFT_MESSAGE_TYPE message : kStreamStart) {
    if (FAILED(result)) break;
    result = context.transform->ProcessMessage(message, 0);
  }
  return result;
}

}  // namespace zevra
