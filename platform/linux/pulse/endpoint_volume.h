#ifndef ZEVRA_PLATFORM_LINUX_PULSE_ENDPOINT_VOLUME_H
#define ZEVRA_PLATFORM_LINUX_PULSE_ENDPOINT_VOLUME_H

#include <string>

#include "platform/com_object.h"
#include "platform/linux/pulse/endpoints.h"

namespace zevra {

// The volume control of one endpoint, read afresh at every call over a connection of its own.
class PulseEndpointVolume final : public ComObject<IAudioEndpointVolume> {
 public:
  // Connects to the endpoint; call it once, first. AUDCLNT_E_SERVICE_NOT_RUNNING without a server,
  // AUDCLNT_E_DEVICE_INVALIDATED if it has no such endpoint any more. May throw for want of memory.
  HRESULT Open(EDataFlow flow, const std::string& name);

  // The average over the endpoint's channels on the scale that mixers show as 0 to 100 %; what a
  // mixer amplifies beyond that is 1.0. Muting has no influence: a muted endpoint keeps its level.
  HRESULT GetMasterVolumeLevelScalar(float* level) override;

 private:
  HRESULT Read(PulseEndpoint* endpoint);

  PulseConnection connection_;
  EDataFlow flow_ = eRender;
  std::string name_;
};

}  // namespace zevra

#endif
