#ifndef ZEVRA_PLATFORM_LINUX_CLASS_FACTORIES_H
#define ZEVRA_PLATFORM_LINUX_CLASS_FACTORIES_H

#include "platform/linux/com.h"

// The system's classes on Linux. Each gives a new object's reference for `iid` in `*object`, which
// the caller has set to null, or a negative code.

namespace zevra {

// CLSID_MMDeviceEnumerator: the endpoints of the sound server.
HRESULT CreateDeviceEnumerator(REFIID iid, void** object);

// CLSID_CResamplerMediaObject: the resampler transform.
HRESULT CreateResampler(REFIID iid, void** object);

}  // namespace zevra

#endif
