#include <algorithm>
#include <cstddef>

#include "device/zevra_impl.h"
#include "log/log.h"
#include "platform/applications.h"
#include "platform/owners.h"
#include "platform/result.h"
#include "platform/text.h"
#include "stream/failure.h"

namespace zevra {
namespace {

constexpr char kListScope[] = "::ZevraGetDeviceList";
constexpr char kDefaultScope[] = "ZevraImpl::GetDefaultDevice";
constexpr char kSpecifyScope[] = "ZevraImpl::GetSpecifyDevice";

HRESULT OpenEnumerator(ComPtr<IMMDeviceEnumerator>& enumerator) {
  return os::CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL,
                              IID_IMMDeviceEnumerator, enumerator.PutVoid());
}

// An endpoint's friendly name with the store that it came from.
class FriendlyName {
 public:
  HRESULT OpenStore(IMMDevice* device) {
    return device->OpenPropertyStore(STGM_READ, store_.Put());
  }
  // After OpenStore. Succeeds whatever type the value has.
  HRESULT Read() { return store_->GetValue(PKEY_Device_FriendlyName, value_.Put()); }

  bool IsText() const { return value_.Get().vt == VT_LPWSTR; }
  VARTYPE Type() const { return value_.Get().vt; }
  // UTF-16, zero-terminated, valid while this object is; only if IsText. Never null.
  LPCWSTR Text() const {
    const LPCWSTR text = value_.Get().pwszVal;
    return text != nullptr ? text : ZEVRA_WIDE("");
  }

 private:
  ComPtr<IPropertyStore> store_;
  PropVariant value_;
};

constexpr bool IsHighSurrogate(ZevraChar unit) { return (unit & 0xFC00) == 0xD800; }

// Copies the name with its terminator; a longer one is cut, and no pair of units is left in half.
void CopyIntoRow(LPCWSTR name, ZevraChar (&row)[ZEVRA_DEVICE_NAME_UNITS]) {
  std::size_t units = 0;
  while (units < ZEVRA_DEVICE_NAME_UNITS && name[units] != 0) ++units;
  if (units == ZEVRA_DEVICE_NAME_UNITS) {
    --units;
    if (IsHighSurrogate(name[units - 1])) --units;
  }
  std::copy_n(name, units, row);
  row[units] = 0;
}

// Adds one endpoint's name. A failure skips the endpoint; a name of the wrong type is none, since
// the platform's call itself succeeded.
HRESULT AppendEndpoint(IMMDeviceCollection* endpoints, UINT index, ZevraDeviceList* list) {
  ComPtr<IMMDevice> endpoint;
  ZEVRA_RETURN_LOGGED(kListScope, "Item", endpoints->Item(index, endpoint.Put()));
  FriendlyName name;
  ZEVRA_RETURN_LOGGED(kListScope, "OpenPropertyStore", name.OpenStore(endpoint.Get()));
  const HRESULT result = name.Read();
  if (FAILED(result)) return LogFailure(kListScope, "GetValue", result);
  if (!name.IsText()) {
    ZEVRA_LOG_ERROR(
        "::ZevraGetDeviceList | error | PKEY_Device_FriendlyName variant type is %u - expected "
        "VT_LPWSTR",
        static_cast<unsigned>(name.Type()));
    return result;
  }
  CopyIntoRow(name.Text(), list->names[list->count]);
  ++list->count;
  return result;
}

// Reads a name that must be text. Both searches write the same line where the store cannot be
// opened, and none for the rest.
HRESULT ReadTextName(IMMDevice* endpoint, FriendlyName& name) {
  ZEVRA_RETURN_LOGGED(kSpecifyScope, "OpenPropertyStore", name.OpenStore(endpoint));
  const HRESULT result = name.Read();
  return FAILED(result) || name.IsText() ? result : E_UNEXPECTED;
}

// By name, the flag follows the argument and not the kind of endpoint found.
DWORD StreamFlags(std::uint32_t data_flow, DWORD otherwise) {
  if (data_flow == eRender) return AUDCLNT_STREAMFLAGS_LOOPBACK;
  return data_flow == eCapture ? 0 : otherwise;
}

}  // namespace

HRESULT ListDevices(EDataFlow flow, ZevraDeviceList* list) {
  list->count = 0;
  ComPtr<IMMDeviceEnumerator> enumerator;
  ZEVRA_RETURN_LOGGED(kListScope, "CoCreateInstance", OpenEnumerator(enumerator));
  ComPtr<IMMDeviceCollection> endpoints;
  ZEVRA_RETURN_LOGGED(kListScope, "EnumAudioEndpoints",
                      enumerator->EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, endpoints.Put()));
  UINT count = 0;
  HRESULT result = endpoints->GetCount(&count);
  if (FAILED(result)) return LogFailure(kListScope, "GetCount", result);
  for (UINT index = 0; index < count && list->count < ZEVRA_DEVICE_LIST_ROWS; ++index)
    result = AppendEndpoint(endpoints.Get(), index, list);
  return result;
}

}  // namespace zevra

using zevra::ComPtr;
using zevra::FriendlyName;
using zevra::Hex;
using zevra::TraceScope;

HRESULT ZevraImpl::GetDefaultDevice(std::uint32_t data_flow) {
  const TraceScope scope(zevra::kDefaultScope);
  ComPtr<IMMDeviceEnumerator> enumerator;
  ZEVRA_RETURN_LOGGED(zevra::kDefaultScope, "CoCreateInstance", zevra::OpenEnumerator(enumerator));
  ZEVRA_RETURN_LOGGED(zevra::kDefaultScope, "GetDefaultAudioEndpoint",
                      enumerator->GetDefaultAudioEndpoint(static_cast<EDataFlow>(data_flow),
                                                          eConsole, device.Put()));
  stream_flags = AUDCLNT_STREAMFLAGS_LOOPBACK;
  FriendlyName name;
  return zevra::ReadTextName(device.Get(), name);
}

HRESULT ZevraImpl::GetSpecifyDevice(LPCWSTR name, std::uint32_t data_flow) {
  const TraceScope scope(zevra::kSpecifyScope);
  ComPtr<IMMDeviceEnumerator> enumerator;
  ZEVRA_RETURN_LOGGED(zevra::kSpecifyScope, "CoCreateInstance", zevra::OpenEnumerator(enumerator));
  ComPtr<IMMDeviceCollection> endpoints;
  HRESULT result = enumerator->EnumAudioEndpoints(static_cast<EDataFlow>(data_flow),
                                                  DEVICE_STATE_ACTIVE, endpoints.Put());
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::GetSpecifyDevice | error | EnumAudioEndpoints %x, dataFlow %d",
                    Hex(result), static_cast<int>(data_flow));
    return result;
  }
  UINT count = 0;
  ZEVRA_RETURN_LOGGED(zevra::kSpecifyScope, "GetCount", endpoints->GetCount(&count));

  // Every endpoint is visited, also after a match: that is how a second one of the name is found.
  for (UINT index = 0; index < count; ++index) {
    ComPtr<IMMDevice> endpoint;
    ZEVRA_RETURN_LOGGED(zevra::kSpecifyScope, "Item", endpoints->Item(index, endpoint.Put()));
    FriendlyName found;
    result = zevra::ReadTextName(endpoint.Get(), found);
    if (FAILED(result)) return result;
    if (!zevra::EqualIgnoringCase(found.Text(), name)) continue;
    if (device) return E_UNEXPECTED;
    device = ComPtr<IMMDevice>::Share(endpoint.Get());
    stream_flags = zevra::StreamFlags(data_flow, stream_flags);
  }
  if (device) return result;
  constexpr HRESULT kNotFound = zevra::ResultFromError(ERROR_NOT_FOUND);
  // An endpoint of that very name comes first.
  result = data_flow == eRender ? zevra::FindApplication(name, device.Put()) : kNotFound;
  if (result == kNotFound)
    ZEVRA_LOG_ERROR("ZevraImpl::GetSpecifyDevice | error | No Device Found!");
  else
    stream_flags = zevra::StreamFlags(data_flow, stream_flags);
  return result;
}
