#include "tools/zevra/levels.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "tools/zevra/text.h"

namespace zevra::command {

void Levels::Add(std::span<const float> samples) {
  const std::size_t channels = peaks_.size();
  if (channels == 0) return;
  for (std::size_t channel = 0; channel < channels; ++channel) {
    float peak = peaks_[channel];
    double squares = 0;
    for (std::size_t i = channel; i < samples.size(); i += channels) {
      peak = std::max(peak, std::fabs(samples[i]));
      squares += double{samples[i]} * samples[i];
    }
    peaks_[channel] = peak;
    squares_[channel] += squares;
  }
  frames_ += samples.size() / channels;
}

void Levels::Clear() {
  std::fill(peaks_.begin(), peaks_.end(), 0.0F);
  std::fill(squares_.begin(), squares_.end(), 0.0);
  frames_ = 0;
}

float Levels::Peak() const { return *std::max_element(peaks_.begin(), peaks_.end()); }

double Levels::Rms() const {
  if (frames_ == 0) return 0;
  const double sum = std::accumulate(squares_.begin(), squares_.end(), 0.0);
  return std::sqrt(sum / static_cast<double>(frames_) / static_cast<double>(squares_.size()));
}

double Decibels(double amplitude) { return 20 * std::log10(amplitude); }

std::string DecibelText(double amplitude) {
  return amplitude > 0 ? Format("%.1f", Decibels(amplitude)) : "-inf";
}

}  // namespace zevra::command
