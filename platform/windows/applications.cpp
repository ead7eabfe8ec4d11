#include "platform/applications.h"

#include "platform/result.h"

namespace zevra {

HRESULT FindApplication(LPCWSTR, IMMDevice**) { return ResultFromError(ERROR_NOT_FOUND); }

}  // namespace zevra
