#include "windows/class_server.h"

#include <array>
#include <atomic>
#include <utility>

#include "platform/com_object.h"
#include "platform/owners.h"

namespace zevra {

template <>
inline constexpr const IID* kInterfaceId<IClassFactory> = &IID_IClassFactory;

}  // namespace zevra

namespace zevra::test {
namespace {

std::atomic<LONG> filter_length{0};

// The library's calls go on to the system's transform. What Wine's has no answer to is answered
// here, as its documentation tells: whether it takes input, and its settings.
class Resampler final : public ComObject<IMFTransform, IWMResamplerProps> {
 public:
  explicit Resampler(ComPtr<IMFTransform> inner) : inner_(std::move(inner)) {}

  HRESULT SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override {
    return inner_->SetInputType(stream, type, flags);
  }
  HRESULT SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override {
    return inner_->SetOutputType(stream, type, flags);
  }
  HRESULT ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) override {
    wants_input_ = wants_input_ || message == MFT_MESSAGE_COMMAND_FLUSH;
    return inner_->ProcessMessage(message, parameter);
  }
  HRESULT GetInputStatus(DWORD, DWORD* flags) override {
    *flags = wants_input_ ? MFT_INPUT_STATUS_ACCEPT_DATA : 0;
    return S_OK;
  }
  HRESULT ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override {
    if (!std::exchange(wants_input_, false)) return MF_E_NOTACCEPTING;
    return inner_->ProcessInput(stream, sample, flags);
  }
  HRESULT ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* buffers,
                        DWORD* status) override {
    const HRESULT result = inner_->ProcessOutput(flags, count, buffers, status);
    wants_input_ = result == MF_E_TRANSFORM_NEED_MORE_INPUT;
    return result;
  }
  HRESULT SetHalfFilterLength(LONG length) override {
    filter_length = length;
    return S_OK;
  }

 private:
  const ComPtr<IMFTransform> inner_;
  // Not before everything that it made of the last input has been taken.
  bool wants_input_ = true;
};

// From where the system has the class that is treated as the one here.
HRESULT CreateSystemsResampler(ComPtr<IMFTransform>* resampler) {
  std::array<WCHAR, MAX_PATH> path{};
  auto bytes = static_cast<DWORD>(sizeof path);
  ::RegGetValueW(HKEY_LOCAL_MACHINE,
                 L"Software\\Classes\\CLSID\\{F447B69E-1884-4A7E-8055-346F74D6EDB3}"
                 L"\\InprocServer32",
                 nullptr, RRF_RT_REG_SZ, nullptr, path.data(), &bytes);
  static HMODULE const module = ::LoadLibraryW(path.data());
  const auto get_class_object = reinterpret_cast<LPFNGETCLASSOBJECT>(
      reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
  if (get_class_object == nullptr) return CO_E_ERRORINDLL;
  ComPtr<IClassFactory> factory;
  const HRESULT result =
      get_class_object(CLSID_CResamplerMediaObject, IID_IClassFactory, factory.PutVoid());
  if (FAILED(result)) return result;
  return factory->CreateInstance(nullptr, IID_IMFTransform, resampler->PutVoid());
}

class Factory final : public ComObject<IClassFactory> {
 public:
  HRESULT CreateInstance(IUnknown*, REFIID iid, void** object) override {
    ComPtr<IMFTransform> inner;
    const HRESULT result = CreateSystemsResampler(&inner);
    if (FAILED(result)) return result;
    const auto resampler = ComPtr<IMFTransform>::Attach(MakeCom<Resampler>(std::move(inner)));
    return resampler ? resampler->QueryInterface(iid, object) : E_OUTOFMEMORY;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }
};

}  // namespace
}  // namespace zevra::test

STDAPI DllGetClassObject(REFCLSID, REFIID iid, void** object) {
  const auto factory = zevra::ComPtr<IClassFactory>::Attach(zevra::MakeCom<zevra::test::Factory>());
  return factory ? factory->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

// What it counts must be there to the end of the test.
STDAPI DllCanUnloadNow() { return S_FALSE; }

long ServedFilterLength() { return zevra::test::filter_length; }
