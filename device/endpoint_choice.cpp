#include "device/friendly_name.h"
#include "device/zevra_impl.h"
#include "log/log.h"
#include "platform/result.h"
#include "platform/text.h"

using zevra::ComPtr;
using zevra::FriendlyName;
using zevra::Hex;
using zevra::TraceScope;

namespace {

// Reads a name that must be text. Both searches write the same line where the store cannot be
// opened, and none for the rest.
HRESULT ReadTextName(IMMDevice* endpoint, FriendlyName& name) {
  HRESULT result = name.OpenStore(endpoint);
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::GetSpecifyDevice | error | OpenPropertyStore %x", Hex(result));
    return result;
  }
  result = name.Read();
  if (FAILED(result)) return result;
  return name.IsText() ? result : E_UNEXPECTED;
}

// By name, the flag follows the argument and not the kind of endpoint found.
DWORD StreamFlags(std::uint32_t data_flow, DWORD otherwise) {
  if (data_flow == eRender) return AUDCLNT_STREAMFLAGS_LOOPBACK;
  return data_flow == eCapture ? 0 : otherwise;
}

}  // namespace

HRESULT ZevraImpl::GetDefaultDevice(std::uint32_t data_flow) {
  const TraceScope scope("ZevraImpl::GetDefaultDevice");
  ComPtr<IMMDeviceEnumerator> enumerator;
  HRESULT result = zevra::CreateDeviceEnumerator(&enumerator);
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::GetDefaultDevice | error | CoCreateInstance %x", Hex(result));
    return result;
  }
  result = enumerator->GetDefaultAudioEndpoint(static_cast<EDataFlow>(data_flow), eConsole,
                                               device.Put());
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::GetDefaultDevice | error | GetDefaultAudioEndpoint %x",
                    Hex(result));
    return result;
  }
  stream_flags = AUDCLNT_STREAMFLAGS_LOOPBACK;
  FriendlyName name;
  return ReadTextName(device.Get(), name);
}

HRESULT ZevraImpl::GetSpecifyDevice(LPCWSTR name, std::uint32_t data_flow) {
  const TraceScope scope("ZevraImpl::GetSpecifyDevice");
  ComPtr<IMMDeviceEnumerator> enumerator;
  HRESULT result = zevra::CreateDeviceEnumerator(&enumerator);
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::GetSpecifyDevice | error | CoCreateInstance %x", Hex(result));
    return result;
  }
  ComPtr<IMMDeviceCollection> endpoints;
  result = enumerator->EnumAudioEndpoints(static_cast<EDataFlow>(data_flow), DEVICE_STATE_ACTIVE,
                                          endpoints.Put());
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::GetSpecifyDevice | error | EnumAudioEndpoints %x, dataFlow %d",
                    Hex(result), static_cast<int>(data_flow));
    return result;
  }
  UINT count = 0;
  result = endpoints->GetCount(&count);
  if (FAILED(result)) {
    ZEVRA_LOG_ERROR("ZevraImpl::GetSpecifyDevice | error | GetCount %x", Hex(result));
    return result;
  }

  // Every endpoint is visited, also after a match: that is how a second one of the name is found.
  for (UINT index = 0; index < count; ++index) {
    ComPtr<IMMDevice> endpoint;
    result = endpoints->Item(index, endpoint.Put());
    if (FAILED(result)) {
      ZEVRA_LOG_ERROR("ZevraImpl::GetSpecifyDevice | error | Item %x", Hex(result));
      return result;
    }
    FriendlyName found;
    result = ReadTextName(endpoint.Get(), found);
    if (FAILED(result)) return result;
    if (!zevra::EqualIgnoringCase(found.Text(), name)) continue;
    if (device) return E_UNEXPECTED;
    device = ComPtr<IMMDevice>::Share(endpoint.Get());
    stream_flags = StreamFlags(data_flow, stream_flags);
  }
  if (!device) {
    ZEVRA_LOG_ERROR("ZevraImpl::GetSpecifyDevice | error | No Device Found!");
    return zevra::ResultFromError(ERROR_NOT_FOUND);
  }
  return result;
}
