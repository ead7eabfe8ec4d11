#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/owners.h"
#include "support/live_objects.h"
#include "support/scripted_platform.h"

namespace zevra::test {
namespace {

HRESULT Step(ScriptedPlatform& script, const char* name, const std::string& detail = {}) {
  return script.Fails(name, detail) ? kFailure : S_OK;
}

template <class T>
T* TaskCopy(const T& value) {
  auto* const copy = static_cast<T*>(::CoTaskMemAlloc(sizeof(T)));
  std::memcpy(copy, &value, sizeof(T));
  return copy;
}

class ScriptedCapture final : public TrackedObject<IAudioCaptureClient> {
 public:
  explicit ScriptedCapture(ScriptedPlatform& script) : script_(script), packets_(script.packets) {}
  HRESULT GetNextPacketSize(UINT32* frames) override {
    if (script_.Fails("GetNextPacketSize")) return kFailure;
    *frames = next_ < packets_.size() ? packets_[next_].frames : 0;
    return S_OK;
  }
  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64*, UINT64*) override {
    if (script_.Fails("CaptureClient::GetBuffer")) return kFailure;
    ScriptedPacket& packet = packets_.at(next_);
    *data = packet.bytes.data();
    *frames = packet.frames;
    *flags = packet.flags;
    return S_OK;
  }
  HRESULT ReleaseBuffer(UINT32 frames) override {
    ++next_;
    return Step(script_, "CaptureClient::ReleaseBuffer", std::to_string(frames));
  }

 private:
  ScriptedPlatform& script_;
  std::vector<ScriptedPacket> packets_;
  std::size_t next_ = 0;
};

class ScriptedRender final : public TrackedObject<IAudioRenderClient> {
 public:
  ScriptedRender(ScriptedPlatform& script, WORD frame_bytes)
      : script_(script), frame_bytes_(frame_bytes) {}
  HRESULT GetBuffer(UINT32 frames, BYTE** data) override {
    if (script_.Fails("RenderClient::GetBuffer", std::to_string(frames))) return kFailure;
    block_.assign(std::size_t{frames} * frame_bytes_, 0xAA);
    *data = block_.data();
    return S_OK;
  }
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) override {
    const bool silent = std::all_of(block_.begin(), block_.end(), [](BYTE b) { return b == 0; });
    return Step(script_, "RenderClient::ReleaseBuffer",
                std::to_string(frames) + " " + std::to_string(flags) + (silent ? "" : " noise"));
  }

 private:
  ScriptedPlatform& script_;
  WORD frame_bytes_;
  std::vector<BYTE> block_;
};

class ScriptedClient final : public TrackedObject<IAudioClient> {
 public:
  explicit ScriptedClient(ScriptedPlatform& script) : script_(script) {}
  HRESULT Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                     REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                     const GUID* session) override {
    frame_bytes_ = format->nBlockAlign;
    const std::string detail =
        std::to_string(mode) + " " + std::to_string(flags) + " " + std::to_string(duration) + " " +
        std::to_string(periodicity) + " tag=" + std::to_string(format->wFormatTag) +
        " bits=" + std::to_string(format->wBitsPerSample) +
        " block=" + std::to_string(format->nBlockAlign) +
        " rate=" + std::to_string(format->nSamplesPerSec) + (session == nullptr ? "" : " session");
    return Step(script_, "Initialize", detail);
  }
  HRESULT GetBufferSize(UINT32* frames) override {
    *frames = script_.buffer_frames;
    return Step(script_, "GetBufferSize");
  }
  HRESULT GetCurrentPadding(UINT32* frames) override {
    *frames = next_padding_ < script_.paddings.size() ? script_.paddings[next_padding_++] : 0;
    return Step(script_, "GetCurrentPadding");
  }
  HRESULT IsFormatSupported(AUDCLNT_SHAREMODE, const WAVEFORMATEX*,
                            WAVEFORMATEX** closest) override {
    if (script_.Fails("IsFormatSupported")) return kFailure;
    if (script_.mix_format_is_supported) return S_OK;
    *closest = &TaskCopy(script_.closest_format)->Format;
    return S_FALSE;
  }
  HRESULT GetMixFormat(WAVEFORMATEX** format) override {
    if (script_.Fails("GetMixFormat")) return kFailure;
    *format = &TaskCopy(script_.mix_format)->Format;
    return S_OK;
  }
  HRESULT GetDevicePeriod(REFERENCE_TIME* period, REFERENCE_TIME* minimum) override {
    *period = script_.device_period;
    return Step(script_, "GetDevicePeriod", minimum == nullptr ? "" : "minimum");
  }
  HRESULT Start() override { return Step(script_, "Start"); }
  HRESULT Stop() override { return Step(script_, "Stop"); }
  HRESULT GetService(REFIID iid, void** service) override {
    if (script_.Fails("GetService")) return kFailure;
    if (IsEqualGUID(iid, IID_IAudioCaptureClient))
      *service = static_cast<IAudioCaptureClient*>(MakeCom<ScriptedCapture>(script_));
    else if (IsEqualGUID(iid, IID_IAudioRenderClient))
      *service = static_cast<IAudioRenderClient*>(MakeCom<ScriptedRender>(script_, frame_bytes_));
    else
      return E_NOTIMPL;
    return S_OK;
  }

 private:
  ScriptedPlatform& script_;
  WORD frame_bytes_ = 0;
  std::size_t next_padding_ = 0;
};

class ScriptedVolume final : public TrackedObject<IAudioEndpointVolume> {
 public:
  explicit ScriptedVolume(ScriptedPlatform& script) : script_(script) {}
  HRESULT GetMasterVolumeLevelScalar(float* level) override {
    if (script_.Fails("GetMasterVolumeLevelScalar")) return kFailure;
    *level = 0.5F;
    return S_OK;
  }

 private:
  ScriptedPlatform& script_;
};

class ScriptedStore final : public TrackedObject<IPropertyStore> {
 public:
  ScriptedStore(ScriptedPlatform& script, const ScriptedEndpoint& endpoint)
      : script_(script), endpoint_(endpoint) {}
  HRESULT GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override {
    if (script_.Fails("GetValue")) return kFailure;
    if (!(key == PKEY_Device_FriendlyName)) return E_NOTIMPL;
    value->vt = endpoint_.name_type;
    if (endpoint_.name_type != VT_LPWSTR) {
      value->ulVal = 7;
      return S_OK;
    }
    const std::size_t bytes = (endpoint_.name.size() + 1) * sizeof(WCHAR);
    value->pwszVal = static_cast<LPWSTR>(::CoTaskMemAlloc(bytes));
    std::memcpy(value->pwszVal, endpoint_.name.c_str(), bytes);
    return S_OK;
  }

 private:
  ScriptedPlatform& script_;
  ScriptedEndpoint endpoint_;
};

class ScriptedDevice final : public TrackedObject<IMMDevice> {
 public:
  ScriptedDevice(ScriptedPlatform& script, const ScriptedEndpoint& endpoint)
      : script_(script), endpoint_(endpoint) {}
  HRESULT Activate(REFIID iid, DWORD, PROPVARIANT*, void** object) override {
    if (script_.Fails("Activate")) return kFailure;
    if (IsEqualGUID(iid, IID_IAudioClient))
      *object = static_cast<IAudioClient*>(MakeCom<ScriptedClient>(script_));
    else if (IsEqualGUID(iid, IID_IAudioEndpointVolume))
      *object = static_cast<IAudioEndpointVolume*>(MakeCom<ScriptedVolume>(script_));
    else
      return E_NOTIMPL;
    return S_OK;
  }
  HRESULT OpenPropertyStore(DWORD, IPropertyStore** store) override {
    if (script_.Fails("OpenPropertyStore")) return kFailure;
    *store = MakeCom<ScriptedStore>(script_, endpoint_);
    return S_OK;
  }

 private:
  ScriptedPlatform& script_;
  ScriptedEndpoint endpoint_;
};

class ScriptedCollection final : public TrackedObject<IMMDeviceCollection> {
 public:
  ScriptedCollection(ScriptedPlatform& script, std::vector<ScriptedEndpoint> endpoints)
      : script_(script), endpoints_(std::move(endpoints)) {}
  HRESULT GetCount(UINT* count) override {
    *count = static_cast<UINT>(endpoints_.size());
    return Step(script_, "GetCount");
  }
  HRESULT Item(UINT index, IMMDevice** device) override {
    if (script_.Fails("Item", std::to_string(index))) return kFailure;
    *device = MakeCom<ScriptedDevice>(script_, endpoints_.at(index));
    return S_OK;
  }

 private:
  ScriptedPlatform& script_;
  std::vector<ScriptedEndpoint> endpoints_;
};

class ScriptedEnumerator final : public TrackedObject<IMMDeviceEnumerator> {
 public:
  explicit ScriptedEnumerator(ScriptedPlatform& script) : script_(script) {}
  HRESULT EnumAudioEndpoints(EDataFlow flow, DWORD states, IMMDeviceCollection** devices) override {
    const std::string detail = std::to_string(flow) + " " + std::to_string(states);
    if (script_.Fails("EnumAudioEndpoints", detail)) return kFailure;
    std::vector<ScriptedEndpoint> found;
    for (const ScriptedEndpoint& endpoint : script_.endpoints)
      if (flow == eAll || endpoint.flow == flow) found.push_back(endpoint);
    *devices = MakeCom<ScriptedCollection>(script_, std::move(found));
    return S_OK;
  }
  HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, IMMDevice** device) override {
    const std::string detail = std::to_string(flow) + " " + std::to_string(role);
    if (script_.Fails("GetDefaultAudioEndpoint", detail)) return kFailure;
    *device = MakeCom<ScriptedDevice>(script_, script_.endpoints.at(0));
    return S_OK;
  }

 private:
  ScriptedPlatform& script_;
};

}  // namespace

ClassFactory ScriptedEndpoints(ScriptedPlatform& script) {
  return [&script](REFIID iid, void** object) -> HRESULT {
    if (script.Fails("CoCreateInstance(enumerator)")) return kFailure;
    const auto enumerator = ComPtr<ScriptedEnumerator>::Attach(MakeCom<ScriptedEnumerator>(script));
    return enumerator->QueryInterface(iid, object);
  };
}

}  // namespace zevra::test
