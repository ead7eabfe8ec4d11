#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/owners.h"
#include "support/scripted_platform.h"

namespace zevra::test {
namespace {

bool Fails(const char* name, const std::string& detail = {}) {
  return CurrentScript().Fails(name, detail);
}

// Defines a method that is recorded with `detail`, gives kFailure where the script has it fail, and
// otherwise does what follows and gives S_OK.
#define ZEVRA_SCRIPTED(name, parameters, detail, ...) \
  HRESULT name parameters override {                  \
    if (Fails(#name, detail)) return kFailure;        \
    __VA_ARGS__;                                      \
    return S_OK;                                      \
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

// Leaves a new object's only reference in what QueryInterface gives.
template <class Object, class... Arguments>
HRESULT Give(REFIID iid, void** object, Arguments... arguments) {
  return ComPtr<Object>::Attach(MakeCom<Object>(arguments...))->QueryInterface(iid, object);
}

class ScriptedStream final
    : public TrackedObject<IAudioClient, IAudioCaptureClient, IAudioRenderClient> {
 public:
  ZEVRA_SCRIPTED(Initialize,
                 (AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                  REFERENCE_TIME periodicity, const WAVEFORMATEX* format, const GUID* session),
                 Words(mode, flags, duration, periodicity, "tag", format->wFormatTag, "bits",
                       format->wBitsPerSample, "block", format->nBlockAlign, "rate",
                       format->nSamplesPerSec) +
                     (session == nullptr ? "" : " session"),
                 frame_bytes_ = format->nBlockAlign)
  ZEVRA_SCRIPTED(GetBufferSize, (UINT32 * frames), {}, *frames = script_.buffer_frames)
  ZEVRA_SCRIPTED(GetCurrentPadding, (UINT32 * frames), {},
                 *frames = next_ < script_.paddings.size() ? script_.paddings[next_++] : 0)
  ZEVRA_SCRIPTED(IsFormatSupported,
                 (AUDCLNT_SHAREMODE, const WAVEFORMATEX*, WAVEFORMATEX** closest), {},
                 if (script_.mix_format_is_supported) return S_OK;
                 *closest = TaskCopy(script_.closest_format); return S_FALSE)
  ZEVRA_SCRIPTED(GetMixFormat, (WAVEFORMATEX * *format), {}, *format = TaskCopy(script_.mix_format))
  ZEVRA_SCRIPTED(GetDevicePeriod, (REFERENCE_TIME * period, REFERENCE_TIME* minimum),
                 minimum == nullptr ? "" : "minimum", *period = script_.device_period)
  ZEVRA_SCRIPTED(Start, (), {})
  ZEVRA_SCRIPTED(Stop, (), {})
  ZEVRA_SCRIPTED(GetService, (REFIID iid, void** service), {}, return QueryInterface(iid, service))

  ZEVRA_SCRIPTED(GetNextPacketSize, (UINT32 * frames), {},
                 *frames = next_ < script_.packets.size() ? 480 : 0)
  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64*, UINT64*) override {
    if (Fails("CaptureClient::GetBuffer")) return kFailure;
    block_.assign(std::size_t{480} * frame_bytes_, 0x11);
    *data = block_.data();
    *frames = 480;
    *flags = script_.packets.at(next_);
    return S_OK;
  }
  HRESULT ReleaseBuffer(UINT32 frames) override {
    ++next_;
    return Fails("CaptureClient::ReleaseBuffer", Words(frames)) ? kFailure : S_OK;
  }

  HRESULT GetBuffer(UINT32 frames, BYTE** data) override {
    if (Fails("RenderClient::GetBuffer", Words(frames))) return kFailure;
    block_.assign(std::size_t{frames} * frame_bytes_, 0xAA);
    *data = block_.data();
    return S_OK;
  }
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) override {
    const bool silent = std::all_of(block_.begin(), block_.end(), [](BYTE b) { return b == 0; });
    const std::string detail = Words(frames, flags) + (silent ? "" : " noise");
    return Fails("RenderClient::ReleaseBuffer", detail) ? kFailure : S_OK;
  }

 private:
  Script script_ = static_cast<const Script&>(CurrentScript());
  WORD frame_bytes_ = 0;
  std::size_t next_ = 0;  // packet or padding
  std::vector<BYTE> block_;
};

class ScriptedDevice final : public TrackedObject<IMMDevice, IPropertyStore, IAudioEndpointVolume> {
 public:
  explicit ScriptedDevice(const ScriptedEndpoint& endpoint) : endpoint_(endpoint) {}
  ZEVRA_SCRIPTED(Activate, (REFIID iid, DWORD, PROPVARIANT*, void** object), {},
                 return IsEqualGUID(iid, IID_IAudioClient) ? Give<ScriptedStream>(iid, object)
                                                           : QueryInterface(iid, object))
  ZEVRA_SCRIPTED(OpenPropertyStore, (DWORD, IPropertyStore** store), {},
                 return QueryInterface(IID_IPropertyStore, reinterpret_cast<void**>(store)))
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
  ZEVRA_SCRIPTED(GetMasterVolumeLevelScalar, (float* level), {}, *level = 0.5F)

 private:
  const ScriptedEndpoint endpoint_;
};

class ScriptedEnumerator final : public TrackedObject<IMMDeviceEnumerator, IMMDeviceCollection> {
 public:
  explicit ScriptedEnumerator(EDataFlow flow) {
    for (const ScriptedEndpoint& endpoint : CurrentScript().endpoints)
      if (flow == eAll || endpoint.flow == flow) endpoints_.push_back(endpoint);
  }
  ZEVRA_SCRIPTED(EnumAudioEndpoints, (EDataFlow flow, DWORD, IMMDeviceCollection** devices), {},
                 *devices = MakeCom<ScriptedEnumerator>(flow))
  ZEVRA_SCRIPTED(GetDefaultAudioEndpoint, (EDataFlow, ERole, IMMDevice** device), {},
                 *device = MakeCom<ScriptedDevice>(endpoints_.at(0)))
  ZEVRA_SCRIPTED(GetCount, (UINT * count), {}, *count = static_cast<UINT>(endpoints_.size()))
  ZEVRA_SCRIPTED(Item, (UINT index, IMMDevice** device), {},
                 *device = MakeCom<ScriptedDevice>(endpoints_.at(index)))

 private:
  std::vector<ScriptedEndpoint> endpoints_;
};

class ScriptedType final : public TrackedObject<IMFMediaType> {
 public:
  HRESULT GetUINT32(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetGUID(REFGUID, GUID*) override { return E_NOTIMPL; }
  ZEVRA_SCRIPTED(SetUINT32, (REFGUID key, UINT32 value), Attribute(key, value))
  ZEVRA_SCRIPTED(SetGUID, (REFGUID key, REFGUID value), Attribute(key, value))
};

class ScriptedBuffer final : public TrackedObject<IMFMediaBuffer> {
 public:
  explicit ScriptedBuffer(DWORD capacity) : bytes_(capacity) {}
  ZEVRA_SCRIPTED(Lock, (BYTE * *data, DWORD*, DWORD*), {}, *data = bytes_.data())
  ZEVRA_SCRIPTED(Unlock, (), {})
  ZEVRA_SCRIPTED(GetCurrentLength, (DWORD * length), {}, *length = length_)
  ZEVRA_SCRIPTED(SetCurrentLength, (DWORD length), Words(length),
                 if (length > bytes_.size()) return E_INVALIDARG;
                 length_ = length)
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
  ZEVRA_SCRIPTED(AddBuffer, (IMFMediaBuffer * added), {},
                 buffer = ComPtr<IMFMediaBuffer>::Share(added))
  ZEVRA_SCRIPTED(ConvertToContiguousBuffer, (IMFMediaBuffer * *joined), {},
                 *joined = ComPtr<IMFMediaBuffer>::Share(buffer.Get()).Detach())
  ComPtr<IMFMediaBuffer> buffer;
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
  ZEVRA_SCRIPTED(SetInputType, (DWORD, IMFMediaType*, DWORD), {})
  ZEVRA_SCRIPTED(SetOutputType, (DWORD, IMFMediaType*, DWORD), {})
  ZEVRA_SCRIPTED(GetInputStatus, (DWORD, DWORD* flags), {}, *flags = CurrentScript().input_status)
  ZEVRA_SCRIPTED(ProcessMessage, (MFT_MESSAGE_TYPE message, std::uintptr_t),
                 Words(static_cast<unsigned>(message)))
  ZEVRA_SCRIPTED(ProcessInput, (DWORD, IMFSample*, DWORD), {}, left_ = CurrentScript().pulls)
  ZEVRA_SCRIPTED(ProcessOutput, (DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER* output, DWORD*), {},
                 if (left_.empty()) return MF_E_TRANSFORM_NEED_MORE_INPUT;
                 const std::vector<BYTE> pull = left_.front(); left_.erase(left_.begin());
                 auto* const sample = static_cast<ScriptedSample*>(output->pSample);
                 return static_cast<ScriptedBuffer*>(sample->buffer.Get())->Fill(pull))
  ZEVRA_SCRIPTED(SetHalfFilterLength, (LONG length), Words(length))

 private:
  std::vector<std::vector<BYTE>> left_;
};

}  // namespace

std::string Attribute(REFGUID key, UINT32 value) { return Words(key.Data1, value); }
std::string Attribute(REFGUID key, REFGUID value) { return Attribute(key, value.Data1); }

HRESULT CreateScriptedEnumerator(REFIID iid, void** object) {
  if (Fails("CoCreateInstance(enumerator)")) return kFailure;
  return Give<ScriptedEnumerator>(iid, object, eAll);
}

HRESULT CreateScriptedResampler(REFIID iid, void** object) {
  if (Fails("CoCreateInstance(resampler)")) return kFailure;
  return Give<ScriptedTransform>(iid, object);
}

HRESULT CreateScriptedMediaType(IMFMediaType** type) {
  *type = Fails("MFCreateMediaType") ? nullptr : MakeCom<ScriptedType>();
  return *type == nullptr ? kFailure : S_OK;
}

HRESULT CreateScriptedSample(IMFSample** sample) {
  *sample = Fails("MFCreateSample") ? nullptr : MakeCom<ScriptedSample>();
  return *sample == nullptr ? kFailure : S_OK;
}

HRESULT CreateScriptedBuffer(DWORD capacity, IMFMediaBuffer** buffer) {
  *buffer =
      Fails("MFCreateMemoryBuffer", Words(capacity)) ? nullptr : MakeCom<ScriptedBuffer>(capacity);
  return *buffer == nullptr ? kFailure : S_OK;
}

}  // namespace zevra::test
