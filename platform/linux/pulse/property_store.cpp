#include "platform/linux/pulse/property_store.h"

#include <cstddef>
#include <cstring>

#include "platform/linux/utf16.h"

namespace zevra {

std::u16string FriendlyName(const PulseEndpoint& endpoint) {
  return Utf16FromUtf8(endpoint.description.empty() ? endpoint.name : endpoint.description);
}

HRESULT PulsePropertyStore::GetValue(REFPROPERTYKEY key, PROPVARIANT* value) {
  if (value == nullptr) return E_POINTER;
  *value = {};
  if (!(key == PKEY_Device_FriendlyName)) return S_OK;
  const std::size_t bytes = (friendly_name_.size() + 1) * sizeof(WCHAR);
  void* const text = ::CoTaskMemAlloc(bytes);
  if (text == nullptr) return E_OUTOFMEMORY;
  std::memcpy(text, friendly_name_.c_str(), bytes);
  value->vt = VT_LPWSTR;
  value->pwszVal = static_cast<LPWSTR>(text);
  return S_OK;
}

}  // namespace zevra
