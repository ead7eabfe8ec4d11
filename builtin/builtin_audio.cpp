#include "builtin/builtin_audio.h"

#include <utility>

#include "builtin/streams.h"
#include "platform/com_object.h"
#include "platform/owners.h"
#include "platform/result.h"

namespace zevra::builtin {
namespace {

using Endpoints = std::vector<std::shared_ptr<Endpoint>>;

// ERROR_NOT_FOUND of the system's error table as a result.
constexpr auto kNotFound = static_cast<HRESULT>(0x80070490);

class Volume final : public ComObject<IAudioEndpointVolume> {
 public:
  explicit Volume(std::shared_ptr<Endpoint> endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT GetMasterVolumeLevelScalar(float* level) override {
    if (level == nullptr) return E_POINTER;
    *level = endpoint_->config().volume;
    return S_OK;
  }

 private:
  const std::shared_ptr<Endpoint> endpoint_;
};

class Properties final : public ComObject<IPropertyStore> {
 public:
  explicit Properties(std::shared_ptr<Endpoint> endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override {
    if (value == nullptr) return E_POINTER;
    *value = {};
    if (!(key == PKEY_Device_FriendlyName)) return S_OK;
    const std::u16string& name = endpoint_->config().name;
    auto* const text = static_cast<WCHAR*>(CoTaskMemAlloc((name.size() + 1) * sizeof(WCHAR)));
    if (text == nullptr) return E_OUTOFMEMORY;
    for (std::size_t unit = 0; unit < name.size(); ++unit) text[unit] = WCHAR{name[unit]};
    text[name.size()] = 0;
    value->vt = VT_LPWSTR;
    value->pwszVal = text;
    return S_OK;
  }

 private:
  const std::shared_ptr<Endpoint> endpoint_;
};

class Device final : public ComObject<IMMDevice> {
 public:
  explicit Device(std::shared_ptr<Endpoint> endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT Activate(REFIID iid, DWORD /*context*/, PROPVARIANT* /*parameters*/,
                   void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (iid == IID_IAudioClient)
      *object = NewAudioClient(endpoint_);
    else if (iid == IID_IAudioEndpointVolume)
      *object = static_cast<IAudioEndpointVolume*>(MakeCom<Volume>(endpoint_));
    else
      return E_NOINTERFACE;
    return *object != nullptr ? S_OK : E_OUTOFMEMORY;
  }
  HRESULT OpenPropertyStore(DWORD /*access*/, IPropertyStore** properties) override {
    if (properties == nullptr) return E_POINTER;
    *properties = MakeCom<Properties>(endpoint_);
    return *properties != nullptr ? S_OK : E_OUTOFMEMORY;
  }

 private:
  const std::shared_ptr<Endpoint> endpoint_;
};

HRESULT NewDevice(std::shared_ptr<Endpoint> endpoint, IMMDevice** device) {
  *device = MakeCom<Device>(std::move(endpoint));
  return *device != nullptr ? S_OK : E_OUTOFMEMORY;
}

class Collection final : public ComObject<IMMDeviceCollection> {
 public:
  explicit Collection(Endpoints endpoints) : endpoints_(std::move(endpoints)) {}

  HRESULT GetCount(UINT* count) override {
    if (count == nullptr) return E_POINTER;
    *count = static_cast<UINT>(endpoints_.size());
    return S_OK;
  }
  HRESULT Item(UINT index, IMMDevice** device) override {
    if (device == nullptr) return E_POINTER;
    *device = nullptr;
    if (index >= endpoints_.size()) return E_INVALIDARG;
    return NewDevice(endpoints_[index], device);
  }

 private:
  const Endpoints endpoints_;
};

class Enumerator final : public ComObject<IMMDeviceEnumerator> {
 public:
  explicit Enumerator(std::shared_ptr<const Endpoints> endpoints)
      : endpoints_(std::move(endpoints)) {}

  HRESULT EnumAudioEndpoints(EDataFlow flow, DWORD state_mask,
                             IMMDeviceCollection** devices) override {
    if (devices == nullptr) return E_POINTER;
    *devices = nullptr;
    if (flow != eRender && flow != eCapture && flow != eAll) return E_INVALIDARG;
    return NoThrow([&] {
      Endpoints found;
      if ((state_mask & DEVICE_STATE_ACTIVE) != 0) found = OfFlow(flow);
      *devices = MakeCom<Collection>(std::move(found));
      return *devices != nullptr ? S_OK : E_OUTOFMEMORY;
    });
  }
  HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole /*role*/, IMMDevice** device) override {
    if (device == nullptr) return E_POINTER;
    *device = nullptr;
    if (flow != eRender && flow != eCapture) return E_INVALIDARG;
    return NoThrow([&] {
      const Endpoints candidates = OfFlow(flow);
      if (candidates.empty()) return kNotFound;
      for (const auto& endpoint : candidates)
        if (endpoint->config().is_default) return NewDevice(endpoint, device);
      return NewDevice(candidates.front(), device);
    });
  }

 private:
  Endpoints OfFlow(EDataFlow flow) const {
    Endpoints found;
    for (const auto& endpoint : *endpoints_)
      if (flow == eAll || endpoint->config().flow == flow) found.push_back(endpoint);
    return found;
  }

  const std::shared_ptr<const Endpoints> endpoints_;
};

}  // namespace

BuiltinAudio::BuiltinAudio(std::vector<EndpointConfig> endpoints,
                           const std::shared_ptr<const Clock>& clock) {
  auto made = std::make_shared<Endpoints>();
  for (EndpointConfig& config : endpoints)
    made->push_back(std::make_shared<Endpoint>(std::move(config), clock));
  endpoints_ = std::move(made);
}

HRESULT BuiltinAudio::CreateEnumerator(REFIID iid, void** object) const noexcept {
  const auto enumerator = ComPtr<IMMDeviceEnumerator>::Attach(MakeCom<Enumerator>(endpoints_));
  return enumerator ? enumerator->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

}  // namespace zevra::builtin
