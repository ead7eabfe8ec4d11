// The objects through which the library sees endpoints: enumerator, list, endpoint, its properties
// and its volume control.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "platform/applications.h"
#include "platform/com_object.h"
#include "platform/linux/com/com.h"
#include "platform/linux/pulse/endpoints/applications.h"
#include "platform/linux/pulse/endpoints/endpoints.h"
#include "platform/linux/unicode.h"
#include "platform/owners.h"
#include "platform/result.h"
#include "platform/text.h"

namespace zevra {
namespace {

// The properties of an endpoint; there is one, PKEY_Device_FriendlyName.
class PulsePropertyStore final : public ComObject<IPropertyStore> {
 public:
  explicit PulsePropertyStore(std::u16string friendly_name) noexcept
      : friendly_name_(std::move(friendly_name)) {}

  HRESULT GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override {
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

 private:
  const std::u16string friendly_name_;
};

// The volume control of one endpoint, read afresh at every call over a connection of its own.
class PulseEndpointVolume final : public ComObject<IAudioEndpointVolume> {
 public:
  // Connects to the endpoint; call it once, first. AUDCLNT_E_SERVICE_NOT_RUNNING without a server,
  // AUDCLNT_E_DEVICE_INVALIDATED if it has no such endpoint any more. May throw for want of memory.
  HRESULT Open(const PulseEndpoint& endpoint) {
    endpoint_ = endpoint;
    if (const HRESULT result = connection_.Open(); FAILED(result)) return result;
    PulseEndpoint ignored;
    return Read(&ignored);
  }

  // The average over the endpoint's channels on the scale that mixers show as 0 to 100 %; what a
  // mixer amplifies beyond that is 1.0. Muting has no influence: a muted endpoint keeps its level.
  HRESULT GetMasterVolumeLevelScalar(float* level) override {
    return NoThrow([&] {
      PulseEndpoint endpoint;
      if (const HRESULT result = Read(&endpoint); FAILED(result)) return result;
      if (!pa_cvolume_valid(&endpoint.volume)) return E_UNEXPECTED;
      const pa_volume_t average = std::min(pa_cvolume_avg(&endpoint.volume), PA_VOLUME_NORM);
      *level = static_cast<float>(average) / static_cast<float>(PA_VOLUME_NORM);
      return S_OK;
    });
  }

 private:
  HRESULT Read(PulseEndpoint* endpoint) {
    const HRESULT result = ReadEndpoint(connection_, endpoint_, endpoint);
    return result == kEndpointNotFound ? AUDCLNT_E_DEVICE_INVALIDATED : result;
  }

  PulseConnection connection_;
  PulseEndpoint endpoint_;
};

HRESULT OpenEndpointVolume(const PulseEndpoint& endpoint, IAudioEndpointVolume** volume) {
  auto made = ComPtr<PulseEndpointVolume>::Attach(MakeCom<PulseEndpointVolume>());
  if (!made) return E_OUTOFMEMORY;
  const HRESULT result = NoThrow([&] { return made->Open(endpoint); });
  if (SUCCEEDED(result)) *volume = made.Detach();
  return result;
}

// One endpoint, known by the server's name for it; an endpoint that goes away and comes back under
// that name is the same. It holds no connection: each object that it activates makes its own, and
// the properties are those of the moment when the endpoint was looked up.
class PulseDevice final : public ComObject<IMMDevice> {
 public:
  explicit PulseDevice(PulseEndpoint endpoint) : endpoint_(std::move(endpoint)) {}

  // AUDCLNT_E_SERVICE_NOT_RUNNING without a server, AUDCLNT_E_DEVICE_INVALIDATED if the endpoint
  // has gone, E_NOINTERFACE for anything but an audio client and a volume control.
  HRESULT Activate(REFIID iid, DWORD, PROPVARIANT*, void** object) override {
    *object = nullptr;
    if (iid == IID_IAudioClient) return Open(OpenAudioClient, object);
    if (iid == IID_IAudioEndpointVolume) return Open(OpenEndpointVolume, object);
    return E_NOINTERFACE;
  }

  HRESULT OpenPropertyStore(DWORD, IPropertyStore** properties) override {
    *properties = nullptr;
    return NoThrow([&] {
      *properties = MakeCom<PulsePropertyStore>(endpoint_.friendly_name);
      return *properties != nullptr ? S_OK : E_OUTOFMEMORY;
    });
  }

 private:
  template <class Interface>
  HRESULT Open(HRESULT (*open)(const PulseEndpoint&, Interface**), void** object) const {
    Interface* opened = nullptr;
    const HRESULT result = open(endpoint_, &opened);
    *object = opened;
    return result;
  }

  const PulseEndpoint endpoint_;
};

// A list of endpoints as they were when it was made.
class PulseDeviceCollection final : public ComObject<IMMDeviceCollection> {
 public:
  explicit PulseDeviceCollection(std::vector<PulseEndpoint> endpoints) noexcept
      : endpoints_(std::move(endpoints)) {}

  HRESULT GetCount(UINT* count) override {
    *count = static_cast<UINT>(endpoints_.size());
    return S_OK;
  }

  HRESULT Item(UINT index, IMMDevice** device) override {
    *device = nullptr;
    if (index >= endpoints_.size()) return E_INVALIDARG;
    return NoThrow([&] {
      *device = MakeCom<PulseDevice>(PulseEndpoint(endpoints_[index]));
      return *device != nullptr ? S_OK : E_OUTOFMEMORY;
    });
  }

 private:
  const std::vector<PulseEndpoint> endpoints_;
};

// Asks the user's sound server, over a connection that lives only for the call. Every endpoint that
// the server has is active.
class PulseDeviceEnumerator final : public ComObject<IMMDeviceEnumerator> {
 public:
  // In the order of ListEndpoints.
  HRESULT EnumAudioEndpoints(EDataFlow flow, DWORD state_mask,
                             IMMDeviceCollection** devices) override;
  // The server knows one default for all roles.
  HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, IMMDevice** device) override;
};

HRESULT PulseDeviceEnumerator::EnumAudioEndpoints(EDataFlow flow, DWORD state_mask,
                                                  IMMDeviceCollection** devices) {
  *devices = nullptr;
  // The flow is a host's number and may be anything.
  if (flow != eRender && flow != eCapture && flow != eAll) return E_INVALIDARG;
  if (state_mask != DEVICE_STATE_ACTIVE) return E_INVALIDARG;
  return NoThrow([&] {
    PulseConnection connection;
    if (const HRESULT result = connection.Open(); FAILED(result)) return result;
    std::vector<PulseEndpoint> endpoints;
    const HRESULT result = ListEndpoints(connection, flow, &endpoints);
    if (FAILED(result)) return result;
    *devices = MakeCom<PulseDeviceCollection>(std::move(endpoints));
    return *devices != nullptr ? S_OK : E_OUTOFMEMORY;
  });
}

HRESULT PulseDeviceEnumerator::GetDefaultAudioEndpoint(EDataFlow flow, ERole, IMMDevice** device) {
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

}  // namespace

HRESULT CreateDeviceEnumerator(REFIID iid, void** object) {
  const auto enumerator = ComPtr<PulseDeviceEnumerator>::Attach(MakeCom<PulseDeviceEnumerator>());
  return enumerator ? enumerator->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

HRESULT FindApplication(LPCWSTR name, IMMDevice** device) {
  return NoThrow([&] {
    const std::u16string_view wanted(name);
    const std::u16string suffix = Utf16FromUtf8(kApplicationSuffix);
    if (wanted.size() <= suffix.size() ||
        !EqualIgnoringCase(name + (wanted.size() - suffix.size()), suffix.c_str()))
      return kEndpointNotFound;
    PulseConnection connection;
    if (const HRESULT result = connection.Open(); FAILED(result)) return result;
    std::vector<PulseApplication> applications;
    const HRESULT result = ListApplications(connection, &applications);
    if (FAILED(result)) return result;
    for (const PulseApplication& application : applications) {
      PulseEndpoint endpoint;
      endpoint.application = application.index;
      endpoint.friendly_name = Utf16FromUtf8(application.name + std::string(kApplicationSuffix));
      if (!EqualIgnoringCase(endpoint.friendly_name.c_str(), name)) continue;
      PulseEndpoint now;
      if (const HRESULT found = ReadEndpoint(connection, endpoint, &now); FAILED(found))
        return found;
      *device = MakeCom<PulseDevice>(std::move(now));
      return *device != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    return kEndpointNotFound;
  });
}

}  // namespace zevra
