#ifndef ZEVRA_PLATFORM_API_H
#define ZEVRA_PLATFORM_API_H

// The interfaces, types, constants and functions of the Windows API that the logic is written
// against: the SDK's on Windows, the subset that the logic uses on Linux. This is the one header
// that knows which system it is.

#if defined(_WIN32)
#include "platform/windows/api.h"
// A UTF-16 literal of the platform's wide character.
#define ZEVRA_WIDE(text) L##text
#else
#include "platform/linux/com/core_audio.h"
#include "platform/linux/com/media_foundation.h"
#define ZEVRA_WIDE(text) u##text
namespace zevra {
// The interface without the operations that the logic never calls; on Linux none are declared.
template <class Interface>
using Stub = Interface;
}  // namespace zevra
#endif

#endif
