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

}  // namespace zevra::test

#endif
