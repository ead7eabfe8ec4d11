#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "platform/owners.h"
#include "support/live_objects.h"
#include "support/scripted_platform.h"

namespace zevra::test {
namespace {

bool Fails(const char* name, const std::string& detail = {}) {
  return CurrentScript().Fails(name, detail);
}
HRESULT Step(const char* name, const std::string& detail = {}) {
  return Fails(name, detail) ? kFailure : S_OK;
}
template <class T, class Value>
HRESULT Put(T* slot, Value value) {
  *slot = value;
  return S_OK;
}

template <class... Values>
std::string Words(const Values&... values) {
  std::ostringstream text;
  const char* gap = "";
  ((text << std::exchange(gap, " ") << values), ...);
  return text.str();
}

WAVEFORMATEX* TaskCopy(const WAVEFORMATEXTENSIBLE& format) {
  void* const copy = ::CoTaskMemAlloc(sizeof format);
  return static_cast<WAVEFORMATEX*>(std::memcpy(copy, &format, sizeof format));
}

// Attaches a new object's only reference to what QueryInterface gives.
template <class Object, class... Arguments>
HRESULT Give(REFIID iid, void** object, Arguments&&... arguments) {
  return ComPtr<Object>::Attach(MakeCom<Object>(std::forward<Arguments>(arguments)...))
      ->QueryInterface(iid, object);
}

class ScriptedStream final
    : public TrackedObject<IAudioClient, IAudioCaptureClient, IAudioRenderClient> {
 public:
  HRESULT Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                     REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                     const GUID* session) override {
    frame_bytes_ = format->nBlockAlign;
    std::ostringstream rest;
    rest << " tag=" << format->wFormatTag << " bits=" << format->wBitsPerSample
         << " block=" << format->nBlockAlign << " rate=" << format->nSamplesPerSec
         << (session == nullptr ? "" : " session");
    return Step("Initialize", Words(mode, flags, duration, periodicity) + rest.str());
  }
  HRESULT GetBufferSize(UINT32* frames) override {
    return Fails("GetBufferSize") ? kFailure : Put(frames, script_.buffer_frames);
  }
  HRESULT GetCurrentPadding(UINT32* frames) override {
    return Fails("GetCurrentPadding")
               ? kFailure
               : Put(frames, next_ < script_.paddings.size() ? script_.paddings[next_++] : 0);
  }
  HRESULT IsFormatSupported(AUDCLNT_SHAREMODE, const WAVEFORMATEX*,
                            WAVEFORMATEX** closest) override {
    if (Fails("IsFormatSupported")) return kFailure;
    if (script_.mix_format_is_supported) return S_OK;
    *closest = TaskCopy(script_.closest_format);
    return S_FALSE;
  }
  HRESULT GetMixFormat(WAVEFORMATEX** format) override {
    return Fails("GetMixFormat") ? kFailure : Put(format, TaskCopy(script_.mix_format));
  }
  HRESULT GetDevicePeriod(REFERENCE_TIME* period, REFERENCE_TIME* minimum) override {
    return Fails("GetDevicePeriod", minimum == nullptr ? "" : "minimum")
               ? kFailure
               : Put(period, script_.device_period);
  }
  HRESULT Start() override { return Step("Start"); }
  HRESULT Stop() override { return Step("Stop"); }
  HRESULT GetService(REFIID iid, void** service) override {
    return Fails("GetService") ? kFailure : QueryInterface(iid, service);
  }

  HRESULT GetNextPacketSize(UINT32* frames) override {
    return Fails("GetNextPacketSize")
               ? kFailure
               : Put(frames, next_ < script_.packets.size() ? script_.packets[next_].frames : 0);
  }
  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64*, UINT64*) override {
    if (Fails("CaptureClient::GetBuffer")) return kFailure;
    const ScriptedPacket& packet = script_.packets.at(next_);
    block_ = packet.bytes;
    *data = block_.data();
    *frames = packet.frames;
    *flags = packet.flags;
    return S_OK;
  }
  HRESULT ReleaseBuffer(UINT32 frames) override {
    ++next_;
    return Step("CaptureClient::ReleaseBuffer", Words(frames));
  }

  HRESULT GetBuffer(UINT32 frames, BYTE** data) override {
    if (Fails("RenderClient::GetBuffer", Words(frames))) return kFailure;
    block_.assign(std::size_t{frames} * frame_bytes_, 0xAA);
    *data = block_.data();
    return S_OK;
  }
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) override {
    const bool silent = std::all_of(block_.begin(), block_.end(), [](BYTE b) { return b == 0; });
    return Step("RenderClient::ReleaseBuffer", Words(frames, flags) + (silent ? "" : " noise"));
  }

 private:
  const Script script_ = CurrentScript();
  WORD frame_bytes_ = 0;
  std::size_t next_ = 0;  // packet or padding
  std::vector<BYTE> block_;
};

class ScriptedDevice final : public TrackedObject<IMMDevice, IPropertyStore, IAudioEndpointVolume> {
 public:
  explicit ScriptedDevice(const ScriptedEndpoint& endpoint) : endpoint_(endpoint) {}
  HRESULT Activate(REFIID iid, DWORD, PROPVARIANT*, void** object) override {
    if (Fails("Activate")) return kFailure;
    return IsEqualGUID(iid, IID_IAudioClient) ? Give<ScriptedStream>(iid, object)
                                              : QueryInterface(iid, object);
  }
  HRESULT OpenPropertyStore(DWORD, IPropertyStore** store) override {
    if (Fails("OpenPropertyStore")) return kFailure;
    return QueryInterface(IID_IPropertyStore, reinterpret_cast<void**>(store));
  }
  HRESULT GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override {
    if (Fails("GetValue")) return kFailure;
    if (!(key == PKEY_Device_FriendlyName)) return E_NOTIMPL;
    value->vt = endpoint_.name_type;
    if (value->vt != VT_LPWSTR) return S_OK;
    const std::size_t bytes = (endpoint_.name.size() + 1) * sizeof(WCHAR);
    value->pwszVal = static_cast<LPWSTR>(::CoTaskMemAlloc(bytes));
    std::memcpy(value->pwszVal, endpoint_.name.c_str(), bytes);
    return S_OK;
  }
  HRESULT GetMasterVolumeLevelScalar(float* level) override {
    return Fails("GetMasterVolumeLevelScalar") ? kFailure : Put(level, 0.5F);
  }

 private:
  const ScriptedEndpoint endpoint_;
};

class ScriptedEnumerator final : public TrackedObject<IMMDeviceEnumerator, IMMDeviceCollection> {
 public:
  explicit ScriptedEnumerator(EDataFlow flow) {
    for (const ScriptedEndpoint& endpoint : CurrentScript().endpoints)
      if (flow == eAll || endpoint.flow == flow) endpoints_.push_back(endpoint);
  }
  HRESULT EnumAudioEndpoints(EDataFlow flow, DWORD states, IMMDeviceCollection** devices) override {
    return Fails("EnumAudioEndpoints", Words(flow, states))
               ? kFailure
               : Put(devices, MakeCom<ScriptedEnumerator>(flow));
  }
  HRESULT GetDefaultAudioEndpoint(EDataFlow flow, ERole role, IMMDevice** device) override {
    return Fails("GetDefaultAudioEndpoint", Words(flow, role))
               ? kFailure
               : Put(device, MakeCom<ScriptedDevice>(endpoints_.at(0)));
  }
  HRESULT GetCount(UINT* count) override {
    return Fails("GetCount") ? kFailure : Put(count, static_cast<UINT>(endpoints_.size()));
  }
  HRESULT Item(UINT index, IMMDevice** device) override {
    return Fails("Item", Words(index)) ? kFailure
                                       : Put(device, MakeCom<ScriptedDevice>(endpoints_.at(index)));
  }

 private:
  std::vector<ScriptedEndpoint> endpoints_;
};

class ScriptedType final : public TrackedObject<IMFMediaType> {
 public:
  HRESULT GetUINT32(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetGUID(REFGUID, GUID*) override { return E_NOTIMPL; }
  HRESULT SetUINT32(REFGUID key, UINT32 value) override {
    return Step("SetUINT32", Attribute(key, value));
  }
  HRESULT SetGUID(REFGUID key, REFGUID value) override {
    return Step("SetGUID", Attribute(key, value));
  }
};

class ScriptedBuffer final : public TrackedObject<IMFMediaBuffer> {
 public:
  explicit ScriptedBuffer(DWORD capacity) : bytes_(capacity) {}
  HRESULT Lock(BYTE** data, DWORD*, DWORD*) override {
    return Fails("Lock") ? kFailure : Put(data, bytes_.data());
  }
  HRESULT Unlock() override { return Step("Unlock"); }
  HRESULT GetCurrentLength(DWORD* length) override {
    return Fails("GetCurrentLength") ? kFailure : Put(length, length_);
  }
  HRESULT SetCurrentLength(DWORD length) override {
    if (length > bytes_.size()) return E_INVALIDARG;
    length_ = length;
    return Step("SetCurrentLength", Words(length));
  }
  // For the transform.
  HRESULT Fill(const std::vector<BYTE>& bytes) {
    if (bytes.size() > bytes_.size()) return MF_E_BUFFERTOOSMALL;
    std::copy(bytes.begin(), bytes.end(), bytes_.begin());
    length_ = static_cast<DWORD>(bytes.size());
    return S_OK;
  }

 private:
  std::vector<BYTE> bytes_;
  DWORD length_ = 0;
};

class ScriptedSample final : public TrackedObject<IMFSample> {
 public:
  HRESULT AddBuffer(IMFMediaBuffer* buffer) override {
    buffer_ = ComPtr<IMFMediaBuffer>::Share(buffer);
    return Step("AddBuffer");
  }
  HRESULT ConvertToContiguousBuffer(IMFMediaBuffer** buffer) override {
    return Fails("ConvertToContiguousBuffer")
               ? kFailure
               : Put(buffer, ComPtr<IMFMediaBuffer>::Share(buffer_.Get()).Detach());
  }
  ScriptedBuffer& Buffer() const { return static_cast<ScriptedBuffer&>(*buffer_.Get()); }

 private:
  ComPtr<IMFMediaBuffer> buffer_;
};

// Gives the pulls of the script, one a request, then asks for more input.
class ScriptedTransform final : public TrackedObject<IMFTransform, IWMResamplerProps> {
 public:
  HRESULT QueryInterface(REFIID iid, void** object) override {
    if (IsEqualGUID(iid, IID_IMFTransform) && Fails("QueryInterface(IMFTransform)"))
      return kFailure;
    if (IsEqualGUID(iid, IID_IWMResamplerProps) && Fails("QueryInterface(props)")) return kFailure;
    return ComObject::QueryInterface(iid, object);
  }
  HRESULT SetInputType(DWORD, IMFMediaType*, DWORD) override { return Step("SetInputType"); }
  HRESULT SetOutputType(DWORD, IMFMediaType*, DWORD) override { return Step("SetOutputType"); }
  HRESULT GetInputStatus(DWORD, DWORD* flags) override {
    return Fails("GetInputStatus") ? kFailure : Put(flags, CurrentScript().input_status);
  }
  HRESULT ProcessMessage(MFT_MESSAGE_TYPE message, std::uintptr_t) override {
    return Step("ProcessMessage", Words(static_cast<unsigned>(message)));
  }
  HRESULT ProcessInput(DWORD, IMFSample*, DWORD) override {
    const HRESULT result = Step("ProcessInput");
    next_pull_ = FAILED(result) ? pulls_.size() : 0;
    return result;
  }
  HRESULT ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER* output, DWORD*) override {
    if (Fails("ProcessOutput")) return kFailure;
    if (next_pull_ >= pulls_.size()) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    return static_cast<ScriptedSample*>(output->pSample)->Buffer().Fill(pulls_[next_pull_++]);
  }
  HRESULT SetHalfFilterLength(LONG length) override {
    return Step("SetHalfFilterLength", Words(length));
  }

 private:
  const std::vector<std::vector<BYTE>> pulls_ = CurrentScript().pulls;
  std::size_t next_pull_ = 0;
};

}  // namespace

std::string Attribute(REFGUID key, UINT32 value) { return Words(key.Data1) + "=" + Words(value); }
std::string Attribute(REFGUID key, REFGUID value) { return Attribute(key, value.Data1); }

HRESULT CreateScriptedEnumerator(REFIID iid, void** object) {
  return Fails("CoCreateInstance(enumerator)") ? kFailure
                                               : Give<ScriptedEnumerator>(iid, object, eAll);
}
HRESULT CreateScriptedResampler(REFIID iid, void** object) {
  return Fails("CoCreateInstance(resampler)") ? kFailure : Give<ScriptedTransform>(iid, object);
}
HRESULT CreateScriptedMediaType(IMFMediaType** type) {
  return Fails("MFCreateMediaType") ? kFailure : Put(type, MakeCom<ScriptedType>());
}
HRESULT CreateScriptedSample(IMFSample** sample) {
  return Fails("MFCreateSample") ? kFailure : Put(sample, MakeCom<ScriptedSample>());
}
HRESULT CreateScriptedBuffer(DWORD capacity, IMFMediaBuffer** buffer) {
  return Fails("MFCreateMemoryBuffer", Words(capacity))
             ? kFailure
             : Put(buffer, MakeCom<ScriptedBuffer>(capacity));
}

}  // namespace zevra::test
