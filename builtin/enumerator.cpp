#include "builtin/enumerator.h"

#include <utility>

#include "builtin/device.h"
#include "builtin/endpoint.h"
#include "platform/com_object.h"
#include "platform/owners.h"
#include "platform/result.h"

namespace zevra::builtin {
namespace {

using Endpoints = std::vector<std::shared_ptr<Endpoint>>;

// ERROR_NOT_FOUND of the system's error table as a result.
constexpr auto kNotFound = static_cast<HRESULT>(0x80070490);

HRESULT HandOutDevice(std::shared_ptr<Endpoint> endpoint, IMMDevice** device) {
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
    return HandOutDevice(endpoints_[index], device);
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
        if (endpoint->config().is_default) return HandOutDevice(endpoint, device);
      return HandOutDevice(candidates.front(), device);
    });
  }

 private:
  Endpoints OfFlow(EDataFlow flow) const {
    Endpoints found;
    for (const auto& endpoint : *endpoints_) {
      if (endpoint->Removed()) continue;
      if (flow == eAll || endpoint->config().flow == flow) found.push_back(endpoint);
    }
    return found;
  }

  const std::shared_ptr<const Endpoints> endpoints_;
};

}  // namespace

HRESULT NewEnumerator(std::shared_ptr<const Endpoints> endpoints, REFIID iid,
                      void** object) noexcept {
  auto enumerator = ComPtr<IMMDeviceEnumerator>::Attach(MakeCom<Enumerator>(std::move(endpoints)));
  if (!enumerator) return E_OUTOFMEMORY;
  return enumerator->QueryInterface(iid, object);
}

}  // namespace zevra::builtin
