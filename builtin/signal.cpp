#include "builtin/signal.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

namespace zevra::builtin {
namespace {

// Pitch as a MIDI key (69 is the A of 440 Hz), length in beats.
struct Note {
  int key;
  double beats;
};

constexpr Note kOdeToJoy[] = {
    {64, 1}, {64, 1}, {65, 1}, {67, 1}, {67, 1},   {65, 1},   {64, 1}, {62, 1},
    {60, 1}, {60, 1}, {62, 1}, {64, 1}, {64, 1.5}, {62, 0.5}, {62, 2},  //
    {64, 1}, {64, 1}, {65, 1}, {67, 1}, {67, 1},   {65, 1},   {64, 1}, {62, 1},
    {60, 1}, {60, 1}, {62, 1}, {64, 1}, {62, 1.5}, {60, 0.5}, {60, 2},
};

constexpr Note kFrereJacques[] = {
    {65, 1},   {67, 1},   {69, 1},   {65, 1},   {65, 1}, {67, 1}, {69, 1},
    {65, 1},   {69, 1},   {70, 1},   {72, 2},   {69, 1}, {70, 1}, {72, 2},  //
    {72, 0.5}, {74, 0.5}, {72, 0.5}, {70, 0.5}, {69, 1}, {65, 1},           //
    {72, 0.5}, {74, 0.5}, {72, 0.5}, {70, 0.5}, {69, 1}, {65, 1},           //
    {65, 1},   {60, 1},   {65, 2},   {65, 1},   {60, 1}, {65, 2},
};

constexpr double kBeatSeconds = 0.5;
constexpr double kPeak = 0.5;
// A note fades in and out, so that it begins and ends without a click.
constexpr double kFadeSeconds = 0.02;

void AppendNote(const Note& note, std::uint32_t rate, std::vector<float>& samples) {
  const double hertz = 440 * std::exp2((note.key - 69) / 12.0);
  const double length = note.beats * kBeatSeconds;
  const auto frames = static_cast<std::uint64_t>(length * rate);
  for (std::uint64_t frame = 0; frame < frames; ++frame) {
    const double seconds = static_cast<double>(frame) / rate;
    const double fade = std::min({1.0, seconds / kFadeSeconds, (length - seconds) / kFadeSeconds});
    samples.push_back(
        static_cast<float>(kPeak * fade * std::sin(2 * std::numbers::pi * hertz * seconds)));
  }
}

}  // namespace

void Waveform::Play(std::uint64_t first_frame, std::uint32_t frames, std::uint32_t out_channels,
                    float* out) const {
  const std::uint64_t length = samples.size() / channels;
  std::uint64_t at = first_frame % length;
  while (frames > 0) {
    const auto run = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, length - at));
    const float* const from = samples.data() + at * channels;
    if (channels == out_channels)
      out = std::copy_n(from, std::size_t{run} * channels, out);
    else
      for (std::uint32_t frame = 0; frame < run; ++frame)
        out = std::fill_n(out, out_channels, from[frame]);
    frames -= run;
    at = 0;
  }
}

Signal Melody(Tune tune) {
  return [tune](std::uint32_t rate) {
    const auto notes = tune == Tune::kOdeToJoy ? std::span<const Note>(kOdeToJoy)
                                               : std::span<const Note>(kFrereJacques);
    double beats = 0;
    for (const Note& note : notes) beats += note.beats;
    Waveform waveform;
    waveform.samples.reserve(static_cast<std::size_t>(beats * kBeatSeconds * rate));
    for (const Note& note : notes) AppendNote(note, rate, waveform.samples);
    return waveform;
  };
}

}  // namespace zevra::builtin
