#ifndef ZEVRA_TESTS_WINDOWS_CLASS_SERVER_H
#define ZEVRA_TESTS_WINDOWS_CLASS_SERVER_H

#include <cstddef>

// A COM server of the tests' own. In a prefix of theirs it is registered as what the system's
// classes are to be treated as, so that zevra.dll stays as it is shipped and gets these objects
// from the system's own CoCreateInstance. In the place of
//
//   CLSID_CResamplerMediaObject   it serves the system's resampler with what Wine's lacks of the
//                                 contract: the length of the filter, and whether it takes input
//   CLSID_MMDeviceEnumerator      it serves the endpoints below, of the machine inside the process
//
// Which of the two stand in the system's place is for the registration to say. A test in the same
// process looks behind the scenes by the functions here; any thread.

namespace zevra::test {
enum ServedEndpoint : std::size_t {
  kServedSpeakers,    // "Served Speakers": default, 48 kHz stereo, a sine of 997 Hz at 0.5
  kServedHeadphones,  // "Served Headphones": 48 kHz stereo, nothing plays there of itself
  kServedMicrophone,  // "Served Microphone": default, 44.1 kHz mono, a sine of 440 Hz at 0.25
};

}  // namespace zevra::test

extern "C" {

// What the latest SetHalfFilterLength asked for; 0 before.
long ServedFilterLength();
// Objects of both classes, and of those that hang on them, that somebody still holds.
long ServedObjects();
// The endpoint's volume, 0 to 1.
void SetServedVolume(zevra::test::ServedEndpoint endpoint, float volume);
// The endpoint vanishes for good.
void RemoveServedEndpoint(zevra::test::ServedEndpoint endpoint);
}

#endif
