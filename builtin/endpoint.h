#ifndef ZEVRA_BUILTIN_ENDPOINT_H
#define ZEVRA_BUILTIN_ENDPOINT_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "builtin/mixer.h"
#include "builtin/signal.h"
#include "platform/api.h"

namespace zevra::builtin {

// The time that endpoints run on.
class Clock {
 public:
  virtual ~Clock() = default;
  // Time since the clock's start; never goes back. Any thread, no lock, no allocation.
  virtual std::chrono::nanoseconds Now() const = 0;
};

// The system's steady clock, which starts at the call.
std::shared_ptr<const Clock> RealClock();

// Describes an endpoint. Its mix format is float.
struct EndpointConfig {
  // The friendly name in UTF-16; it is passed on unchanged, unpaired surrogates included.
  std::u16string name;
  EDataFlow flow = eRender;
  // Where no endpoint of a flow is marked, the first one is the default.
  bool is_default = false;
  // Frames a second, 1 or more.
  UINT32 rate = 48000;
  // Channels of a frame, 1 or more, and their speakers. With a mask of 0 the mix format is plain
  // WAVE_FORMAT_IEEE_FLOAT instead of an extensible one.
  WORD channels = 2;
  DWORD channel_mask = SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT;
  // Frames of a packet, 1 or more; the device period is as long.
  UINT32 packet_frames = 480;
  // What the endpoint plays by itself. A render endpoint adds what its streams play.
  Signal signal;
  // What the volume control reports. It does not change the samples, because the control of a
  // sound card comes after the point where loopback listens.
  float volume = 1.0F;
};

// The endpoints of libzevra-builtin.so, before its settings file: "Built-in Speakers" (default)
// with a melody, "Built-in Headphones" where nothing plays, "Built-in Microphone" (default) with
// another melody.
std::vector<EndpointConfig> StandardEndpoints();

// One endpoint, shared by its devices and streams. Its time is divided into packets, counted from 0
// at the clock's start. The clock alone decides which packet is running, so endpoints need no
// thread, and streams that only listen share no state that changes. Any thread.
class Endpoint {
 public:
  // std::invalid_argument for a configuration that describes no endpoint.
  Endpoint(EndpointConfig config, std::shared_ptr<const Clock> clock);
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  const EndpointConfig& config() const { return config_; }
  // What the endpoint plays by itself; empty for silence.
  const Waveform& waveform() const { return waveform_; }
  // What the streams of a render endpoint play.
  Mixer& mixer() { return mixer_; }

  // The packet that is running: all before it are complete.
  std::uint64_t CurrentPacket() const;
  // When a packet's first frame sounded, in the clock's time in 100-ns units.
  UINT64 PacketTime(std::uint64_t packet) const;
  // Length of a packet.
  REFERENCE_TIME Period() const;
  // The packets that `frames` need, rounded up.
  std::uint64_t PacketsOf(std::uint64_t frames) const;

 private:
  const EndpointConfig config_;
  const std::shared_ptr<const Clock> clock_;
  const Waveform waveform_;
  Mixer mixer_;
};

// How long a stream keeps packets that nobody reads, at least.
inline constexpr std::chrono::seconds kHistory{2};

}  // namespace zevra::builtin

#endif
