#include "platform/linux/pulse/endpoint_volume.h"

#include <pulse/volume.h>

#include <algorithm>

#include "platform/result.h"

namespace zevra {

HRESULT PulseEndpointVolume::Open(EDataFlow flow, const std::string& name) {
  flow_ = flow;
  name_ = name;
  if (const HRESULT result = connection_.Open(); FAILED(result)) return result;
  PulseEndpoint endpoint;
  return Read(&endpoint);
}

HRESULT PulseEndpointVolume::Read(PulseEndpoint* endpoint) {
  const HRESULT result = FindEndpoint(connection_, flow_, name_, endpoint);
  return result == kEndpointNotFound ? AUDCLNT_E_DEVICE_INVALIDATED : result;
}

HRESULT PulseEndpointVolume::GetMasterVolumeLevelScalar(float* level) {
  if (level == nullptr) return E_POINTER;
  return NoThrow([&] {
    PulseEndpoint endpoint;
    if (const HRESULT result = Read(&endpoint); FAILED(result)) return result;
    if (!pa_cvolume_valid(&endpoint.volume)) return E_UNEXPECTED;
    const pa_volume_t average = std::min(pa_cvolume_avg(&endpoint.volume), PA_VOLUME_NORM);
    *level = static_cast<float>(average) / static_cast<float>(PA_VOLUME_NORM);
    return S_OK;
  });
}

}  // namespace zevra
