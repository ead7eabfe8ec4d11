#include "builtin/programme.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace zevra::builtin {

void Loop::Play(std::uint64_t first_frame, std::uint32_t frames, std::uint32_t out_channels,
                float* out) const {
  const std::uint64_t round = Frames();
  std::uint64_t at = first_frame % round;
  while (frames > 0) {
    const auto run = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, round - at));
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

Programme Sine(double hertz, double level) {
  return [hertz, level](std::uint32_t rate) {
    // The shortest stretch that holds whole frames and whole cycles.
    const auto decihertz = static_cast<std::uint64_t>(std::llround(hertz * 10));
    const std::uint64_t decirate = std::uint64_t{rate} * 10;
    const std::uint64_t frames = decirate / std::gcd(decihertz, decirate);
    Loop loop;
    loop.samples.reserve(frames);
    for (std::uint64_t frame = 0; frame < frames; ++frame) {
      // The remainder keeps the argument small, and with it the error of the sine.
      const auto turned = static_cast<double>(frame * decihertz % decirate);
      loop.samples.push_back(static_cast<float>(
          level * std::sin(2 * std::numbers::pi * turned / static_cast<double>(decirate))));
    }
    return loop;
  };
}

Programme Ramp() {
  return [](std::uint32_t) {
    Loop loop;
    loop.samples.reserve(65536);
    for (int step = -32768; step < 32768; ++step)
      loop.samples.push_back(static_cast<float>(step) / 32768);
    return loop;
  };
}

Programme Samples(std::vector<float> interleaved, std::uint32_t channels, std::uint32_t rate) {
  return [samples = std::move(interleaved), channels, rate](std::uint32_t endpoint_rate) {
    if (endpoint_rate != rate)
      throw std::invalid_argument("the samples have another rate than the endpoint");
    if (channels == 0 || samples.size() % channels != 0)
      throw std::invalid_argument("the samples are not whole frames");
    return Loop{samples, channels};
  };
}

}  // namespace zevra::builtin
