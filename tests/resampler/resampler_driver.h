#ifndef ZEVRA_TESTS_RESAMPLER_RESAMPLER_DRIVER_H
#define ZEVRA_TESTS_RESAMPLER_RESAMPLER_DRIVER_H

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "platform/api.h"
#include "platform/owners.h"

namespace zevra::test {

using Bytes = std::vector<BYTE>;

// What a media type says; the block alignment follows unless it is given.
struct Format {
  bool is_float = true;
  UINT32 rate = 48'000;
  UINT32 channels = 2;
  UINT32 bits = 32;
  UINT32 valid_bits = 0;
  UINT32 mask = 0;
  std::optional<UINT32> block_bytes{};

  UINT32 BlockBytes() const { return block_bytes.value_or(channels * bits / 8); }
};
Format Float(UINT32 rate, UINT32 channels, UINT32 mask = 0);
Format Pcm(UINT32 bits, UINT32 valid_bits = 0, UINT32 rate = 48'000, UINT32 channels = 2);
ComPtr<IMFMediaType> MediaTypeOf(const Format& format);

// -1.0 to 1.0 from and to the bytes of a format. Encode rounds to the valid bits.
Bytes Encode(const std::vector<double>& samples, const Format& format);
std::vector<double> Decode(const Bytes& bytes, const Format& format);

class ComTest : public testing::Test {
 protected:
  ComTest() { CoInitialize(nullptr); }
  ~ComTest() override { CoUninitialize(); }
};

// The resampler as the conversion stage drives it. COM must be initialised.
class ResamplerDriver {
 public:
  ResamplerDriver(const Format& input, const Format& output);

  IMFTransform* operator->() const { return transform_.Get(); }
  // The code of the first call of the set-up that failed, or S_OK.
  HRESULT Status() const { return status_; }

  HRESULT Push(const BYTE* data, std::size_t bytes) const;
  // One request with room for `capacity` bytes; what came is appended to `*output`.
  HRESULT Pull(std::size_t capacity, Bytes* output) const;
  // Pushes `input` in packets of as many frames as `packet_frames` says each time, and pulls each
  // empty with requests of `capacity` bytes.
  Bytes Run(const Bytes& input, const std::function<std::size_t()>& packet_frames,
            std::size_t capacity) const;
  Bytes Run(const Bytes& input) const;

 private:
  ComPtr<IMFTransform> transform_;
  UINT32 block_bytes_;
  HRESULT status_ = S_OK;
};

}  // namespace zevra::test

#endif
