#include "platform/linux/class_factories.h"

namespace zevra::platform {

HRESULT CreateResampler(REFIID, void**) { return REGDB_E_CLASSNOTREG; }

}  // namespace zevra::platform
