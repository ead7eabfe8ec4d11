#ifndef ZEVRA_PLATFORM_LINUX_SPEAKERS_H
#define ZEVRA_PLATFORM_LINUX_SPEAKERS_H

#include <array>

#include "platform/linux/com/core_audio.h"

namespace zevra {

inline constexpr DWORD kStereo = SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT;
inline constexpr DWORD kQuad = kStereo | SPEAKER_BACK_LEFT | SPEAKER_BACK_RIGHT;
inline constexpr DWORD k5Point1 = kQuad | SPEAKER_FRONT_CENTER | SPEAKER_LOW_FREQUENCY;
inline constexpr DWORD k7Point1 = k5Point1 | SPEAKER_SIDE_LEFT | SPEAKER_SIDE_RIGHT;

// The masks that Windows assumes for a bare channel count, by that count.
inline constexpr std::array<DWORD, 9> kStandardMasks = {
    0,        SPEAKER_FRONT_CENTER,         kStereo,  kStereo | SPEAKER_FRONT_CENTER,
    kQuad,    kQuad | SPEAKER_FRONT_CENTER, k5Point1, k5Point1 | SPEAKER_BACK_CENTER,
    k7Point1,
};

// Every position that a mask can name.
inline constexpr DWORD kAllSpeakers = (SPEAKER_TOP_BACK_RIGHT << 1) - 1;

}  // namespace zevra

#endif
