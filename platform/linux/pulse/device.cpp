#include "platform/linux/pulse/device.h"

#include "platform/linux/pulse/client.h"
#include "platform/linux/pulse/endpoint_volume.h"
#include "platform/linux/pulse/property_store.h"
#include "platform/owners.h"
#include "platform/result.h"

namespace zevra {
namespace {

// Makes an object that has to be opened before it can be used.
template <class Object, class Interface>
HRESULT MakeOpen(const PulseEndpoint& endpoint, Interface** object) {
  auto made = ComPtr<Object>::Attach(MakeCom<Object>());
  if (!made) return E_OUTOFMEMORY;
  const HRESULT result = NoThrow([&] { return made->Open(endpoint.flow, endpoint.name); });
  if (SUCCEEDED(result)) *object = made.Detach();
  return result;
}

}  // namespace

HRESULT PulseDevice::Activate(REFIID iid, DWORD, PROPVARIANT*, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (iid == IID_IAudioClient) {
    IAudioClient* client = nullptr;
    const HRESULT result = MakeOpen<PulseAudioClient>(endpoint_, &client);
    *object = client;
    return result;
  }
  if (iid == IID_IAudioEndpointVolume) {
    IAudioEndpointVolume* volume = nullptr;
    const HRESULT result = MakeOpen<PulseEndpointVolume>(endpoint_, &volume);
    *object = volume;
    return result;
  }
  return E_NOINTERFACE;
}

HRESULT PulseDevice::OpenPropertyStore(DWORD access, IPropertyStore** properties) {
  if (properties == nullptr) return E_POINTER;
  *properties = nullptr;
  if (access != STGM_READ) return E_INVALIDARG;
  return NoThrow([&] {
    *properties = MakeCom<PulsePropertyStore>(FriendlyName(endpoint_));
    return *properties != nullptr ? S_OK : E_OUTOFMEMORY;
  });
}

}  // namespace zevra
