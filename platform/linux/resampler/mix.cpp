#include "platform/linux/resampler/mix.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "platform/api.h"

namespace zevra {
namespace {

constexpr double kMinus3dB = 0.70710678118654752;
constexpr double kMinus6dB = 0.5;
constexpr double kMinus9dB = kMinus3dB / 2;

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

// The number of the lowest position of `positions` in a frame with `mask`.
std::size_t ChannelOf(DWORD mask, DWORD positions) {
  const DWORD position = positions & (~positions + 1);
  return static_cast<std::size_t>(std::popcount(mask & (position - 1)));
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

bool AddInput(DWORD input_mask, DWORD output_mask, DWORD position, MixMatrix* gains) {
  const std::size_t input = ChannelOf(input_mask, position);
  if ((output_mask & position) != 0) {
    AddGain(output_mask, input, position, 1.0, gains);
    return true;
  }
  if (position == SPEAKER_LOW_FREQUENCY) return true;
  const auto* const way =
      std::find_if(std::begin(kFallbacks), std::end(kFallbacks), [&](const Fallback& fallback) {
        return fallback.source == position && (output_mask & fallback.targets) == fallback.targets;
      });
  if (way == std::end(kFallbacks)) return false;
  AddGain(output_mask, input, way->targets, GainInto(*way, input_mask), gains);
  return true;
}

void Normalize(MixMatrix* gains) {
  double loudest = 0;
  for (const auto& row : *gains) {
    double sum = 0;
    for (const double gain : row) sum += gain;
    loudest = std::max(loudest, sum);
  }
  if (loudest <= 1.0) return;
  for (auto& row : *gains)
    for (double& gain : row) gain /= loudest;
}

}  // namespace

bool BuildMixMatrix(DWORD input_mask, DWORD output_mask, MixMatrix* gains) {
  *gains = {};
  for (DWORD left = input_mask; left != 0; left &= left - 1) {
    const DWORD position = left & (~left + 1);
    if (!AddInput(input_mask, output_mask, position, gains)) return false;
  }
  Normalize(gains);
  return true;
}

}  // namespace zevra
