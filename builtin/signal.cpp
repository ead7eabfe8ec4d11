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

struct Score {
  std::span<const Note> notes;
  double beats_per_minute;
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

Score ScoreOf(Tune tune) {
  switch (tune) {
    case Tune::kOdeToJoy:
      return {kOdeToJoy, 132};
    case Tune::kFrereJacques:
      return {kFrereJacques, 120};
  }
  return {};
}

constexpr double kPeak = 0.5;
// Strengths of the fundamental and its overtones: mellow, near a soft organ pipe.
constexpr double kOvertones[] = {1.0, 0.35, 0.15, 0.05};
constexpr double kAttackSeconds = 0.012;
constexpr double kReleaseSeconds = 0.08;
constexpr double kDecaySeconds = 0.9;

// Loudness within a note: rises, dies away slowly, and is back at nothing when the next begins.
double Envelope(double seconds, double note_seconds) {
  const double attack = std::min(1.0, seconds / kAttackSeconds);
  const double release = std::min(1.0, (note_seconds - seconds) / kReleaseSeconds);
  return attack * release * std::exp(-seconds / kDecaySeconds);
}

void Sound(std::span<float> out, int key, std::uint32_t rate) {
  const double hertz = 440 * std::exp2((key - 69) / 12.0);
  const double note_seconds = static_cast<double>(out.size()) / rate;
  double strength_sum = 0;
  for (const double strength : kOvertones) strength_sum += strength;
  double harmonic = 0;
  for (const double strength : kOvertones) {
    harmonic += 1;
    if (hertz * harmonic >= rate / 2.0) break;
    // A sine by its own recurrence, several times cheaper than the function.
    const double angle = 2 * std::numbers::pi * hertz * harmonic / rate;
    const double twice_cosine = 2 * std::cos(angle);
    double before = -std::sin(angle);
    double now = 0;
    for (float& sample : out) {
      sample += static_cast<float>(kPeak * strength / strength_sum * now);
      const double after = twice_cosine * now - before;
      before = now;
      now = after;
    }
  }
  for (std::size_t frame = 0; frame < out.size(); ++frame)
    out[frame] *= static_cast<float>(Envelope(static_cast<double>(frame) / rate, note_seconds));
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
    const Score score = ScoreOf(tune);
    const double frames_per_beat = 60.0 * rate / score.beats_per_minute;
    double beats = 0;
    for (const Note& note : score.notes) beats += note.beats;
    Waveform waveform;
    waveform.samples.resize(static_cast<std::size_t>(beats * frames_per_beat));
    double at = 0;
    for (const Note& note : score.notes) {
      const auto begin = static_cast<std::size_t>(at * frames_per_beat);
      at += note.beats;
      const auto end = static_cast<std::size_t>(at * frames_per_beat);
      Sound(std::span(waveform.samples).subspan(begin, end - begin), note.key, rate);
    }
    return waveform;
  };
}

// A second has a whole number of periods.
Signal Tone(std::uint32_t hertz, float peak) {
  return [hertz, peak](std::uint32_t rate) {
    Waveform waveform;
    waveform.samples.resize(rate);
    for (std::uint64_t frame = 0; frame < rate; ++frame) {
      const double turns = static_cast<double>(frame * hertz % rate) / rate;
      waveform.samples[frame] = peak * static_cast<float>(std::sin(2 * std::numbers::pi * turns));
    }
    return waveform;
  };
}

}  // namespace zevra::builtin
