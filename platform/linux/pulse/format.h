#ifndef ZEVRA_PLATFORM_LINUX_PULSE_FORMAT_H
#define ZEVRA_PLATFORM_LINUX_PULSE_FORMAT_H

#include <pulse/channelmap.h>
#include <pulse/sample.h>

#include <optional>

#include "platform/linux/core_audio.h"
#include "platform/linux/pulse/endpoints.h"

// Formats of the audio client in the server's terms and back. Frames are interleaved, channels in
// the rising bit order of the channel mask; the server brings its own order into that one.

namespace zevra {

// The most channels that a stream carries.
inline constexpr unsigned kMaxStreamChannels = 8;

// A stream as it is asked of the server.
struct PulseFormat {
  pa_sample_spec sample_spec{};
  pa_channel_map channel_map{};
};

// Speaker bits of a channel map, or 0 where it has none: a position without a bit of its own, or
// one that occurs twice. A single channel of no position is the centre.
DWORD ChannelMask(const pa_channel_map& map);

// The endpoint's mix format: float samples in -1..1, 32 bits, at the endpoint's rate, with its
// channels and their mask. Channels that have no place in a mask are delivered in the endpoint's
// own order under mask 0. An endpoint of more than kMaxStreamChannels is offered as 7.1, to which
// the server folds it.
WAVEFORMATEXTENSIBLE MixFormat(const PulseEndpoint& endpoint);

// What `format` asks for, if a shared stream on the endpoint takes it: float 32, or signed PCM of
// 16, 24 packed or 32 bits, plain or extensible, at the rate and channel count of the mix format.
// A mask must name as many speakers as there are channels; without one the channels are the mix
// format's.
std::optional<PulseFormat> StreamFormat(const WAVEFORMATEX& format, const PulseEndpoint& endpoint);

}  // namespace zevra

#endif
