#ifndef ZEVRA_BUILTIN_SIGNAL_H
#define ZEVRA_BUILTIN_SIGNAL_H

#include <cstdint>
#include <functional>
#include <vector>

namespace zevra::builtin {

// Sound that repeats for ever: interleaved float frames, full scale at -1.0 and 1.0. A single
// channel is heard on every channel of the endpoint. No samples mean silence.
struct Waveform {
  std::vector<float> samples;
  std::uint32_t channels = 1;

  // Writes `frames` interleaved frames of `out_channels` channels, beginning with frame
  // `first_frame` since the clock's start. `out_channels` equals `channels`, or is any number for a
  // waveform of one channel. The waveform is not empty. No allocation.
  void Play(std::uint64_t first_frame, std::uint32_t frames, std::uint32_t out_channels,
            float* out) const;
};

// What an endpoint plays by itself. It is called once, when the endpoint is made, with the
// endpoint's rate in frames a second. Null means silence.
using Signal = std::function<Waveform(std::uint32_t rate)>;

enum class Tune { kOdeToJoy, kFrereJacques };

// A well-known tune; no sample is above 0.5.
Signal Melody(Tune tune);

// A sine of `hertz`, which is below half the rate, with the given peak. It begins at 0 and goes on
// without a break.
Signal Tone(std::uint32_t hertz, float peak);

}  // namespace zevra::builtin

#endif
