#ifndef ZEVRA_TOOLS_ZEVRA_LEVELS_H
#define ZEVRA_TOOLS_ZEVRA_LEVELS_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zevra::command {

// Peak and mean power of each channel, over any stretch of audio. Values are amplitudes, 1.0 is
// full scale.
class Levels {
 public:
  explicit Levels(std::uint16_t channels) : peaks_(channels), squares_(channels) {}

  // Interleaved whole frames.
  void Add(std::span<const float> samples);
  void Clear();

  std::uint16_t channels() const { return static_cast<std::uint16_t>(peaks_.size()); }
  float Peak(std::uint16_t channel) const { return peaks_[channel]; }
  float Peak() const;
  // Over all channels.
  double Rms() const;

 private:
  std::vector<float> peaks_;
  std::vector<double> squares_;
  std::uint64_t frames_ = 0;
};

// Decibels of full scale; minus infinity for 0.
double Decibels(double amplitude);
// "-12.3", or "-inf" for silence.
std::string DecibelText(double amplitude);

}  // namespace zevra::command

#endif
