#ifndef ZEVRA_PLATFORM_CORE_AUDIO_H
#define ZEVRA_PLATFORM_CORE_AUDIO_H

// Endpoints and their streams. On Windows the SDK's, on Linux the subset that the
// library stands on.
#if defined(_WIN32)
#include "platform/windows/core_audio.h"
#else
#include "platform/linux/core_audio.h"
#endif

#endif
