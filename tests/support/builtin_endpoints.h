#ifndef ZEVRA_TESTS_SUPPORT_BUILTIN_ENDPOINTS_H
#define ZEVRA_TESTS_SUPPORT_BUILTIN_ENDPOINTS_H

#include <cmath>
#include <numbers>

#include "builtin/builtin_audio.h"
#include "support/replaceable_calls.h"

namespace zevra::test {

// Replaces the system's endpoints by those of `audio` for the life of the registration. `audio`
// must outlive it.
inline ClassRegistration RegisterEndpoints(const builtin::BuiltinAudio& audio) {
  return {CLSID_MMDeviceEnumerator,
          [&audio](REFIID iid, void** object) { return audio.CreateEnumerator(iid, object); }};
}

// Counts up from -1.0 in steps of 1/32768, so that as 16-bit samples each frame is one more than
// the frame before it. A missing or doubled frame shows.
inline builtin::Signal Ramp() {
  return [](std::uint32_t) {
    builtin::Waveform ramp;
    for (int step = -32768; step < 32768; ++step)
      ramp.samples.push_back(static_cast<float>(step) / 32768);
    return ramp;
  };
}

// A sine of the peak `level`. One second of whole hertz repeats without a step.
inline builtin::Signal Sine(std::uint32_t hertz, double level) {
  return [hertz, level](std::uint32_t rate) {
    builtin::Waveform sine;
    for (std::uint64_t frame = 0; frame < rate; ++frame) {
      const double turns = static_cast<double>(frame * hertz % rate) / rate;
      sine.samples.push_back(static_cast<float>(level * std::sin(2 * std::numbers::pi * turns)));
    }
    return sine;
  };
}

}  // namespace zevra::test

#endif
