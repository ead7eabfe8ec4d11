#include "platform/linux/sample_packing.h"

#include <bit>
#include <cstring>

namespace zevra::platform {
namespace {

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

template <std::size_t kBytes, class Sample>
void PackPlane(const Sample* plane, std::size_t frames, const ResamplerFormat& format,
               BYTE* packed) {
  const Quantizer quantize(format);
  const std::size_t step = format.BlockBytes();
  // 8-bit samples are unsigned: silence is 128.
  constexpr std::uint32_t kOffset = kBytes == 1 ? 0x80 : 0;
  for (std::size_t frame = 0; frame < frames; ++frame, packed += step) {
    const std::uint32_t value = quantize(static_cast<double>(plane[frame])) + kOffset;
    std::memcpy(packed, &value, kBytes);
  }
}

}  // namespace

void UnpackPcm24(const BYTE* packed, std::size_t samples, std::int32_t* unpacked) {
  for (std::size_t sample = 0; sample < samples; ++sample, packed += 3) {
    const std::uint32_t value = std::uint32_t{packed[0]} << 8 | std::uint32_t{packed[1]} << 16 |
                                std::uint32_t{packed[2]} << 24;
    unpacked[sample] = static_cast<std::int32_t>(value);
  }
}

template <class Sample>
void PackPcm(const Sample* const* planes, std::size_t frames, const ResamplerFormat& format,
             BYTE* packed) {
  for (UINT32 channel = 0; channel < format.channels; ++channel) {
    BYTE* const first = packed + channel * format.bits / 8;
    switch (format.bits) {
      case 8:
        PackPlane<1>(planes[channel], frames, format, first);
        break;
      case 16:
        PackPlane<2>(planes[channel], frames, format, first);
        break;
      case 24:
        PackPlane<3>(planes[channel], frames, format, first);
        break;
      default:
        PackPlane<4>(planes[channel], frames, format, first);
        break;
    }
  }
}

template void PackPcm(const float* const*, std::size_t, const ResamplerFormat&, BYTE*);
template void PackPcm(const double* const*, std::size_t, const ResamplerFormat&, BYTE*);

}  // namespace zevra::platform
