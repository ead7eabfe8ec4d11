#ifndef ZEVRA_PLATFORM_APPLICATIONS_H
#define ZEVRA_PLATFORM_APPLICATIONS_H

#include "platform/api.h"

namespace zevra {

// Finds what one application plays, by a name such as "Firefox (application)", letter case ignored:
// a render endpoint of which a loopback capture records that application alone. No list shows it.
// ResultFromError(ERROR_NOT_FOUND) for a name of another form, where no such application plays, and
// on systems without this; else the result of a failed call. On a thread with COM.
HRESULT FindApplication(LPCWSTR name, IMMDevice** device);

}  // namespace zevra

#endif
