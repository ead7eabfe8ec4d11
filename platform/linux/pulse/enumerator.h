#ifndef ZEVRA_PLATFORM_LINUX_PULSE_ENUMERATOR_H
#define ZEVRA_PLATFORM_LINUX_PULSE_ENUMERATOR_H

#include <memory>
#include <vector>

#include "platform/com_object.h"
#include "platform/linux/pulse/endpoints.h"

namespace zevra {

// A list of endpoints as they were when it was made.
class PulseDeviceCollection final : public ComObject<IMMDeviceCollection> {
 public:
  explicit PulseDeviceCollection(std::vector<PulseEndpoint> endpoints) noexcept
      : endpoints_(std::move(endpoints)) {}

  HRESULT GetCount(UINT* count) override;
  HRESULT Item(UINT index, IMMDevice** device) override;

 private:
  const std::vector<PulseEndpoint> endpoints_;
};

// Asks the user's sound server, over a connection that lives only for the call. Every endpoint that
// the server has is active: it lists none that are disabled or unplugged.
class PulseDeviceEnumerator final : public ComObject<IMMDeviceEnumerator> {
 public:
  // In the order of ListEndpoints.
  HRESULT EnumAudioEndpoints(EDataFlow flow, DWORD state_mask,
                             IMMDeviceCollection** devices) override;
  // The server knows one default for all roles.
  HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, IMMDevice** device) override;
};

}  // namespace zevra

#endif
