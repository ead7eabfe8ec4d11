#ifndef ZEVRA_PLATFORM_LINUX_RESAMPLER_SAMPLES_H
#define ZEVRA_PLATFORM_LINUX_RESAMPLER_SAMPLES_H

#include <cstddef>
#include <cstdint>

#include "platform/linux/resampler/format.h"

// The integer layouts that libswresample does not write or read itself.

namespace zevra {

// Packed 24-bit samples to 32-bit ones with the same upper bits and zero below.
void UnpackPcm24(const BYTE* packed, std::size_t samples, std::int32_t* unpacked);

// Samples, -1.0 to 1.0, to as many integers of `format`: rounded to its valid bits, from halfway to
// the even one, with zero below; limited to full scale. Sample is float or double.
template <class Sample>
void PackPcm(const Sample* samples, std::size_t count, const ResamplerFormat& format, BYTE* packed);

}  // namespace zevra

#endif
