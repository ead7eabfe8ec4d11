#ifndef ZEVRA_PLATFORM_LINUX_PULSE_PROPERTY_STORE_H
#define ZEVRA_PLATFORM_LINUX_PULSE_PROPERTY_STORE_H

#include <string>
#include <utility>

#include "platform/com_object.h"
#include "platform/linux/pulse/endpoints.h"

namespace zevra {

// What people know the endpoint by: the server's description or, if that is empty, its name.
// Throws for want of memory.
std::u16string FriendlyName(const PulseEndpoint& endpoint);

// The properties of an endpoint; there is one, PKEY_Device_FriendlyName.
class PulsePropertyStore final : public ComObject<IPropertyStore> {
 public:
  explicit PulsePropertyStore(std::u16string friendly_name) noexcept
      : friendly_name_(std::move(friendly_name)) {}

  HRESULT GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;

 private:
  const std::u16string friendly_name_;
};

}  // namespace zevra

#endif
