#ifndef ZEVRA_BENCH_POLYPHASE_H
#define ZEVRA_BENCH_POLYPHASE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/api.h"

// The rate converter that the library could have of its own: a polyphase filter with the window,
// the cutoff and the length that it asks libswresample for. Measured beside what the library uses;
// see docs/architecture.md.

namespace zevra::bench {

struct PolyphasePlan {
  PolyphasePlan(UINT32 input_rate, UINT32 output_rate);
  // Taps in front of the frame that an output falls on.
  std::size_t Before() const { return taps / 2 - 1; }

  // The rates without their common divisor.
  std::uint64_t input_step;
  std::uint64_t output_step;
  bool interpolates;  // where output_step would take too many phases
  std::size_t phases;
  std::size_t taps = 0;
  std::vector<float> table;  // phases + 1 rows of taps
};

struct PolyphasePosition {
  std::uint64_t frame = 0;     // the first one that the next output needs
  std::uint64_t fraction = 0;  // of output_step
};

// One or two channels of 32-bit floats.
class Polyphase {
 public:
  Polyphase(UINT32 input_rate, UINT32 output_rate, std::size_t channels)
      : plan_(input_rate, output_rate), kept_(channels, std::vector<float>(plan_.Before())) {}

  // Converts interleaved frames; gives how many it wrote.
  std::size_t Convert(const float* input, std::size_t frames, float* output);

 private:
  PolyphasePlan plan_;
  PolyphasePosition position_;
  std::vector<std::vector<float>> kept_;
};

}  // namespace zevra::bench

#endif
