#ifndef ZEVRA_PLATFORM_WINDOWS_TYPES_H
#define ZEVRA_PLATFORM_WINDOWS_TYPES_H

#include <windows.h>

#include <cstddef>
#include <cstdint>

#endif
