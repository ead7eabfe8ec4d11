#include "platform/linux/resampler/mix.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

#include "platform/linux/speakers.h"

namespace zevra {
namespace {

constexpr double kMinus3dB = 0.70710678118654752;
constexpr double kMinus6dB = 0.5;
constexpr double kMinus9dB = kMinus3dB / 2;

constexpr DWORD kLeft = SPEAKER_FRONT_LEFT | SPEAKER_BACK_LEFT | SPEAKER_FRONT_LEFT_OF_CENTER |
                        SPEAKER_SIDE_LEFT | SPEAKER_TOP_FRONT_LEFT | SPEAKER_TOP_BACK_LEFT;
constexpr DWORD kRight = SPEAKER_FRONT_RIGHT | SPEAKER_BACK_RIGHT | SPEAKER_FRONT_RIGHT_OF_CENTER |
                         SPEAKER_SIDE_RIGHT | SPEAKER_TOP_FRONT_RIGHT | SPEAKER_TOP_BACK_RIGHT;
constexpr DWORD kMiddle = SPEAKER_FRONT_CENTER | SPEAKER_BACK_CENTER | SPEAKER_TOP_CENTER |
                          SPEAKER_TOP_FRONT_CENTER | SPEAKER_TOP_BACK_CENTER;

constexpr DWORD kFL = SPEAKER_FRONT_LEFT;
constexpr DWORD kFR = SPEAKER_FRONT_RIGHT;
constexpr DWORD kFC = SPEAKER_FRONT_CENTER;
constexpr DWORD kBL = SPEAKER_BACK_LEFT;
constexpr DWORD kBR = SPEAKER_BACK_RIGHT;
constexpr DWORD kBC = SPEAKER_BACK_CENTER;
constexpr DWORD kSL = SPEAKER_SIDE_LEFT;
constexpr DWORD kSR = SPEAKER_SIDE_RIGHT;

// Where a position goes that the output lacks: to all of `targets`, each with `gain`.
struct Fallback {
  DWORD source;
  DWORD targets;
  double gain;
};

// For each source in order of preference; the first whose targets all exist is taken.
constexpr Fallback kFallbacks[] = {
    {kFL, kFC, kMinus3dB},
    {kFR, kFC, kMinus3dB},
    {kFC, kFL | kFR, kMinus3dB},
    {kBL, kSL, 1.0},
    {kBL, kBC, kMinus3dB},
    {kBL, kFL, kMinus3dB},
    {kBL, kFC, kMinus6dB},
    {kBR, kSR, 1.0},
    {kBR, kBC, kMinus3dB},
    {kBR, kFR, kMinus3dB},
    {kBR, kFC, kMinus6dB},
    {kSL, kBL, 1.0},
    {kSL, kBC, kMinus3dB},
    {kSL, kFL, kMinus3dB},
    {kSL, kFC, kMinus6dB},
    {kSR, kBR, 1.0},
    {kSR, kBC, kMinus3dB},
    {kSR, kFR, kMinus3dB},
    {kSR, kFC, kMinus6dB},
    {kBC, kBL | kBR, kMinus3dB},
    {kBC, kSL | kSR, kMinus3dB},
    {kBC, kFL | kFR, kMinus6dB},
    {kBC, kFC, kMinus3dB},
    {SPEAKER_FRONT_LEFT_OF_CENTER, kFL, 1.0},
    {SPEAKER_FRONT_LEFT_OF_CENTER, kFC, kMinus3dB},
    {SPEAKER_FRONT_RIGHT_OF_CENTER, kFR, 1.0},
    {SPEAKER_FRONT_RIGHT_OF_CENTER, kFC, kMinus3dB},
    {SPEAKER_TOP_CENTER, kFL | kFR, kMinus6dB},
    {SPEAKER_TOP_CENTER, kFC, kMinus3dB},
    {SPEAKER_TOP_FRONT_LEFT, kFL, kMinus3dB},
    {SPEAKER_TOP_FRONT_LEFT, kFC, kMinus6dB},
    {SPEAKER_TOP_FRONT_CENTER, kFC, kMinus3dB},
    {SPEAKER_TOP_FRONT_CENTER, kFL | kFR, kMinus6dB},
    {SPEAKER_TOP_FRONT_RIGHT, kFR, kMinus3dB},
    {SPEAKER_TOP_FRONT_RIGHT, kFC, kMinus6dB},
    {SPEAKER_TOP_BACK_LEFT, kBL, kMinus3dB},
    {SPEAKER_TOP_BACK_LEFT, kSL, kMinus3dB},
    {SPEAKER_TOP_BACK_LEFT, kFL, kMinus6dB},
    {SPEAKER_TOP_BACK_LEFT, kFC, kMinus9dB},
    {SPEAKER_TOP_BACK_CENTER, kBC, kMinus3dB},
    {SPEAKER_TOP_BACK_CENTER, kBL | kBR, kMinus6dB},
    {SPEAKER_TOP_BACK_CENTER, kSL | kSR, kMinus6dB},
    {SPEAKER_TOP_BACK_CENTER, kFL | kFR, kMinus9dB},
    {SPEAKER_TOP_BACK_CENTER, kFC, kMinus6dB},
    {SPEAKER_TOP_BACK_RIGHT, kBR, kMinus3dB},
    {SPEAKER_TOP_BACK_RIGHT, kSR, kMinus3dB},
    {SPEAKER_TOP_BACK_RIGHT, kFR, kMinus6dB},
    {SPEAKER_TOP_BACK_RIGHT, kFC, kMinus9dB},
};

constexpr DWORD Lowest(DWORD positions) { return positions & (~positions + 1); }

// The number of the lowest position of `positions` in a frame with `mask`.
std::size_t ChannelOf(DWORD mask, DWORD positions) {
  return static_cast<std::size_t>(std::popcount(mask & (Lowest(positions) - 1)));
}

// Adds `gain` to the way of `input` to each of `targets`.
void AddGain(DWORD output_mask, std::size_t input, DWORD targets, double gain, MixMatrix* gains) {
  for (; targets != 0; targets &= targets - 1)
    (*gains)[ChannelOf(output_mask, targets)][input] += gain;
}

// A surround channel that takes the place of a missing one keeps its level; one that joins a
// channel which the input has too is taken down, so that the two do not grow louder than the rest.
double GainInto(const Fallback& fallback, DWORD input_mask) {
  const DWORD joined = input_mask & fallback.targets & (kBL | kBR | kSL | kSR);
  return joined != 0 ? std::min(fallback.gain, kMinus3dB) : fallback.gain;
}

// Where a position goes that has no fallback in the output: the first of its own side, or else
// beside it. The output has another position than the low-frequency one.
Fallback LastResort(DWORD position, DWORD output_mask) {
  const DWORD left = Lowest(output_mask & kLeft);
  const DWORD right = Lowest(output_mask & kRight);
  const DWORD middle = Lowest(output_mask & kMiddle);
  const DWORD own = (position & kLeft) != 0 ? left : (position & kRight) != 0 ? right : middle;
  if (own != 0) return {position, own, 1.0};
  return {position, middle != 0 ? middle : left | right, kMinus3dB};
}

void AddInput(DWORD input_mask, DWORD output_mask, DWORD position, MixMatrix* gains) {
  const std::size_t input = ChannelOf(input_mask, position);
  if ((output_mask & position) != 0) return AddGain(output_mask, input, position, 1.0, gains);
  if (position == SPEAKER_LOW_FREQUENCY) return;
  const auto* const way =
      std::find_if(std::begin(kFallbacks), std::end(kFallbacks), [&](const Fallback& fallback) {
        return fallback.source == position && (output_mask & fallback.targets) == fallback.targets;
      });
  const Fallback taken = way != std::end(kFallbacks) ? *way : LastResort(position, output_mask);
  AddGain(output_mask, input, taken.targets, GainInto(taken, input_mask), gains);
}

// A single channel is mono also where an endpoint calls it front left.
DWORD TargetsOfMono(DWORD position, DWORD output_mask) {
  if ((position & output_mask & ~kStereo) != 0) return position;
  if ((output_mask & kFC) != 0) return kFC;
  if ((output_mask & kStereo) == kStereo) return kStereo;
  return LastResort(kFC, output_mask).targets;
}

MixMatrix ChannelByChannel(UINT32 channels) {
  MixMatrix gains{};
  for (UINT32 channel = 0; channel < channels; ++channel) gains[channel][channel] = 1.0;
  return gains;
}

MixMatrix MixWithoutPositions(UINT32 inputs, UINT32 outputs) {
  if (outputs >= inputs) return ChannelByChannel(inputs);
  MixMatrix gains{};
  for (UINT32 output = 0; output < outputs; ++output)
    std::fill_n(gains[output].begin(), inputs, 1.0 / inputs);
  return gains;
}

// The sums of a few frames at once, one in each lane.
template <UINT32 kOutputs>
void MixInto(const MixMatrix& gains, const float* input, std::size_t inputs, float* output,
             std::size_t frames) {
  using Lanes [[gnu::vector_size(16)]] = float;
  constexpr std::size_t kLanes = sizeof(Lanes) / sizeof(float);
  constexpr std::size_t kFrames = kLanes / kOutputs;
  std::array<Lanes, kMixChannels> factors{};
  for (std::size_t channel = 0; channel < inputs; ++channel)
    for (std::size_t lane = 0; lane < kLanes; ++lane)
      factors[channel][lane] = static_cast<float>(gains[lane % kOutputs][channel]);
  for (; frames >= kFrames; frames -= kFrames, input += kFrames * inputs, output += kLanes) {
    Lanes sums{};
    for (std::size_t channel = 0; channel < inputs; ++channel) {
      const float* const at = input + channel;
      if constexpr (kOutputs == 1)
        sums += factors[channel] * Lanes{at[0], at[inputs], at[2 * inputs], at[3 * inputs]};
      else
        sums += factors[channel] * Lanes{at[0], at[0], at[inputs], at[inputs]};
    }
    std::memcpy(output, &sums, sizeof sums);
  }
  for (; frames > 0; --frames, input += inputs, output += kOutputs) {
    for (std::size_t lane = 0; lane < kOutputs; ++lane) {
      float sum = 0;
      for (std::size_t channel = 0; channel < inputs; ++channel)
        sum += factors[channel][lane] * input[channel];
      output[lane] = sum;
    }
  }
}

}  // namespace

MixMatrix BuildMixMatrix(ChannelLayout input, ChannelLayout output) {
  if (input.channels == output.channels && (output.mask == 0 || output.mask == input.mask))
    return ChannelByChannel(input.channels);
  // Up to two channels need no names to be told apart.
  if (input.mask == 0 && input.channels <= 2) input.mask = kStandardMasks[input.channels];
  if (input.mask == 0) return MixWithoutPositions(input.channels, output.channels);
  if (output.mask == 0) output.mask = kStandardMasks[output.channels];
  const bool to_mono = output.channels == 1;
  if (to_mono) output.mask = kFC;

  MixMatrix gains{};
  if (input.channels == 1) {
    AddGain(output.mask, 0, TargetsOfMono(input.mask, output.mask), 1.0, &gains);
    return gains;
  }
  for (DWORD left = input.mask; left != 0; left &= left - 1)
    AddInput(input.mask, output.mask, Lowest(left), &gains);
  if (to_mono)
    for (double& gain : gains[0]) gain *= kMinus3dB;
  return gains;
}

void MixFrames(const MixMatrix& gains, const float* input, UINT32 inputs, float* output,
               UINT32 outputs, std::size_t frames) {
  if (outputs == 1)
    MixInto<1>(gains, input, inputs, output, frames);
  else
    MixInto<2>(gains, input, inputs, output, frames);
}

bool IsIdentity(const MixMatrix& gains, UINT32 channels) {
  return gains == ChannelByChannel(channels);
}

}  // namespace zevra
