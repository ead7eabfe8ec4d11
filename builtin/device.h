#ifndef ZEVRA_BUILTIN_DEVICE_H
#define ZEVRA_BUILTIN_DEVICE_H

#include <memory>

#include "builtin/endpoint.h"
#include "platform/com_object.h"

namespace zevra::builtin {

// An endpoint of the machine as its users see it: streams, the volume control, the friendly name.
class Device final : public ComObject<IMMDevice> {
 public:
  explicit Device(std::shared_ptr<Endpoint> endpoint);

  HRESULT Activate(REFIID iid, DWORD context, PROPVARIANT* parameters, void** object) override;
  HRESULT OpenPropertyStore(DWORD access, IPropertyStore** properties) override;

 private:
  const std::shared_ptr<Endpoint> endpoint_;
};

}  // namespace zevra::builtin

#endif
