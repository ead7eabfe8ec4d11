#include "device/zevra_impl.h"
#include "log/log.h"
#include "platform/result.h"

using zevra::ComPtr;
using zevra::Hex;

HRESULT ZevraImpl::getVolume(float* volume) const {
  ComPtr<IAudioEndpointVolume> control;
  HRESULT result =
      device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, control.PutVoid());
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::getVolume | error | Activate %x", Hex(result));
    return result;
  }
  result = control->GetMasterVolumeLevelScalar(volume);
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::getVolume | error | GetService %x", Hex(result));
    return result;
  }
  return S_OK;
}
