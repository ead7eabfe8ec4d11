#ifndef ZEVRA_TOOLS_ZEVRA_SPECTRUM_H
#define ZEVRA_TOOLS_ZEVRA_SPECTRUM_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/zevra/terminal.h"

namespace zevra::command {

// How loud audio is in each octave from 31 Hz to 16 kHz, as far as its rate reaches: bars that rise
// at once and fall slowly. A sine of full scale on every channel is 0 dB.
class Spectrum {
 public:
  Spectrum(std::uint32_t rate, std::uint16_t channels);

  // Interleaved whole frames.
  void Add(std::span<const float> samples);
  // Takes what was added into the bars; so many seconds have passed since the last time.
  void Update(double seconds);

  // The bars as lines of at most `width` columns; none where that or `height` is too little.
  std::vector<std::string> Lines(const Terminal& terminal, std::size_t width,
                                 std::size_t height) const;
  // What the bars show, in one line.
  std::string PlainText() const;
  // In decibels.
  double Level(std::size_t band) const { return bands_[band].shown; }
  std::size_t BandCount() const { return bands_.size(); }

 private:
  // One of a band's second-order filters. Its zeros are at 0 Hz and at half the rate.
  struct Section {
    double gain, a1, a2;
  };
  struct Band {
    std::string label;
    std::vector<Section> sections;
    std::vector<double> states;  // two for each section of each channel
    double squares = 0;
    double shown, held;   // decibels
    double held_for = 0;  // seconds
  };

  static std::vector<Section> Design(double low, double high, double rate);
  std::string Row(const Terminal& terminal, std::size_t row, std::size_t rows,
                  std::size_t slot) const;
  std::string Labels(const Terminal& terminal, std::size_t slot) const;

  const std::uint16_t channels_;
  std::vector<Band> bands_;
  std::uint64_t frames_ = 0;
};

}  // namespace zevra::command

#endif
