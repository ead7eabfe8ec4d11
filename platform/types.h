#ifndef ZEVRA_PLATFORM_TYPES_H
#define ZEVRA_PLATFORM_TYPES_H

// The platform's basic types and result codes.
#if defined(_WIN32)
#include "platform/windows/types.h"
#else
#include "platform/linux/types.h"
#endif

#endif
