#include "device/device_list.h"

#include <algorithm>
#include <cstddef>

#include "device/friendly_name.h"
#include "log/log.h"
#include "platform/result.h"

namespace zevra {
namespace {

// A failed call of the list functions: its line, then its code.
HRESULT Failed(const char* operation, HRESULT result) {
  ZEVRA_LOG_ERROR("::ZevraGetDeviceList | error | %s %x", operation, Hex(result));
  return result;
}

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
  HRESULT result = endpoints->Item(index, endpoint.Put());
  if (FAILED(result)) return Failed("Item", result);
  FriendlyName name;
  result = name.OpenStore(endpoint.Get());
  if (FAILED(result)) return Failed("OpenPropertyStore", result);
  result = name.Read();
  if (FAILED(result)) return Failed("GetValue", result);
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

}  // namespace

HRESULT ListDevices(EDataFlow flow, ZevraDeviceList* list) {
  list->count = 0;
  ComPtr<IMMDeviceEnumerator> enumerator;
  HRESULT result = CreateDeviceEnumerator(&enumerator);
  if (FAILED(result)) return Failed("CoCreateInstance", result);
  ComPtr<IMMDeviceCollection> endpoints;
  result = enumerator->EnumAudioEndpoints(flow, DEVICE_STATE_ACTIVE, endpoints.Put());
  if (FAILED(result)) return Failed("EnumAudioEndpoints", result);
  UINT count = 0;
  result = endpoints->GetCount(&count);
  if (FAILED(result)) return Failed("GetCount", result);
  for (UINT index = 0; index < count && list->count < ZEVRA_DEVICE_LIST_ROWS; ++index)
    result = AppendEndpoint(endpoints.Get(), index, list);
  return result;
}

}  // namespace zevra
