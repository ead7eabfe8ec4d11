#ifndef ZEVRA_PLATFORM_MEDIA_FOUNDATION_H
#define ZEVRA_PLATFORM_MEDIA_FOUNDATION_H

// Media types, samples and the resampler transform. On Windows the SDK's, on Linux the subset that
// the library stands on.
#if defined(_WIN32)
#include "platform/windows/media_foundation.h"
#else
#include "platform/linux/media_foundation.h"
#endif

#endif
