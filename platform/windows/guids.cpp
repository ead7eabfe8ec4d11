// The one place where the ids that the SDK's headers declare get their values. Its import libraries
// hold only some of them. The linker drops what nobody names.
#include <initguid.h>

#include "platform/api.h"

// The interface is declared by the SDK without its id, or not at all.
DEFINE_GUID(IID_IWMResamplerProps, 0xE7E9984F, 0xF09F, 0x4DA4, 0x90, 0x3F, 0x6E, 0x2E, 0x0E, 0xFE,
            0x56, 0xB5);
