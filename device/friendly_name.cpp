#include "device/friendly_name.h"

#include "platform/api.h"

namespace zevra {

HRESULT CreateDeviceEnumerator(ComPtr<IMMDeviceEnumerator>* enumerator) {
  return os::CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL,
                              IID_IMMDeviceEnumerator, enumerator->PutVoid());
}

HRESULT FriendlyName::OpenStore(IMMDevice* device) {
  return device->OpenPropertyStore(STGM_READ, store_.Put());
}

HRESULT FriendlyName::Read() { return store_->GetValue(PKEY_Device_FriendlyName, value_.Put()); }

LPCWSTR FriendlyName::Text() const {
  const LPCWSTR text = value_.Get().pwszVal;
  return text != nullptr ? text : ZEVRA_WIDE("");
}

}  // namespace zevra
