#include "builtin/device.h"

#include <utility>

#include "builtin/audio_client.h"

namespace zevra::builtin {
namespace {

class Volume final : public ComObject<IAudioEndpointVolume> {
 public:
  explicit Volume(std::shared_ptr<Endpoint> endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT GetMasterVolumeLevelScalar(float* level) override {
    if (level == nullptr) return E_POINTER;
    if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
    *level = endpoint_->Volume();
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

}  // namespace

Device::Device(std::shared_ptr<Endpoint> endpoint) : endpoint_(std::move(endpoint)) {}

HRESULT Device::Activate(REFIID iid, DWORD /*context*/, PROPVARIANT* /*parameters*/,
                         void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (endpoint_->Removed()) return AUDCLNT_E_DEVICE_INVALIDATED;
  if (iid == IID_IAudioClient)
    *object = static_cast<IAudioClient*>(MakeCom<AudioClient>(endpoint_));
  else if (iid == IID_IAudioEndpointVolume)
    *object = static_cast<IAudioEndpointVolume*>(MakeCom<Volume>(endpoint_));
  else
    return E_NOINTERFACE;
  return *object != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT Device::OpenPropertyStore(DWORD /*access*/, IPropertyStore** properties) {
  if (properties == nullptr) return E_POINTER;
  *properties = MakeCom<Properties>(endpoint_);
  return *properties != nullptr ? S_OK : E_OUTOFMEMORY;
}

}  // namespace zevra::builtin
