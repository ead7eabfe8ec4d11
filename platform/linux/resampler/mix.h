#ifndef ZEVRA_PLATFORM_LINUX_RESAMPLER_MIX_H
#define ZEVRA_PLATFORM_LINUX_RESAMPLER_MIX_H

#include <array>
#include <cstddef>

#include "platform/api.h"

namespace zevra {

inline constexpr std::size_t kMixChannels = 8;

// gains[output][input], channels in rising bit order of their masks.
using MixMatrix = std::array<std::array<double, kMixChannels>, kMixChannels>;

// How a frame with the positions of `input_mask` becomes one with those of `output_mask`; both have
// 1 to 8 bits. The coefficients are those of ITU-R BS.775: a position that the output lacks goes to
// its neighbours at -3 dB, the low-frequency channel to nobody. All gains are scaled down together
// until no output can exceed full scale. False if an input position has nowhere to go.
bool BuildMixMatrix(DWORD input_mask, DWORD output_mask, MixMatrix* gains);

}  // namespace zevra

#endif
