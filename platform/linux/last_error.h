#ifndef ZEVRA_PLATFORM_LINUX_LAST_ERROR_H
#define ZEVRA_PLATFORM_LINUX_LAST_ERROR_H

#include "platform/api.h"

namespace zevra {

// The Win32 code that says the same as `error`, an errno value.
DWORD ErrorFromErrno(int error);

// Leaves the code of `error` in GetLastError.
void SetLastErrorFromErrno(int error);

}  // namespace zevra

#endif
