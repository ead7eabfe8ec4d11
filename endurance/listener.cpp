#include "endurance/listener.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>

namespace zevra::endurance {

ZevraAudioFormat Listener::Format() const {
  return {ZEVRA_SAMPLE_PCM, static_cast<std::uint16_t>(channels_), 16, rate_, 0, 16, 0};
}

void Listener::Begin() {
  frames_ = 0;
  second_.clear();
  reference_.clear();
}

void Listener::Take(const std::uint8_t* data, std::uint32_t length) {
  for (std::uint32_t at = 0; at < length; at += 2 * channels_) {
    const std::uint64_t frame = frames_++;
    if (!reference_.empty() && !compares_) continue;
    std::int16_t sample = 0;
    std::memcpy(&sample, data + at, sizeof sample);
    if (reference_.empty()) {
      if (frame >= rate_) second_.push_back(sample);
      if (second_.size() == rate_) MakeReference();
      continue;
    }
    ++compared_;
    largest_error_ = std::max<double>(largest_error_, std::abs(sample - reference_[frame % rate_]));
  }
}

void Listener::MakeReference() {
  reference_.assign(rate_, 0);
  levels_.clear();
  for (const Tone& tone : tones_) {
    const double step = 2 * std::numbers::pi * tone.hertz / rate_;
    std::complex<double> part = 0;
    for (unsigned n = 0; n < rate_; ++n) part += std::polar(second_[n] * 2 / rate_, -step * n);
    levels_.push_back(std::abs(part) / 32'768);
    for (unsigned n = 0; n < rate_; ++n) reference_[n] += (part * std::polar(1.0, step * n)).real();
  }
}

std::string Listener::WrongLevel() const {
  for (std::size_t at = 0; at < tones_.size(); ++at)
    if (at >= levels_.size() || std::abs(levels_[at] / tones_[at].level - 1) > 0.001)
      return std::to_string(tones_[at].hertz) + " Hz has a level of " +
             (at < levels_.size() ? std::to_string(levels_[at]) : "nothing");
  return {};
}

}  // namespace zevra::endurance
