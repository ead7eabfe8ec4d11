#include "bench/polyphase.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "platform/linux/resampler/engine.h"

namespace zevra::bench {
namespace {

using Lanes [[gnu::vector_size(32)]] = float;
using LooseLanes [[gnu::vector_size(32), gnu::aligned(4)]] = float;
constexpr std::size_t kLanes = 8;

using Quad [[gnu::vector_size(16)]] = float;

void MakePhase(std::size_t before, std::size_t taps, double fraction, double stretch, double beta,
               float* row) {
  const double half = static_cast<double>(taps) / 2;
  std::vector<double> exact(taps);
  for (std::size_t tap = 0; tap < taps; ++tap) {
    const double x = static_cast<double>(tap) - static_cast<double>(before) - fraction;
    const double angle = std::numbers::pi * x * stretch;
    const double window = std::sqrt(std::max(0.0, 1 - x * x / (half * half)));
    exact[tap] = (angle == 0 ? 1 : std::sin(angle) / angle) * std::cyl_bessel_i(0, beta * window);
  }
  const double sum = std::accumulate(exact.begin(), exact.end(), 0.0);
  for (std::size_t tap = 0; tap < taps; ++tap) row[tap] = static_cast<float>(exact[tap] / sum);
}

template <std::size_t kChannels>
[[gnu::always_inline]] inline void Dot(const float* row, const float* const* inputs,
                                       std::size_t taps, float* sums) {
  constexpr std::size_t kChains = 4;
  Lanes all[kChannels][kChains] = {};
  std::size_t tap = 0;
  for (; tap + kChains * kLanes <= taps; tap += kChains * kLanes) {
#pragma GCC unroll 8
    for (std::size_t chain = 0; chain < kChains; ++chain) {
      const std::size_t at = tap + chain * kLanes;
      const Lanes factors = *reinterpret_cast<const LooseLanes*>(row + at);
#pragma GCC unroll 2
      for (std::size_t c = 0; c < kChannels; ++c)
        all[c][chain] += factors * *reinterpret_cast<const LooseLanes*>(inputs[c] + at);
    }
  }
  for (; tap < taps; tap += kLanes)
#pragma GCC unroll 2
    for (std::size_t c = 0; c < kChannels; ++c)
      all[c][0] += *reinterpret_cast<const LooseLanes*>(row + tap) *
                   *reinterpret_cast<const LooseLanes*>(inputs[c] + tap);
  constexpr std::size_t kLast = kChannels - 1;
  for (std::size_t c = 0; c < kChannels; ++c) all[c][0] += all[c][1] + (all[c][2] + all[c][3]);
  const Lanes mixed = __builtin_shufflevector(all[0][0], all[kLast][0], 0, 8, 1, 9, 4, 12, 5, 13) +
                      __builtin_shufflevector(all[0][0], all[kLast][0], 2, 10, 3, 11, 6, 14, 7, 15);
  const Quad both = __builtin_shufflevector(mixed, mixed, 0, 1, 2, 3) +
                    __builtin_shufflevector(mixed, mixed, 4, 5, 6, 7);
  sums[0] = both[0] + both[2];
  sums[kLast] = both[1] + both[3];
}

template <std::size_t kChannels>
[[gnu::always_inline]] inline std::size_t Filter(const PolyphasePlan& plan,
                                                 const float* const* inputs, std::size_t frames,
                                                 PolyphasePosition* position, float* output) {
  std::size_t made = 0;
  for (; position->frame + plan.taps <= frames; ++made) {
    const float* const at[] = {inputs[0] + position->frame,
                               inputs[kChannels - 1] + position->frame};
    float* const sums = output + kChannels * made;
    const std::uint64_t scaled = position->fraction * plan.phases;
    const float* const row = &plan.table[scaled / plan.output_step * plan.taps];
    Dot<kChannels>(row, at, plan.taps, sums);
    if (plan.interpolates) {
      const float share =
          static_cast<float>(scaled % plan.output_step) / static_cast<float>(plan.output_step);
      float next[kChannels];
      Dot<kChannels>(row + plan.taps, at, plan.taps, next);
      for (std::size_t c = 0; c < kChannels; ++c) sums[c] += share * (next[c] - sums[c]);
    }
    position->fraction += plan.input_step;
    position->frame += position->fraction / plan.output_step;
    position->fraction %= plan.output_step;
  }
  return made;
}

#if defined(__x86_64__)
#define ZEVRA_PROCESSOR_LEVELS [[gnu::target_clones("arch=x86-64-v3", "default")]]
#else
#define ZEVRA_PROCESSOR_LEVELS
#endif
ZEVRA_PROCESSOR_LEVELS std::size_t FilterMono(const PolyphasePlan& plan, const float* const* inputs,
                                              std::size_t frames, PolyphasePosition* position,
                                              float* output) {
  return Filter<1>(plan, inputs, frames, position, output);
}
ZEVRA_PROCESSOR_LEVELS std::size_t FilterStereo(const PolyphasePlan& plan,
                                                const float* const* inputs, std::size_t frames,
                                                PolyphasePosition* position, float* output) {
  return Filter<2>(plan, inputs, frames, position, output);
}

}  // namespace

PolyphasePlan::PolyphasePlan(UINT32 input_rate, UINT32 output_rate)
    : input_step(input_rate / std::gcd(input_rate, output_rate)),
      output_step(output_rate / std::gcd(input_rate, output_rate)),
      interpolates(output_step > 1024),
      phases(interpolates ? 1024 : output_step) {
  const SwrFilter filter = FilterFor(input_rate, output_rate, 60);
  const double ratio = static_cast<double>(output_rate) / input_rate;
  const double stretch = std::min(filter.cutoff * ratio, 1.0);
  taps = static_cast<std::size_t>(std::ceil(filter.filter_size / stretch / kLanes)) * kLanes;
  table.resize((phases + 1) * taps);
  for (std::size_t phase = 0; phase <= phases; ++phase)
    MakePhase(Before(), taps, static_cast<double>(phase) / static_cast<double>(phases), stretch,
              filter.kaiser_beta, &table[phase * taps]);
}

std::size_t Polyphase::Convert(const float* input, std::size_t frames, float* output) {
  const std::size_t channels = kept_.size();
  const std::size_t before = kept_[0].size();
  for (std::size_t c = 0; c < channels; ++c) {
    kept_[c].resize(before + frames);
    for (std::size_t i = 0; i < frames; ++i) kept_[c][before + i] = input[i * channels + c];
  }
  const float* const inputs[] = {kept_[0].data(), kept_[channels - 1].data()};
  const std::size_t made = (channels == 1 ? FilterMono : FilterStereo)(
      plan_, inputs, before + frames, &position_, output);
  const std::size_t done = std::min<std::size_t>(position_.frame, before + frames);
  for (auto& kept : kept_) kept.erase(kept.begin(), kept.begin() + static_cast<long>(done));
  position_.frame -= done;
  return made;
}

}  // namespace zevra::bench
