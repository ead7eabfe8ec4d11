#ifndef ZEVRA_PLATFORM_WINDOWS_CORE_AUDIO_H
#define ZEVRA_PLATFORM_WINDOWS_CORE_AUDIO_H

// Media Foundation comes first: what audioclient.h draws in defines a record of strmif.h again
// without a guard, and only the headers of Media Foundation look whether it is there.
#include "platform/windows/media_foundation.h"
// The SDK's headers build on windows.h, and some on those before them.
#include <mmreg.h>
//
#include <audioclient.h>
#include <endpointvolume.h>
#include <ks.h>
#include <ksmedia.h>
#include <mmdeviceapi.h>
#include <propsys.h>
//
#include <functiondiscoverykeys_devpkey.h>

#endif
