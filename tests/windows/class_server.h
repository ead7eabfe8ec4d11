#ifndef ZEVRA_TESTS_WINDOWS_CLASS_SERVER_H
#define ZEVRA_TESTS_WINDOWS_CLASS_SERVER_H

// A COM server of the tests' own. In a prefix of theirs it is registered as what
// CLSID_CResamplerMediaObject is to be treated as, so that zevra.dll stays as it is shipped and
// gets the object from the system's own CoCreateInstance: the system's resampler with what Wine's
// lacks.

// What the resampler took as the latest SetHalfFilterLength; 0 before. Any thread.
extern "C" long ServedFilterLength();

#endif
