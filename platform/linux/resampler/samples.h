#ifndef ZEVRA_PLATFORM_LINUX_RESAMPLER_SAMPLES_H
#define ZEVRA_PLATFORM_LINUX_RESAMPLER_SAMPLES_H

#include <cstddef>
#include <cstdint>

#include "platform/api.h"

// Formats of the resampler, and the integer layouts that libswresample does not write or read
// itself.

namespace zevra {

// One side of the resampler: interleaved frames. Integer samples are little-endian, unsigned with 8
// bits and signed above; their valid bits are the upper ones. Float samples have 32 bits and a full
// scale of -1.0 to 1.0.
struct ResamplerFormat {
  bool is_float = false;
  UINT32 samples_per_second = 0;  // 4,000 to 384,000
  UINT32 channels = 0;            // 1 to 8
  DWORD channel_mask = 0;         // one bit a channel, or 0 where nobody says
  UINT32 bits = 0;                // of the container: 8, 16, 24 or 32
  UINT32 valid_bits = 0;          // 1 to `bits`

  UINT32 BlockBytes() const { return channels * bits / 8; }
};

// Reads what `type` describes. MF_E_INVALIDMEDIATYPE for anything that the resampler does not take;
// `*format` is then left as it was. A type without valid bits, or with 0, uses all bits.
HRESULT ReadResamplerFormat(IMFMediaType& type, ResamplerFormat* format);

// True if a sample is no finite number, or twice full scale or more: rarely, and then Tame has to
// see to the samples before they are converted.
bool IsWild(const float* samples, std::size_t count);

// Copies samples. What is not finite becomes 0. What is 24 dB above full scale or more is limited
// to that: loud enough to end at full scale in every integer format, and too little to make a
// filter ring long or an integer overflow.
void Tame(const float* samples, std::size_t count, float* tamed);

// Packed 24-bit samples to 32-bit ones with the same upper bits and zero below.
void UnpackPcm24(const BYTE* packed, std::size_t samples, std::int32_t* unpacked);

// Samples, -1.0 to 1.0, to as many integers of `format`: rounded to its valid bits, from halfway to
// the even one, with zero below; limited to full scale. Sample is float or double.
template <class Sample>
void PackPcm(const Sample* samples, std::size_t count, const ResamplerFormat& format, BYTE* packed);

}  // namespace zevra

#endif
