#ifndef ZEVRA_PLATFORM_LINUX_COM_COM_H
#define ZEVRA_PLATFORM_LINUX_COM_COM_H

#include "platform/linux/com/base.h"

// The system's classes on Linux. Each gives a new object's reference for `iid` in `*object`, which
// the caller has set to null, or a negative code.

namespace zevra {

// CLSID_MMDeviceEnumerator. The library links the one of the sound server's endpoints, its twin the
// one of those inside the process.
HRESULT CreateDeviceEnumerator(REFIID iid, void** object);

// CLSID_CResamplerMediaObject: the resampler transform.
HRESULT CreateResampler(REFIID iid, void** object);

}  // namespace zevra

#endif
