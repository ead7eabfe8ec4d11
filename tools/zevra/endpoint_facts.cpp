#include "tools/zevra/endpoint_facts.h"

#include <cstring>

#include "platform/api.h"
#include "platform/owners.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

ComPtr<IMMDeviceEnumerator> NewEnumerator() {
  ComPtr<IMMDeviceEnumerator> enumerator;
  os::CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL, IID_IMMDeviceEnumerator,
                       enumerator.PutVoid());
  return enumerator;
}

std::optional<std::string> NameOf(IMMDevice& device) {
  ComPtr<IPropertyStore> properties;
  if (FAILED(device.OpenPropertyStore(STGM_READ, properties.Put()))) return {};
  PropVariant name;
  if (FAILED(properties->GetValue(PKEY_Device_FriendlyName, name.Put()))) return {};
  if (name.Get().vt != VT_LPWSTR) return {};
  return ToUtf8(name.Get().pwszVal);
}

bool IsFloat(const WAVEFORMATEX& format) {
  if (format.wFormatTag != WAVE_FORMAT_EXTENSIBLE)
    return format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT;
  WAVEFORMATEXTENSIBLE extensible{};
  std::memcpy(&extensible, &format, sizeof(extensible));
  return IsEqualGUID(extensible.SubFormat, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT);
}

std::optional<MixFormat> MixFormatOf(IMMDevice& device) {
  ComPtr<IAudioClient> client;
  if (FAILED(device.Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.PutVoid()))) return {};
  TaskMemory<WAVEFORMATEX> format;
  if (FAILED(client->GetMixFormat(format.Put()))) return {};
  return MixFormat{IsFloat(*format.Get()), format->wBitsPerSample, format->nSamplesPerSec,
                   format->nChannels};
}

std::string DefaultName(IMMDeviceEnumerator& enumerator, EDataFlow flow) {
  ComPtr<IMMDevice> device;
  if (FAILED(enumerator.GetDefaultAudioEndpoint(flow, eConsole, device.Put()))) return {};
  return NameOf(*device.Get()).value_or(std::string());
}

void AddFlow(IMMDeviceEnumerator& enumerator, Flow flow, bool with_formats,
             std::vector<EndpointFacts>& facts) {
  const EDataFlow platform_flow = flow == Flow::kRender ? eRender : eCapture;
  ComPtr<IMMDeviceCollection> devices;
  UINT count = 0;
  if (FAILED(enumerator.EnumAudioEndpoints(platform_flow, DEVICE_STATE_ACTIVE, devices.Put())) ||
      FAILED(devices->GetCount(&count)))
    return;
  const std::string default_name = DefaultName(enumerator, platform_flow);
  for (UINT index = 0; index < count; ++index) {
    ComPtr<IMMDevice> device;
    if (FAILED(devices->Item(index, device.Put()))) continue;
    const auto name = NameOf(*device.Get());
    if (!name) continue;
    EndpointFacts& fact = facts.emplace_back();
    fact.name = *name;
    fact.flow = flow;
    fact.is_default = *name == default_name;
    if (with_formats) fact.mix_format = MixFormatOf(*device.Get());
  }
}

}  // namespace

std::vector<EndpointFacts> FindEndpointFacts(bool with_formats) {
  std::vector<EndpointFacts> facts;
  if (const auto enumerator = NewEnumerator()) {
    AddFlow(*enumerator.Get(), Flow::kRender, with_formats, facts);
    AddFlow(*enumerator.Get(), Flow::kCapture, with_formats, facts);
  }
  return facts;
}

std::string DefaultEndpointName(Flow flow) {
  const auto enumerator = NewEnumerator();
  if (!enumerator) return {};
  return DefaultName(*enumerator.Get(), flow == Flow::kRender ? eRender : eCapture);
}

}  // namespace zevra::command
