#include "platform/linux/resampler/samples.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

#include "platform/linux/resampler/mix.h"
#include "platform/linux/speakers.h"

namespace zevra {
namespace {

constexpr UINT32 kMinRate = 4'000;
constexpr UINT32 kMaxRate = 384'000;

// What the attribute holds, or `absent` where it is not set.
UINT32 NumberOr(IMFMediaType& type, REFGUID key, UINT32 absent) {
  UINT32 value = 0;
  return SUCCEEDED(type.GetUINT32(key, &value)) ? value : absent;
}

bool HasGuid(IMFMediaType& type, REFGUID key, REFGUID expected) {
  GUID value{};
  return SUCCEEDED(type.GetGUID(key, &value)) && value == expected;
}

bool ReadSampleWidth(IMFMediaType& type, ResamplerFormat* format) {
  format->is_float = HasGuid(type, MF_MT_SUBTYPE, MFAudioFormat_Float);
  if (!format->is_float && !HasGuid(type, MF_MT_SUBTYPE, MFAudioFormat_PCM)) return false;
  format->bits = NumberOr(type, MF_MT_AUDIO_BITS_PER_SAMPLE, 0);
  const bool known = format->is_float
                         ? format->bits == 32
                         : format->bits >= 8 && format->bits <= 32 && format->bits % 8 == 0;
  if (!known) return false;
  format->valid_bits = NumberOr(type, MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, 0);
  if (format->valid_bits == 0) format->valid_bits = format->bits;
  return format->valid_bits <= format->bits &&
         (!format->is_float || format->valid_bits == format->bits);
}

bool ReadChannels(IMFMediaType& type, ResamplerFormat* format) {
  format->channels = NumberOr(type, MF_MT_AUDIO_NUM_CHANNELS, 0);
  if (format->channels < 1 || format->channels > kMixChannels) return false;
  format->channel_mask = NumberOr(type, MF_MT_AUDIO_CHANNEL_MASK, 0);
  if (format->channel_mask == 0) return true;
  return (format->channel_mask & ~kAllSpeakers) == 0 &&
         static_cast<UINT32>(std::popcount(format->channel_mask)) == format->channels;
}

static_assert(std::endian::native == std::endian::little, "samples are stored as they stand");

// One step of the valid bits, and where they stand in the container.
struct Quantizer {
  explicit Quantizer(const ResamplerFormat& format)
      : scale(static_cast<double>(std::int64_t{1} << (format.valid_bits - 1))),
        shift(format.bits - format.valid_bits) {}

  std::uint32_t operator()(double sample) const {
    // 1.5 * 2^52: adding it leaves the nearest integer in the low bits of the sum. Unlike lrint
    // this becomes vector code.
    constexpr double kRounder = 6755399441055744.0;
    double value = sample * scale;
    // Written so that a NaN ends at the lower limit.
    value = value > -scale ? value : -scale;
    value = value < scale - 1 ? value : scale - 1;
    return static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value + kRounder)) << shift;
  }

  double scale;
  std::uint32_t shift;
};

// Samples that are rounded in one go; a fixed count becomes vector code at every level of
// optimisation.
constexpr std::size_t kRun = 64;
using Integers = std::array<std::uint32_t, kRun>;

// Any number of integers, one by one. The last one must not write past its end.
template <std::size_t kBytes>
void Store(const Integers& integers, std::size_t count, BYTE* packed) {
  // 8-bit samples are unsigned: silence is 128.
  constexpr std::uint32_t kOffset = kBytes == 1 ? 0x80 : 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t value = integers[i] + kOffset;
    std::memcpy(packed + kBytes * i, &value, kBytes);
  }
}

// A whole run of 24-bit integers in pairs of six bytes. Each is written as eight, of which the next
// pair overwrites the last two.
void StoreRun24(const Integers& integers, BYTE* packed) {
  constexpr std::uint64_t kFirst = 0xFFFFFF;
  auto pairs = std::bit_cast<std::array<std::uint64_t, kRun / 2>>(integers);
  for (std::uint64_t& pair : pairs) pair = (pair & kFirst) | (pair >> 8 & kFirst << 24);
  const std::uint64_t last = pairs.back();
  for (std::size_t i = 0; i + 1 < pairs.size(); ++i) std::memcpy(packed + 6 * i, &pairs[i], 8);
  std::memcpy(packed + 6 * (pairs.size() - 1), &last, 6);
}

template <std::size_t kBytes, class Sample>
void Pack(const Sample* samples, std::size_t count, const Quantizer quantize, BYTE* packed) {
  Integers integers;
  for (; count >= kRun; count -= kRun, samples += kRun, packed += kBytes * kRun) {
    for (std::size_t i = 0; i < kRun; ++i) integers[i] = quantize(static_cast<double>(samples[i]));
    if constexpr (kBytes == 3)
      StoreRun24(integers, packed);
    else
      Store<kBytes>(integers, kRun, packed);
  }
  for (std::size_t i = 0; i < count; ++i) integers[i] = quantize(static_cast<double>(samples[i]));
  Store<kBytes>(integers, count, packed);
}

}  // namespace

HRESULT ReadResamplerFormat(IMFMediaType& type, ResamplerFormat* format) {
  ResamplerFormat read;
  if (!HasGuid(type, MF_MT_MAJOR_TYPE, MFMediaType_Audio)) return MF_E_INVALIDMEDIATYPE;
  if (!ReadSampleWidth(type, &read) || !ReadChannels(type, &read)) return MF_E_INVALIDMEDIATYPE;
  read.samples_per_second = NumberOr(type, MF_MT_AUDIO_SAMPLES_PER_SECOND, 0);
  if (read.samples_per_second < kMinRate || read.samples_per_second > kMaxRate)
    return MF_E_INVALIDMEDIATYPE;
  // The average rate only restates the others, so it is not looked at; a wrong block size would
  // put every frame behind the first in a wrong place.
  if (NumberOr(type, MF_MT_AUDIO_BLOCK_ALIGNMENT, 0) != read.BlockBytes())
    return MF_E_INVALIDMEDIATYPE;
  *format = read;
  return S_OK;
}

bool IsWild(const float* samples, std::size_t count) {
  // The highest bit of the exponent is set from 2.0 on, and in what is not finite.
  constexpr std::uint32_t kTwoOrMore = 0x40000000;
  using Lanes [[gnu::vector_size(16)]] = std::uint32_t;
  constexpr std::size_t kStep = 4 * sizeof(Lanes) / sizeof(float);
  Lanes a{}, b{}, c{}, d{};
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    Lanes run[4];
    std::memcpy(run, samples + i, sizeof run);
    a |= run[0], b |= run[1], c |= run[2], d |= run[3];
  }
  a |= b | c | d;
  std::uint32_t bits = a[0] | a[1] | a[2] | a[3];
  for (; i < count; ++i) bits |= std::bit_cast<std::uint32_t>(samples[i]);
  return (bits & kTwoOrMore) != 0;
}

void Tame(const float* samples, std::size_t count, float* tamed) {
  static constexpr float kLoudest = 16;
  std::transform(samples, samples + count, tamed, [](float sample) {
    return std::isfinite(sample) ? std::clamp(sample, -kLoudest, kLoudest) : 0;
  });
}

void UnpackPcm24(const BYTE* packed, std::size_t samples, std::int32_t* unpacked) {
  for (std::size_t sample = 0; sample < samples; ++sample, packed += 3) {
    const std::uint32_t value = std::uint32_t{packed[0]} << 8 | std::uint32_t{packed[1]} << 16 |
                                std::uint32_t{packed[2]} << 24;
    unpacked[sample] = static_cast<std::int32_t>(value);
  }
}

template <class Sample>
void PackPcm(const Sample* samples, std::size_t count, const ResamplerFormat& format,
             BYTE* packed) {
  const Quantizer quantize(format);
  switch (format.bits) {
    case 8:
      return Pack<1>(samples, count, quantize, packed);
    case 16:
      return Pack<2>(samples, count, quantize, packed);
    case 24:
      return Pack<3>(samples, count, quantize, packed);
    default:
      return Pack<4>(samples, count, quantize, packed);
  }
}

template void PackPcm(const float*, std::size_t, const ResamplerFormat&, BYTE*);
template void PackPcm(const double*, std::size_t, const ResamplerFormat&, BYTE*);

}  // namespace zevra
