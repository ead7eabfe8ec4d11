#include "resampler_driver.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zevra::test {

Format Float(UINT32 rate, UINT32 channels, UINT32 mask) {
  return {.rate = rate, .channels = channels, .mask = mask};
}

Format Pcm(UINT32 bits, UINT32 valid_bits, UINT32 rate, UINT32 channels) {
  return {.is_float = false,
          .rate = rate,
          .channels = channels,
          .bits = bits,
          .valid_bits = valid_bits};
}

ComPtr<IMFMediaType> MediaTypeOf(const Format& format) {
  ComPtr<IMFMediaType> type;
  MFCreateMediaType(type.Put());
  type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
  type->SetGUID(MF_MT_SUBTYPE, format.is_float ? MFAudioFormat_Float : MFAudioFormat_PCM);
  type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, format.channels);
  type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, format.rate);
  type->SetUINT32(MF_MT_AUDIO_BLOCK_ALIGNMENT, format.BlockBytes());
  type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, format.bits);
  if (format.mask != 0) type->SetUINT32(MF_MT_AUDIO_CHANNEL_MASK, format.mask);
  if (format.valid_bits != 0) type->SetUINT32(MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, format.valid_bits);
  return type;
}

Bytes Encode(const std::vector<double>& samples, const Format& format) {
  const std::size_t width = format.bits / 8;
  Bytes bytes(samples.size() * width);
  const UINT32 valid = format.valid_bits != 0 ? format.valid_bits : format.bits;
  const double scale = std::ldexp(1.0, static_cast<int>(valid) - 1);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (format.is_float) {
      const auto value = static_cast<float>(samples[i]);
      std::memcpy(&bytes[i * width], &value, width);
    } else {
      const double rounded = std::clamp(std::nearbyint(samples[i] * scale), -scale, scale - 1);
      auto value = static_cast<std::int64_t>(rounded) * (std::int64_t{1} << (format.bits - valid));
      if (format.bits == 8) value += 128;
      std::memcpy(&bytes[i * width], &value, width);
    }
  }
  return bytes;
}

std::vector<double> Decode(const Bytes& bytes, const Format& format) {
  const std::size_t width = format.bits / 8;
  std::vector<double> samples(bytes.size() / width);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (format.is_float) {
      float value = 0;
      std::memcpy(&value, &bytes[i * width], width);
      samples[i] = static_cast<double>(value);
    } else {
      std::uint32_t value = 0;
      std::memcpy(reinterpret_cast<BYTE*>(&value) + 4 - width, &bytes[i * width], width);
      if (format.bits == 8) value ^= 0x80000000;
      samples[i] = static_cast<std::int32_t>(value) / 2147483648.0;
    }
  }
  return samples;
}

ResamplerDriver::ResamplerDriver(const Format& input, const Format& output)
    : block_bytes_(input.BlockBytes()) {
  const auto step = [this](HRESULT result) {
    if (SUCCEEDED(status_)) status_ = result;
  };
  step(os::CoCreateInstance(CLSID_CResamplerMediaObject, nullptr, CLSCTX_INPROC_SERVER,
                            IID_IMFTransform, transform_.PutVoid()));
  if (!transform_) return;
  step(transform_->SetInputType(0, MediaTypeOf(input).Get(), 0));
  step(transform_->SetOutputType(0, MediaTypeOf(output).Get(), 0));
  ComPtr<IWMResamplerProps> properties;
  step(transform_->QueryInterface(IID_IWMResamplerProps, properties.PutVoid()));
  if (properties) step(properties->SetHalfFilterLength(60));
}

HRESULT ResamplerDriver::Push(const BYTE* data, std::size_t bytes) const {
  ComPtr<IMFSample> sample;
  ComPtr<IMFMediaBuffer> buffer;
  MFCreateMemoryBuffer(static_cast<DWORD>(bytes), buffer.Put());
  BYTE* memory = nullptr;
  buffer->Lock(&memory, nullptr, nullptr);
  if (bytes > 0) std::memcpy(memory, data, bytes);
  buffer->Unlock();
  buffer->SetCurrentLength(static_cast<DWORD>(bytes));
  MFCreateSample(sample.Put());
  sample->AddBuffer(buffer.Get());
  return transform_->ProcessInput(0, sample.Get(), 0);
}

HRESULT ResamplerDriver::Pull(std::size_t capacity, Bytes* output) const {
  ComPtr<IMFSample> sample;
  ComPtr<IMFMediaBuffer> buffer;
  MFCreateSample(sample.Put());
  MFCreateMemoryBuffer(static_cast<DWORD>(capacity), buffer.Put());
  sample->AddBuffer(buffer.Get());
  MFT_OUTPUT_DATA_BUFFER request{0, sample.Get(), 0, nullptr};
  DWORD status = 0;
  const HRESULT result = transform_->ProcessOutput(0, 1, &request, &status);
  if (FAILED(result)) return result;
  BYTE* memory = nullptr;
  DWORD length = 0;
  buffer->Lock(&memory, nullptr, &length);
  output->insert(output->end(), memory, memory + length);
  return result;
}

Bytes ResamplerDriver::Run(const Bytes& input, const std::function<std::size_t()>& packet_frames,
                           std::size_t capacity) const {
  Bytes output;
  for (std::size_t at = 0; at < input.size();) {
    const std::size_t bytes = std::min(packet_frames() * block_bytes_, input.size() - at);
    EXPECT_EQ(Push(&input[at], bytes), S_OK);
    at += bytes;
    HRESULT result = S_OK;
    while (SUCCEEDED(result)) result = Pull(capacity, &output);
    EXPECT_EQ(result, MF_E_TRANSFORM_NEED_MORE_INPUT);
  }
  return output;
}

Bytes ResamplerDriver::Run(const Bytes& input) const {
  return Run(
      input, [] { return std::size_t{480}; }, std::size_t{1} << 20);
}

}  // namespace zevra::test
