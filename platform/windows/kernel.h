#ifndef ZEVRA_PLATFORM_WINDOWS_KERNEL_H
#define ZEVRA_PLATFORM_WINDOWS_KERNEL_H

#include "platform/windows/types.h"
// The SDK's headers build on windows.h.
#include <avrt.h>

#endif
