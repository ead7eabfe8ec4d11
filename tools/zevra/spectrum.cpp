#include "tools/zevra/spectrum.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "tools/zevra/meter.h"
#include "tools/zevra/painter.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

constexpr double kLowestBand = 31.25;
constexpr int kMostBands = 10;
// Of the rate; nothing above comes through a filter undistorted.
constexpr double kHighestCentre = 0.4;
constexpr double kHighestEdge = 0.48;
// Neighbours are 20 dB down.
constexpr int kOrder = 3;

constexpr double kHoldSeconds = 1.5;
// Columns in front of the bars, for the scale, and lines that are no bars.
constexpr std::size_t kScaleColumns = 7;
constexpr std::size_t kMostRows = 12;
constexpr std::size_t kFewestRows = 4;
constexpr std::size_t kNarrowestSlot = 2;

std::string BandLabel(double hertz) {
  return hertz < 1000 ? fmt::format("{:.0f}", std::floor(hertz + 0.5))
                      : fmt::format("{:.0f}k", hertz / 1000);
}

// A cell filled by so many eighths from below.
const char* EighthsUp(unsigned eighths) {
  static constexpr const char* kBlocks[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  return kBlocks[eighths];
}

std::string Repeated(const char* cell, std::size_t count) {
  std::string out;
  for (std::size_t i = 0; i < count; ++i) out += cell;
  return out;
}

}  // namespace

// A Butterworth band-pass: the poles of the low-pass are moved to both sides of the band, then from
// the s-plane to the z-plane.
std::vector<Spectrum::Section> Spectrum::Design(double low, double high, double rate) {
  using Complex = std::complex<double>;
  const auto warped = [rate](double hertz) { return std::tan(std::numbers::pi * hertz / rate); };
  const double width = warped(high) - warped(low);
  const double centre_squared = warped(high) * warped(low);
  const Complex centre = std::polar(1.0, -2 * std::atan(std::sqrt(centre_squared)));
  std::vector<Section> sections;
  const auto add = [&](Complex s, Complex other) {
    const Complex pole = (1.0 + s) / (1.0 - s);
    const Complex other_pole = (1.0 + other) / (1.0 - other);
    Section section{1, -(pole + other_pole).real(), (pole * other_pole).real()};
    const Complex at_centre =
        (1.0 - centre * centre) / (1.0 + section.a1 * centre + section.a2 * centre * centre);
    section.gain = 1 / std::abs(at_centre);
    sections.push_back(section);
  };
  for (int k = 0; k <= kOrder / 2; ++k) {
    const double angle = std::numbers::pi * (2 * k + kOrder + 1) / (2 * kOrder);
    const Complex half = std::polar(width / 2, angle);
    const Complex root = std::sqrt(half * half - centre_squared);
    if (2 * k + 1 == kOrder) {
      add(half + root, half - root);  // of the real pole: conjugates, or real in a wide band
    } else {
      add(half + root, std::conj(half + root));
      add(half - root, std::conj(half - root));
    }
  }
  return sections;
}

Spectrum::Spectrum(std::uint32_t rate, std::uint16_t channels) : channels_(channels) {
  double centre = kLowestBand;
  for (int i = 0; i < kMostBands && centre <= kHighestCentre * rate; ++i, centre *= 2) {
    const double high = std::min(centre * std::numbers::sqrt2, kHighestEdge * rate);
    Band band{BandLabel(centre), Design(centre / std::numbers::sqrt2, high, rate), {}, 0, kQuietest,
              kQuietest};
    band.states.resize(band.sections.size() * channels * 2);
    bands_.push_back(std::move(band));
  }
}

void Spectrum::Add(std::span<const float> samples) {
  for (Band& band : bands_) {
    for (std::size_t channel = 0; channel < channels_; ++channel) {
      double* const states = &band.states[channel * band.sections.size() * 2];
      for (std::size_t i = channel; i < samples.size(); i += channels_) {
        // Noise below all that is shown keeps the filters from ever smaller numbers in silence.
        double value = samples[i] + (i % 2 == 0 ? 1e-12 : -1e-12);
        for (std::size_t k = 0; k < band.sections.size(); ++k) {
          const Section& section = band.sections[k];
          const double in = value * section.gain;
          value = in + states[2 * k];
          states[2 * k] = states[2 * k + 1] - section.a1 * value;
          states[2 * k + 1] = -in - section.a2 * value;
        }
        band.squares += value * value;
      }
    }
  }
  if (channels_ > 0) frames_ += samples.size() / channels_;
}

void Spectrum::Update(double seconds) {
  for (Band& band : bands_) {
    const double samples = static_cast<double>(frames_) * channels_;
    const double amplitude = frames_ > 0 ? std::sqrt(2 * band.squares / samples) : 0;
    const double level = std::max(kQuietest, Decibels(amplitude));
    band.shown = std::max(level, band.shown - kFallPerSecond * seconds);
    band.held_for += seconds;
    if (band.shown >= band.held || band.held_for > kHoldSeconds) {
      band.held = band.shown;
      band.held_for = 0;
    }
    band.squares = 0;
  }
  frames_ = 0;
}

std::vector<std::string> Spectrum::Lines(const Terminal& terminal, std::size_t width,
                                         std::size_t height) const {
  const std::size_t slot = width > kScaleColumns ? (width - kScaleColumns) / bands_.size() : 0;
  const std::size_t rows = std::min(kMostRows, height < 1 ? 0 : height - 1);
  if (slot < kNarrowestSlot || rows < kFewestRows) return {};
  std::vector<std::string> lines;
  for (std::size_t row = rows; row-- > 0;) lines.push_back(Row(terminal, row, rows, slot));
  lines.push_back(Labels(terminal, slot));
  return lines;
}

// `row` counts from below.
std::string Spectrum::Row(const Terminal& terminal, std::size_t row, std::size_t rows,
                          std::size_t slot) const {
  const auto part = [](double decibels) { return (decibels - kQuietest) / -kQuietest; };
  const double top =
      kQuietest - kQuietest * static_cast<double>(row + 1) / static_cast<double>(rows);
  const std::size_t gap = slot >= 6 ? 2 : 1;
  const bool utf8 = terminal.HasUtf8();
  Painter painter(terminal.HasColour());
  const bool labelled = (rows - 1 - row) % 3 == 0;
  painter.Put(kDim, labelled ? fmt::format("{:>5} ", fmt::format("{:.0f}", top)) : "      ");
  painter.Put(kDim, utf8 ? (labelled ? "┤" : "│") : "|");
  for (const Band& band : bands_) {
    const unsigned steps = StepsIn(row, Steps(part(band.shown), rows));
    const std::size_t marked = Steps(part(band.held), rows - 1) / kStepsPerCell;
    const bool is_mark = steps == 0 && row == marked && band.held > kQuietest;
    const char* const cell = is_mark ? (utf8 ? "▁" : "_")
                             : utf8  ? EighthsUp(steps)
                                     : (steps * 2 >= kStepsPerCell ? "#" : " ");
    painter.Put(kPlain, std::string(gap, ' '));
    painter.Put(ColourAt(top), Repeated(cell, slot - gap));
  }
  return painter.Finish();
}

// Each in the middle under its bar; where they would touch, every other one.
std::string Spectrum::Labels(const Terminal& terminal, std::size_t slot) const {
  const std::size_t each = slot >= 4 ? 1 : 2;
  const std::size_t gap = slot >= 6 ? 2 : 1;
  std::string text = "   Hz  ";
  for (std::size_t i = 0; i < bands_.size(); i += each) {
    const std::string& label = bands_[i].label;
    const std::size_t bar = slot - gap;
    const std::size_t begin =
        kScaleColumns + i * slot + gap + (bar > label.size() ? (bar - label.size()) / 2 : 0);
    text.resize(std::max(begin, text.size()), ' ');
    text += label;
  }
  Painter painter(terminal.HasColour());
  painter.Put(kDim, Clipped(text, kScaleColumns + slot * bands_.size()));
  return painter.Finish();
}

std::string Spectrum::PlainText() const {
  std::string line;
  for (const Band& band : bands_) {
    line += fmt::format("  {} {}", band.label,
                        band.shown > kQuietest ? fmt::format("{:.0f}", band.shown) : "-inf");
  }
  return line + " dB";
}

}  // namespace zevra::command
