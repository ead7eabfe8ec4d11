#ifndef ZEVRA_DEVICE_FRIENDLY_NAME_H
#define ZEVRA_DEVICE_FRIENDLY_NAME_H

#include "platform/api.h"
#include "platform/owners.h"

namespace zevra {

// The enumerator of the endpoints. On a thread with COM.
HRESULT CreateDeviceEnumerator(ComPtr<IMMDeviceEnumerator>* enumerator);

// An endpoint's friendly name with the store that it came from.
class FriendlyName {
 public:
  HRESULT OpenStore(IMMDevice* device);
  // After OpenStore. Succeeds whatever type the value has.
  HRESULT Read();

  bool IsText() const { return value_.Get().vt == VT_LPWSTR; }
  VARTYPE Type() const { return value_.Get().vt; }
  // UTF-16, zero-terminated, valid while this object is; only if IsText. Never null.
  LPCWSTR Text() const;

 private:
  ComPtr<IPropertyStore> store_;
  PropVariant value_;
};

}  // namespace zevra

#endif
