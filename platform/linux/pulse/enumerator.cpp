#include "platform/linux/pulse/enumerator.h"

#include <utility>

#include "platform/linux/class_factories.h"
#include "platform/linux/pulse/device.h"
#include "platform/owners.h"
#include "platform/result.h"

namespace zevra {
namespace {

// The four states that an endpoint can have.
constexpr DWORD kAllStates = 0xF;

}  // namespace

HRESULT PulseDeviceCollection::GetCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = static_cast<UINT>(endpoints_.size());
  return S_OK;
}

HRESULT PulseDeviceCollection::Item(UINT index, IMMDevice** device) {
  if (device == nullptr) return E_POINTER;
  *device = nullptr;
  if (index >= endpoints_.size()) return E_INVALIDARG;
  return NoThrow([&] {
    *device = MakeCom<PulseDevice>(PulseEndpoint(endpoints_[index]));
    return *device != nullptr ? S_OK : E_OUTOFMEMORY;
  });
}

HRESULT PulseDeviceEnumerator::EnumAudioEndpoints(EDataFlow flow, DWORD state_mask,
                                                  IMMDeviceCollection** devices) {
  if (devices == nullptr) return E_POINTER;
  *devices = nullptr;
  // The flow is a host's number and may be anything.
  if (flow != eRender && flow != eCapture && flow != eAll) return E_INVALIDARG;
  if (state_mask == 0 || (state_mask & ~kAllStates) != 0) return E_INVALIDARG;
  return NoThrow([&] {
    PulseConnection connection;
    if (const HRESULT result = connection.Open(); FAILED(result)) return result;
    std::vector<PulseEndpoint> endpoints;
    if ((state_mask & DEVICE_STATE_ACTIVE) != 0) {
      const HRESULT result = ListEndpoints(connection, flow, &endpoints);
      if (FAILED(result)) return result;
    }
    *devices = MakeCom<PulseDeviceCollection>(std::move(endpoints));
    return *devices != nullptr ? S_OK : E_OUTOFMEMORY;
  });
}

HRESULT PulseDeviceEnumerator::GetDefaultAudioEndpoint(EDataFlow flow, ERole, IMMDevice** device) {
  if (device == nullptr) return E_POINTER;
  *device = nullptr;
  if (flow != eRender && flow != eCapture) return E_INVALIDARG;
  return NoThrow([&] {
    PulseConnection connection;
    if (const HRESULT result = connection.Open(); FAILED(result)) return result;
    PulseEndpoint endpoint;
    const HRESULT result = FindDefaultEndpoint(connection, flow, &endpoint);
    if (FAILED(result)) return result;
    *device = MakeCom<PulseDevice>(std::move(endpoint));
    return *device != nullptr ? S_OK : E_OUTOFMEMORY;
  });
}

HRESULT CreateDeviceEnumerator(REFIID iid, void** object) {
  const auto enumerator = ComPtr<PulseDeviceEnumerator>::Attach(MakeCom<PulseDeviceEnumerator>());
  return enumerator ? enumerator->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

}  // namespace zevra
