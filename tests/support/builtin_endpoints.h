#ifndef ZEVRA_TESTS_SUPPORT_BUILTIN_ENDPOINTS_H
#define ZEVRA_TESTS_SUPPORT_BUILTIN_ENDPOINTS_H

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

}  // namespace zevra::test

#endif
