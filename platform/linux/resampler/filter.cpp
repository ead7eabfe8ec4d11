#include "platform/linux/resampler/filter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace zevra {
namespace {

// With a filter of 120 samples these give 136 dB of signal to noise at 0.45 of the rate and keep
// what lies beyond 1.12 of the output's Nyquist frequency below -120 dB; bench/quality.cpp prints
// the whole table.
constexpr double kKaiserBeta = 12;
constexpr double kCutoff = 0.94;

// Between the 1,024 phases of the filter the rate is interpolated, where it does not fall on one.
constexpr int kPhaseShift = 10;
constexpr int kLeastPhaseShift = 4;

// The lower the output's rate, the smoother the filter, and the fewer phases give the same
// precision; without this a filter table could take 50 MB.
int PhaseShift(UINT32 input_rate, UINT32 output_rate) {
  const int halvings = static_cast<int>(std::bit_width(input_rate / output_rate)) - 1;
  return std::max(kPhaseShift - std::max(halvings, 0), kLeastPhaseShift);
}

// Between two phases libswresample reads up to the next multiple of eight filter taps, past the
// frames that it was given so far. A filter whose length is such a multiple to begin with has no
// tap there; any other would make the output depend, if only in its last bits, on where a packet
// ended. Size and cutoff move by half a percent at most for a filter of the full length.
void AlignTaps(double ratio, SwrFilter* filter) {
  constexpr double kTaps = 8;
  const double stretch = std::min(ratio * filter->cutoff, 1.0);
  const double taps = std::max(std::round(filter->filter_size / stretch / kTaps), 1.0) * kTaps;
  filter->filter_size = static_cast<int>(std::max(std::round(taps * stretch), 1.0));
  // A trace above the even quotient, because the length is rounded up.
  if (stretch < 1.0) filter->cutoff = filter->filter_size / (ratio * taps) * (1 + 1e-9);
}

}  // namespace

SwrFilter FilterFor(UINT32 input_rate, UINT32 output_rate, UINT32 half_length) {
  SwrFilter filter{static_cast<int>(2 * half_length), kKaiserBeta, kCutoff,
                   PhaseShift(input_rate, output_rate)};
  const UINT32 phases = output_rate / std::gcd(input_rate, output_rate);
  const bool falls_on_phases = phases <= 1U << filter.phase_shift;
  if (!falls_on_phases) AlignTaps(static_cast<double>(output_rate) / input_rate, &filter);
  return filter;
}

}  // namespace zevra
