#ifndef ZEVRA_TESTS_RESAMPLER_RESAMPLER_DRIVER_H
#define ZEVRA_TESTS_RESAMPLER_RESAMPLER_DRIVER_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <vector>

#include "pulse/sine_fit.h"
#include "stream/conversion.h"
#include "stream/wave_format.h"

namespace zevra::test {

using Bytes = std::vector<BYTE>;
using Format = ZevraAudioFormat;

inline Format Float(UINT32 rate, std::uint16_t channels, UINT32 mask = 0) {
  return {ZEVRA_SAMPLE_FLOAT, channels, 32, rate, mask, 32, 0};
}
inline Format Pcm(std::uint16_t bits, std::uint16_t valid_bits = 0, UINT32 rate = 48'000,
                  std::uint16_t channels = 2) {
  return {ZEVRA_SAMPLE_PCM, channels, bits, rate, 0, valid_bits, 0};
}

// -1.0 to 1.0 from and to the bytes of a format. Encode rounds to the valid bits.
inline Bytes Encode(const std::vector<double>& samples, const Format& format) {
  const std::size_t width = format.bits_per_sample / 8;
  Bytes bytes(samples.size() * width);
  const int valid =
      format.valid_bits_per_sample != 0 ? format.valid_bits_per_sample : format.bits_per_sample;
  const double scale = std::ldexp(1.0, valid - 1);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto as_float = static_cast<float>(samples[i]);
    const double rounded = std::clamp(std::nearbyint(samples[i] * scale), -scale, scale - 1);
    auto value = static_cast<std::int64_t>(std::ldexp(rounded, format.bits_per_sample - valid));
    if (format.bits_per_sample == 8) value += 128;
    std::memcpy(&bytes[i * width],
                format.sample_kind == 0 ? static_cast<const void*>(&value) : &as_float, width);
  }
  return bytes;
}
inline std::vector<double> Decode(const Bytes& bytes, const Format& format) {
  const std::size_t width = format.bits_per_sample / 8;
  std::vector<double> samples(bytes.size() / width);
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = DecodeSample(&bytes[i * width], format);
  return samples;
}

struct ComTest : testing::Test {
  ComTest() { CoInitialize(nullptr); }
  ~ComTest() override { CoUninitialize(); }
};

// The resampler in the hands of a conversion, with packets and requests of any size. COM must be
// initialised.
class ResamplerDriver {
 public:
  ResamplerDriver(const Format& input, const Format& output) {
    context_.source_format = input;
    context_.target_format = output;
    // NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer): the formats come first
    status_ = StartConversion(context_);
  }
  HRESULT Status() const { return status_; }
  IMFTransform* operator->() const { return context_.transform.Get(); }

  HRESULT Push(const BYTE* data, std::size_t bytes) const {
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
    return context_.transform->ProcessInput(0, sample.Get(), 0);
  }
  // One request for at most `capacity` bytes; what came is appended to `*output`.
  HRESULT Pull(std::size_t capacity, Bytes* output) {
    ZevraConvertedBuffer pulled{static_cast<std::uint32_t>(capacity), {}};
    const HRESULT result = PullConvertedBuffer(context_, pulled);
    output->insert(output->end(), pulled.data.get(), pulled.data.get() + pulled.length);
    return result;
  }
  // Pushes `input` in packets of as many frames as `packet_frames` says each time, and pulls each
  // empty with requests of `capacity` bytes.
  Bytes Run(
      const Bytes& input, const std::function<std::size_t()>& packet_frames = [] { return 480; },
      std::size_t capacity = std::size_t{1} << 20) {
    Bytes output;
    for (std::size_t at = 0, bytes = 0; at < input.size(); at += bytes) {
      bytes = std::min(packet_frames() * BlockBytes(context_.source_format), input.size() - at);
      EXPECT_EQ(Push(&input[at], bytes), S_OK);
      HRESULT result = S_OK;
      while (SUCCEEDED(result)) result = Pull(capacity, &output);
      EXPECT_EQ(result, MF_E_TRANSFORM_NEED_MORE_INPUT);
    }
    return output;
  }

 private:
  ZevraConversionContext context_;
  HRESULT status_ = S_OK;
};

// What becomes of `samples`, from the first to the last.
inline std::vector<double> Converted(const std::vector<double>& samples, const Format& input,
                                     const Format& output) {
  return Decode(ResamplerDriver(input, output).Run(Encode(samples, input)), output);
}

}  // namespace zevra::test

#endif
