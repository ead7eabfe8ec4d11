#include "platform/linux/class_factories.h"

namespace zevra::platform {

HRESULT CreateDeviceEnumerator(REFIID, void**) { return REGDB_E_CLASSNOTREG; }

}  // namespace zevra::platform
