#ifndef ZEVRA_PLATFORM_LINUX_RESAMPLER_MIX_H
#define ZEVRA_PLATFORM_LINUX_RESAMPLER_MIX_H

#include <array>
#include <cstddef>

#include "platform/api.h"

namespace zevra {

inline constexpr std::size_t kMixChannels = 8;

// The channels of a frame: 1 to 8, and the position of each, in rising bit order, or mask 0 where
// nobody says. A mask has one bit a channel.
struct ChannelLayout {
  UINT32 channels = 0;
  DWORD mask = 0;
};

// gains[output][input]
using MixMatrix = std::array<std::array<double, kMixChannels>, kMixChannels>;

// How a frame of `input` becomes one of `output`; every channel but the low-frequency one finds a
// way. The coefficients are those of ITU-R BS.775, and nothing takes all of them down for the loud
// moment when every channel is at full scale: a programme in the front channels keeps its level,
// and a sum above full scale is the output's to limit. Only a fold to one channel is taken down by
// 3 dB, which makes it the mean of left and right. One channel is mono, whatever it is called.
// Output without positions has those of the input if there are as many channels, else the usual
// ones. Three or more inputs without positions go channel by channel if the output has as many,
// else each into every output, all equally.
MixMatrix BuildMixMatrix(ChannelLayout input, ChannelLayout output);

// True if each of `channels` channels goes to itself alone, unchanged.
bool IsIdentity(const MixMatrix& gains, UINT32 channels);

// Mixes interleaved frames of `inputs` channels into frames of one or two. Neither may overlap the
// other.
void MixFrames(const MixMatrix& gains, const float* input, UINT32 inputs, float* output,
               UINT32 outputs, std::size_t frames);

}  // namespace zevra

#endif
