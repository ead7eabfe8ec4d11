#ifndef ZEVRA_PLATFORM_LINUX_PULSE_FORMAT_H
#define ZEVRA_PLATFORM_LINUX_PULSE_FORMAT_H

#include <pulse/channelmap.h>
#include <pulse/sample.h>

#include <optional>

#include "platform/linux/com/core_audio.h"
#include "platform/linux/pulse/endpoints/endpoints.h"

// Formats of the audio client in the server's terms and back. Frames are interleaved, channels in
// the rising bit order of the channel mask; the server brings its own order into that one.

namespace zevra {

// A stream as it is asked of the server.
struct PulseFormat {
  pa_sample_spec sample_spec{};
  pa_channel_map channel_map{};
};

// The endpoint's mix format: float samples in -1..1, 32 bits, at the endpoint's rate, with its
// channels and their mask. Channels that have no place in a mask are delivered in the endpoint's
// own order under mask 0. An endpoint of more than 8 channels is offered as 7.1, to which
// the server folds it; if none of them has a place in a mask, it is offered as its first 8.
WAVEFORMATEXTENSIBLE MixFormat(const PulseEndpoint& endpoint);

// What `format` asks for, if a shared stream on the endpoint takes it: the mix format, or the same
// with signed samples of 16 bits.
std::optional<PulseFormat> StreamFormat(const WAVEFORMATEX& format, const PulseEndpoint& endpoint);

}  // namespace zevra

#endif
