#include "platform/linux/last_error.h"

#include <cerrno>

#include "platform/api.h"

namespace {
thread_local DWORD last_error = ERROR_SUCCESS;
}  // namespace

DWORD GetLastError() { return last_error; }

void SetLastError(DWORD code) { last_error = code; }

namespace zevra {

DWORD ErrorFromErrno(int error) {
  switch (error) {
    case 0:
      return ERROR_SUCCESS;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case EPERM:
    case EACCES:
      return ERROR_ACCESS_DENIED;
    case EBADF:
      return ERROR_INVALID_HANDLE;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EAGAIN:
      return ERROR_NO_SYSTEM_RESOURCES;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    default:
      return ERROR_GEN_FAILURE;
  }
}

void SetLastErrorFromErrno(int error) { SetLastError(ErrorFromErrno(error)); }

}  // namespace zevra
