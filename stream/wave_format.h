#ifndef ZEVRA_STREAM_WAVE_FORMAT_H
#define ZEVRA_STREAM_WAVE_FORMAT_H

#include <cstdint>

#include "platform/api.h"
#include "zevra/zevra.h"

namespace zevra {

// True if `format` is extensible with IEEE float samples.
bool IsExtensibleFloat(const WAVEFORMATEX& format);

// Describes the packets of a capture stream of `format` in `source`, which keeps the values it has
// where an extensible format is not float. E_UNEXPECTED for a format that is neither float nor
// extensible.
HRESULT FillSourceFormat(const WAVEFORMATEX& format, ZevraAudioFormat& source);

// Changes a float or extensible mix format in place to 16-bit integer samples at its own rate and
// channel count; any other format stays as it is.
void MakeSixteenBit(WAVEFORMATEX& format);

// Bytes of one frame. 16 bits as in the platform's format records, so a format with more wraps.
constexpr std::uint16_t BlockBytes(const ZevraAudioFormat& format) {
  const auto bits = static_cast<std::uint32_t>(format.channels) * format.bits_per_sample;
  return static_cast<std::uint16_t>(bits >> 3);
}

// In 32 bits as in the platform's format records, so a format with more wraps.
constexpr std::uint32_t BytesPerSecond(const ZevraAudioFormat& format) {
  return static_cast<std::uint32_t>(BlockBytes(format)) * format.samples_per_second;
}

// True if OutputCapacity has an answer: no block size or rate is 0, nor what is divided by.
constexpr bool CanConvert(const ZevraAudioFormat& source, const ZevraAudioFormat& target) {
  return BytesPerSecond(source) != 0 && BlockBytes(target) != 0 && target.samples_per_second != 0;
}

// Bytes to offer for the output of a packet of `packet_bytes`: the packet's length in the target
// format, taken up to a whole number of blocks, and 16 blocks more for what the transform has held
// back. Only for formats that CanConvert lets pass. 32 bits: an absurd rate wraps, which offers
// fewer bytes and takes more requests.
constexpr std::uint32_t OutputCapacity(const ZevraAudioFormat& source,
                                       const ZevraAudioFormat& target, std::uint32_t packet_bytes) {
  const std::uint32_t block = BlockBytes(target);
  const std::uint64_t converted =
      static_cast<std::uint64_t>(BytesPerSecond(target)) * packet_bytes / BytesPerSecond(source);
  const auto rounding = static_cast<std::uint32_t>(converted + block - 1);
  return rounding - rounding % block + 16 * block;
}

}  // namespace zevra

#endif
