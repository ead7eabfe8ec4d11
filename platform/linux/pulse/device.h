#ifndef ZEVRA_PLATFORM_LINUX_PULSE_DEVICE_H
#define ZEVRA_PLATFORM_LINUX_PULSE_DEVICE_H

#include <string>
#include <utility>

#include "platform/com_object.h"
#include "platform/linux/pulse/endpoints.h"

namespace zevra {

// One endpoint, known by the server's name for it; an endpoint that goes away and comes back under
// that name is the same. It holds no connection: each object that it activates makes its own, and
// the properties are those of the moment when the endpoint was looked up.
class PulseDevice final : public ComObject<IMMDevice> {
 public:
  explicit PulseDevice(PulseEndpoint endpoint) : endpoint_(std::move(endpoint)) {}

  // AUDCLNT_E_SERVICE_NOT_RUNNING without a server, AUDCLNT_E_DEVICE_INVALIDATED if the endpoint
  // has gone, E_NOINTERFACE for anything but an audio client and a volume control.
  HRESULT Activate(REFIID iid, DWORD context, PROPVARIANT* parameters, void** object) override;
  HRESULT OpenPropertyStore(DWORD access, IPropertyStore** properties) override;

 private:
  const PulseEndpoint endpoint_;
};

}  // namespace zevra

#endif
