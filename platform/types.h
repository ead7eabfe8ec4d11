#ifndef ZEVRA_PLATFORM_TYPES_H
#define ZEVRA_PLATFORM_TYPES_H

// The platform's basic types and result codes.
#if defined(_WIN32)
#include "platform/windows/types.h"
#else
#include "platform/linux/types.h"
#endif

// A UTF-16 literal of the platform's wide character.
#if defined(_WIN32)
#define ZEVRA_WIDE(text) L##text
#else
#define ZEVRA_WIDE(text) u##text
#endif

#endif
