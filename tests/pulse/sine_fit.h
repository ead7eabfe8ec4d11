#ifndef ZEVRA_TESTS_PULSE_SINE_FIT_H
#define ZEVRA_TESTS_PULSE_SINE_FIT_H

#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <span>
#include <vector>

#include "zevra/zevra.h"

namespace zevra::test {

struct SineFit {
  double level = 0;   // amplitude of the sine
  double snr_db = 0;  // the sine's power over that of everything else
};

// Fits a sine of the given frequency to whole seconds of samples. Nothing but that sine without a
// break passes for signal: another frequency, noise, an offset, and the step in phase that a lost
// or doubled sample leaves all count as the rest.
inline SineFit FitSine(std::span<const double> samples, double hertz, double rate) {
  const double count = static_cast<double>(samples.size());
  const auto turn = [&](std::size_t n, double amplitude) {
    return std::polar(amplitude, 2 * std::numbers::pi * hertz / rate * static_cast<double>(n));
  };
  std::complex<double> sine = 0;
  for (std::size_t n = 0; n < samples.size(); ++n) sine += turn(n, samples[n] * 2 / count);
  double rest = 0;
  for (std::size_t n = 0; n < samples.size(); ++n)
    rest += std::pow(samples[n] - (std::conj(sine) * turn(n, 1)).real(), 2);
  return {std::abs(sine), 10 * std::log10(std::norm(sine) / 2 / (rest / count + 1e-20))};
}

// One sample at -1.0 to 1.0, little-endian as the library delivers it.
inline double DecodeSample(const std::uint8_t* bytes, const ZevraAudioFormat& format) {
  const std::size_t width = format.bits_per_sample / 8;
  std::uint32_t upper = 0;  // the sample in the upper bits
  std::memcpy(reinterpret_cast<std::uint8_t*>(&upper) + 4 - width, bytes, width);
  if (format.sample_kind != ZEVRA_SAMPLE_PCM) return std::bit_cast<float>(upper);
  if (width == 1) upper ^= 0x80000000;
  return static_cast<std::int32_t>(upper) / 2147483648.0;
}

// The samples of one channel in `seconds` of sound that begins at `first_second`.
inline std::vector<double> Channel(const std::vector<std::uint8_t>& bytes,
                                   const ZevraAudioFormat& format, unsigned channel,
                                   double first_second, double seconds) {
  const std::size_t sample_bytes = format.bits_per_sample / 8;
  std::size_t frame = static_cast<std::size_t>(first_second * format.samples_per_second);
  std::vector<double> samples(static_cast<std::size_t>(seconds * format.samples_per_second));
  for (double& sample : samples)
    sample = DecodeSample(&bytes.at((frame++ * format.channels + channel) * sample_bytes), format);
  return samples;
}

}  // namespace zevra::test

#endif
