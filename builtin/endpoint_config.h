#ifndef ZEVRA_BUILTIN_ENDPOINT_CONFIG_H
#define ZEVRA_BUILTIN_ENDPOINT_CONFIG_H

#include <string>
#include <vector>

#include "builtin/programme.h"
#include "platform/api.h"

namespace zevra::builtin {

// What an endpoint of the machine is. Its mix format is float.
struct EndpointConfig {
  // The friendly name, UTF-16 as it is, unpaired surrogates included.
  std::u16string name;
  EDataFlow flow = eRender;
  // The first endpoint of a flow stands in where none is marked.
  bool is_default = false;
  // Frames a second, 1 or more.
  UINT32 rate = 48000;
  // Channels of a frame, 1 or more, and their speakers. With a mask of 0 the mix format is plain
  // WAVE_FORMAT_IEEE_FLOAT instead of an extensible one.
  WORD channels = 2;
  DWORD channel_mask = SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT;
  // Frames of a packet, 1 or more; the device period is as long.
  UINT32 packet_frames = 480;
  // What plays there of itself. A render endpoint adds what its streams play.
  Programme programme;
  // What the volume control reports; like a hardware knob behind the tap it changes no sample.
  float volume = 1.0F;
};

// The endpoints of a machine that a person meets: "Built-in Speakers" (default) with a melody,
// "Built-in Headphones" where nothing plays, "Built-in Microphone" (default) with another melody.
std::vector<EndpointConfig> StandardEndpoints();

}  // namespace zevra::builtin

#endif
