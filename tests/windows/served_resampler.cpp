#include "windows/served_resampler.h"

#include <array>
#include <atomic>
#include <utility>

#include "platform/owners.h"
#include "support/live_objects.h"
#include "windows/class_server.h"

namespace zevra::test {
namespace {

constexpr LONG kLongestHalfFilter = 60;

std::atomic<LONG> filter_length{0};

// The library's calls go on to the system's transform; what that one has no answer to is answered
// here, as its documentation tells.
class Resampler final : public TrackedObject<IMFTransform, IWMResamplerProps> {
 public:
  explicit Resampler(ComPtr<IMFTransform> inner) : inner_(std::move(inner)) {}

  HRESULT SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override {
    const HRESULT result = inner_->SetInputType(stream, type, flags);
    if (SUCCEEDED(result)) has_input_type_ = type != nullptr;
    return result;
  }
  HRESULT SetOutputType(DWORD stream, IMFMediaType* type, DWORD flags) override {
    const HRESULT result = inner_->SetOutputType(stream, type, flags);
    if (SUCCEEDED(result)) has_output_type_ = type != nullptr;
    return result;
  }
  HRESULT ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) override {
    const HRESULT result = inner_->ProcessMessage(message, parameter);
    if (SUCCEEDED(result) && message == MFT_MESSAGE_COMMAND_FLUSH) wants_input_ = true;
    return result;
  }
  HRESULT GetInputStatus(DWORD stream, DWORD* flags) override {
    if (flags == nullptr) return E_POINTER;
    *flags = 0;
    if (stream != 0) return MF_E_INVALIDSTREAMNUMBER;
    if (!has_input_type_ || !has_output_type_) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (wants_input_) *flags = MFT_INPUT_STATUS_ACCEPT_DATA;
    return S_OK;
  }
  HRESULT ProcessInput(DWORD stream, IMFSample* sample, DWORD flags) override {
    if (!wants_input_) return MF_E_NOTACCEPTING;
    const HRESULT result = inner_->ProcessInput(stream, sample, flags);
    if (SUCCEEDED(result)) wants_input_ = false;
    return result;
  }
  HRESULT ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* buffers,
                        DWORD* status) override {
    const HRESULT result = inner_->ProcessOutput(flags, count, buffers, status);
    if (result == MF_E_TRANSFORM_NEED_MORE_INPUT) wants_input_ = true;
    return result;
  }

  HRESULT SetHalfFilterLength(LONG length) override {
    if (length < 1 || length > kLongestHalfFilter) return E_INVALIDARG;
    filter_length = length;
    return S_OK;
  }

 private:
  const ComPtr<IMFTransform> inner_;
  bool has_input_type_ = false;
  bool has_output_type_ = false;
  // Not before everything that it made of the last input has been taken.
  bool wants_input_ = true;
};

// Where the system has the class that is treated as the one here.
HMODULE SystemsModule() {
  std::array<WCHAR, MAX_PATH> path{};
  auto bytes = static_cast<DWORD>(sizeof path);
  const LSTATUS error = ::RegGetValueW(
      HKEY_LOCAL_MACHINE,
      L"Software\\Classes\\CLSID\\{F447B69E-1884-4A7E-8055-346F74D6EDB3}\\InprocServer32", nullptr,
      RRF_RT_REG_SZ, nullptr, path.data(), &bytes);
  return error == ERROR_SUCCESS ? ::LoadLibraryW(path.data()) : nullptr;
}

HRESULT CreateSystemsResampler(ComPtr<IMFTransform>* resampler) {
  static HMODULE const module = SystemsModule();
  if (module == nullptr) return REGDB_E_CLASSNOTREG;
  const auto get_class_object = reinterpret_cast<LPFNGETCLASSOBJECT>(
      reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
  if (get_class_object == nullptr) return CO_E_ERRORINDLL;
  ComPtr<IClassFactory> factory;
  const HRESULT result =
      get_class_object(CLSID_CResamplerMediaObject, IID_IClassFactory, factory.PutVoid());
  if (FAILED(result)) return result;
  return factory->CreateInstance(nullptr, IID_IMFTransform, resampler->PutVoid());
}

}  // namespace

HRESULT CreateResampler(REFIID iid, void** object) {
  ComPtr<IMFTransform> inner;
  const HRESULT result = CreateSystemsResampler(&inner);
  if (FAILED(result)) return result;
  const auto resampler = ComPtr<IMFTransform>::Attach(MakeCom<Resampler>(std::move(inner)));
  return resampler ? resampler->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

}  // namespace zevra::test

long ServedFilterLength() { return zevra::test::filter_length.load(); }
