#ifndef ZEVRA_PLATFORM_WINDOWS_COM_H
#define ZEVRA_PLATFORM_WINDOWS_COM_H

#include "platform/windows/types.h"
// The SDK's headers build on windows.h.
#include <objbase.h>
#include <propidl.h>

#endif
