#ifndef ZEVRA_DEVICE_ENDPOINT_LOOKUP_H
#define ZEVRA_DEVICE_ENDPOINT_LOOKUP_H

#include "platform/api.h"
#include "zevra/zevra.h"

namespace zevra {

// Fills `list` (not null) with the names of the active endpoints of `flow`, at most 8, and sets its
// count; no other byte is written. The result is that of the last platform call, so the count is
// right also beside a failure. On a thread with COM.
HRESULT ListDevices(EDataFlow flow, ZevraDeviceList* list);

}  // namespace zevra

#endif
