#include <sys/eventfd.h>

#include <cerrno>

#include "platform/linux/handle_table.h"
#include "platform/linux/last_error.h"

using zevra::ObjectKind;

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    LPCWSTR name) {
  if (security != nullptr || name != nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const int descriptor = ::eventfd(initial_state != FALSE ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
  const auto* const object =
      zevra::OpenObject(ObjectKind::kEvent, manual_reset != FALSE, descriptor);
  return object != nullptr ? HandleOf(*object) : nullptr;
}

BOOL SetEvent(HANDLE event) {
  const zevra::Pinned object(event, ObjectKind::kEvent);
  if (!object) return FALSE;
  if (!SignalObject(*object)) {
    zevra::SetLastErrorFromErrno(errno);
    return FALSE;
  }
  return TRUE;
}
