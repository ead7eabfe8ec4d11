// The first makes real keys of those that the last declares.
// clang-format off
#include <initguid.h>
#include <mmdeviceapi.h>
#include <propsys.h>
#include <functiondiscoverykeys_devpkey.h>
// clang-format on

#include <memory>

#include "tools/zevra/text.h"
#include "tools/zevra/windows/default_endpoint.h"

namespace zevra::command {
namespace {

struct Release {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface>
using ComPointer = std::unique_ptr<Interface, Release>;

std::string NameOf(IPropertyStore& properties) {
  PROPVARIANT value{};
  std::string name;
  if (properties.GetValue(PKEY_Device_FriendlyName, &value) >= 0 && value.vt == VT_LPWSTR)
    name = ToUtf8(value.pwszVal);
  PropVariantClear(&value);
  return name;
}

std::string FindName(zevra::Flow flow) {
  void* object = nullptr;
  if (CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL,
                       __uuidof(IMMDeviceEnumerator), &object) < 0)
    return {};
  const ComPointer<IMMDeviceEnumerator> enumerator(static_cast<IMMDeviceEnumerator*>(object));
  IMMDevice* found = nullptr;
  if (enumerator->GetDefaultAudioEndpoint(flow == zevra::Flow::kCapture ? eCapture : eRender,
                                          eConsole, &found) < 0)
    return {};
  const ComPointer<IMMDevice> device(found);
  IPropertyStore* opened = nullptr;
  if (device->OpenPropertyStore(STGM_READ, &opened) < 0) return {};
  const ComPointer<IPropertyStore> properties(opened);
  return NameOf(*properties);
}

}  // namespace

std::string DefaultEndpointName(zevra::Flow flow) {
  if (CoInitialize(nullptr) < 0) return {};
  std::string name = FindName(flow);
  CoUninitialize();
  return name;
}

}  // namespace zevra::command
