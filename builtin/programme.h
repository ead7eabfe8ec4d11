#ifndef ZEVRA_BUILTIN_PROGRAMME_H
#define ZEVRA_BUILTIN_PROGRAMME_H

#include <cstdint>
#include <functional>
#include <vector>

namespace zevra::builtin {

// One round of sound that repeats for ever: interleaved float frames, full scale at -1.0 and 1.0.
// A single channel is heard on every channel of the endpoint. No samples stand for silence.
struct Loop {
  std::vector<float> samples;
  std::uint32_t channels = 1;

  std::uint64_t Frames() const { return samples.size() / channels; }
  // Writes `frames` interleaved frames of `out_channels` channels (this loop's number, or any for a
  // loop of one channel), beginning with the `first_frame`th since the machine was switched on. The
  // loop is not empty. No allocation.
  void Play(std::uint64_t first_frame, std::uint32_t frames, std::uint32_t out_channels,
            float* out) const;
};

// What an endpoint plays by itself: makes the loop for the endpoint's rate, in frames a second.
// Worked out once, when the machine is made. Null stands for silence.
using Programme = std::function<Loop(std::uint32_t rate)>;

enum class Tune { kOdeToJoy, kFrereJacques };

// A tune that a listener knows at once, at a peak of 0.5.
Programme Melody(Tune tune);

// A sine of `hertz`, rounded to a tenth so that a round closes without a step, and of the peak
// `level`. It begins at phase 0.
Programme Sine(double hertz, double level);

// Counts up from -1.0 in steps of 1/32768, 65,536 frames a round: as 16-bit samples -32768, -32767,
// ..., 32767, so that a missing or doubled frame shows.
Programme Ramp();

// Samples that the caller has. std::invalid_argument, when the machine is made, for an endpoint of
// another rate or for samples that are not whole frames.
Programme Samples(std::vector<float> interleaved, std::uint32_t channels, std::uint32_t rate);

}  // namespace zevra::builtin

#endif
