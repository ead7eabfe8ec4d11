#include "support/scripted_mf.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/owners.h"
#include "support/live_objects.h"
#include "support/scripted_platform.h"

namespace zevra::test {
namespace {

HRESULT Step(const char* name, const std::string& detail = {}) {
  return CurrentScript().Fails(name, detail) ? kFailure : S_OK;
}

// A short text for the keys and values that the stage sets.
std::string Text(REFGUID guid) {
  static const std::vector<std::pair<GUID, const char*>> names = {
      {MF_MT_MAJOR_TYPE, "major"},
      {MF_MT_SUBTYPE, "subtype"},
      {MF_MT_AUDIO_NUM_CHANNELS, "channels"},
      {MF_MT_AUDIO_SAMPLES_PER_SECOND, "rate"},
      {MF_MT_AUDIO_BLOCK_ALIGNMENT, "block"},
      {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, "bytes/s"},
      {MF_MT_AUDIO_BITS_PER_SAMPLE, "bits"},
      {MF_MT_ALL_SAMPLES_INDEPENDENT, "independent"},
      {MF_MT_AUDIO_CHANNEL_MASK, "mask"},
      {MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, "valid"},
      {MFMediaType_Audio, "audio"},
      {MFAudioFormat_PCM, "pcm"},
      {MFAudioFormat_Float, "float"},
  };
  const auto found = std::find_if(names.begin(), names.end(),
                                  [&](const auto& name) { return IsEqualGUID(name.first, guid); });
  return found == names.end() ? "?" : found->second;
}

class ScriptedType final : public TrackedObject<IMFMediaType> {
 public:
  HRESULT GetUINT32(REFGUID, UINT32*) override { return E_NOTIMPL; }
  HRESULT GetGUID(REFGUID, GUID*) override { return E_NOTIMPL; }
  HRESULT SetUINT32(REFGUID key, UINT32 value) override {
    return Step("SetUINT32", Text(key) + "=" + std::to_string(value));
  }
  HRESULT SetGUID(REFGUID key, REFGUID value) override {
    return Step("SetGUID", Text(key) + "=" + Text(value));
  }
};

class ScriptedBuffer final : public TrackedObject<IMFMediaBuffer> {
 public:
  explicit ScriptedBuffer(DWORD capacity) : bytes_(capacity) {}
  HRESULT Lock(BYTE** data, DWORD*, DWORD*) override {
    if (CurrentScript().Fails("Lock")) return kFailure;
    *data = bytes_.data();
    return S_OK;
  }
  HRESULT Unlock() override { return Step("Unlock"); }
  HRESULT GetCurrentLength(DWORD* length) override {
    *length = length_;
    return Step("GetCurrentLength");
  }
  HRESULT SetCurrentLength(DWORD length) override {
    if (length > bytes_.size()) return E_INVALIDARG;
    length_ = length;
    return Step("SetCurrentLength", std::to_string(length));
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
    if (CurrentScript().Fails("ConvertToContiguousBuffer")) return kFailure;
    *buffer = ComPtr<IMFMediaBuffer>::Share(buffer_.Get()).Detach();
    return S_OK;
  }
  IMFMediaBuffer* Buffer() const { return buffer_.Get(); }

 private:
  ComPtr<IMFMediaBuffer> buffer_;
};

// Gives the pulls of the script, one a request, then asks for more input.
class ScriptedTransform final : public TrackedObject<IMFTransform, IWMResamplerProps> {
 public:
  explicit ScriptedTransform(ScriptedPlatform& script) : script_(script) {}
  HRESULT QueryInterface(REFIID iid, void** object) override {
    if (IsEqualGUID(iid, IID_IMFTransform) && script_.Fails("QueryInterface(IMFTransform)"))
      return kFailure;
    if (IsEqualGUID(iid, IID_IWMResamplerProps) && script_.Fails("QueryInterface(props)"))
      return kFailure;
    return ComObject::QueryInterface(iid, object);
  }
  HRESULT SetInputType(DWORD, IMFMediaType*, DWORD) override { return Step("SetInputType"); }
  HRESULT SetOutputType(DWORD, IMFMediaType*, DWORD) override { return Step("SetOutputType"); }
  HRESULT GetInputStatus(DWORD, DWORD* flags) override {
    *flags = script_.input_status;
    return Step("GetInputStatus");
  }
  HRESULT ProcessMessage(MFT_MESSAGE_TYPE message, std::uintptr_t) override {
    return Step("ProcessMessage", std::to_string(static_cast<unsigned>(message)));
  }
  HRESULT ProcessInput(DWORD, IMFSample*, DWORD) override {
    const HRESULT result = Step("ProcessInput");
    next_pull_ = FAILED(result) ? script_.pulls.size() : 0;
    return result;
  }
  HRESULT ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER* output, DWORD*) override {
    if (script_.Fails("ProcessOutput")) return kFailure;
    if (next_pull_ >= script_.pulls.size()) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    const std::vector<BYTE>& pull = script_.pulls[next_pull_++];
    IMFMediaBuffer* const buffer = static_cast<ScriptedSample*>(output->pSample)->Buffer();
    // Straight through, so that the journal shows the stage's own operations only.
    return static_cast<ScriptedBuffer*>(buffer)->Fill(pull);
  }
  HRESULT SetHalfFilterLength(LONG length) override {
    return Step("SetHalfFilterLength", std::to_string(length));
  }

 private:
  ScriptedPlatform& script_;
  std::size_t next_pull_ = 0;
};

template <class Object, class Interface, class... Arguments>
HRESULT Make(const char* name, Interface** object, const std::string& detail,
             Arguments... arguments) {
  if (CurrentScript().Fails(name, detail)) return kFailure;
  *object = MakeCom<Object>(arguments...);
  return S_OK;
}

}  // namespace

HRESULT CreateScriptedMediaType(IMFMediaType** type) {
  return Make<ScriptedType>("MFCreateMediaType", type, {});
}

HRESULT CreateScriptedSample(IMFSample** sample) {
  return Make<ScriptedSample>("MFCreateSample", sample, {});
}

HRESULT CreateScriptedBuffer(DWORD capacity, IMFMediaBuffer** buffer) {
  return Make<ScriptedBuffer>("MFCreateMemoryBuffer", buffer, std::to_string(capacity), capacity);
}

ClassFactory ScriptedResampler(ScriptedPlatform& script) {
  return [&script](REFIID iid, void** object) -> HRESULT {
    if (script.Fails("CoCreateInstance(resampler)")) return kFailure;
    const auto transform = ComPtr<ScriptedTransform>::Attach(MakeCom<ScriptedTransform>(script));
    return transform->QueryInterface(iid, object);
  };
}

}  // namespace zevra::test
