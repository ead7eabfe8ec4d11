#ifndef ZEVRA_PLATFORM_KERNEL_H
#define ZEVRA_PLATFORM_KERNEL_H

// Events, threads, waitable timers and waits. On Windows the SDK's, on Linux the subset that the
// library stands on.
#if defined(_WIN32)
#include "platform/windows/kernel.h"
#else
#include "platform/linux/kernel.h"
#endif

#endif
