// The functions of Media Foundation, looked up at their first use. Editions of Windows without
// media features have no mfplat.dll, and a DLL that imports it does not load there at all; this one
// loads, and there its captures deliver packets without data.

#include <array>
#include <string_view>

#include "platform/api.h"
#include "platform/result.h"

namespace {

// By its whole path, so that a file of that name beside the host is never loaded.
HMODULE LoadMediaFoundation() {
  constexpr std::wstring_view kFile = L"\\mfplat.dll";
  std::array<wchar_t, MAX_PATH + kFile.size()> path{};
  const UINT length = ::GetSystemDirectoryW(path.data(), MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return nullptr;
  kFile.copy(path.data() + length, kFile.size());
  return ::LoadLibraryW(path.data());
}

template <class Function>
void Find(HMODULE module, const char* name, Function*& function) {
  if (module != nullptr)
    function = reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

struct MediaFoundation {
  MediaFoundation() {
    HMODULE const module = LoadMediaFoundation();  // for good
    Find(module, "MFStartup", start_up);
    Find(module, "MFShutdown", shut_down);
    Find(module, "MFCreateMediaType", create_media_type);
    Find(module, "MFCreateSample", create_sample);
    Find(module, "MFCreateMemoryBuffer", create_memory_buffer);
  }

  decltype(&MFStartup) start_up = nullptr;
  decltype(&MFShutdown) shut_down = nullptr;
  decltype(&MFCreateMediaType) create_media_type = nullptr;
  decltype(&MFCreateSample) create_sample = nullptr;
  decltype(&MFCreateMemoryBuffer) create_memory_buffer = nullptr;
};

const MediaFoundation& Functions() {
  static const MediaFoundation functions;
  return functions;
}

template <class Function, class... Arguments>
HRESULT Call(Function MediaFoundation::*member, Arguments... arguments) {
  const Function function = Functions().*member;
  return function == nullptr ? zevra::ResultFromError(ERROR_PROC_NOT_FOUND)
                             : function(arguments...);
}

}  // namespace

// The SDK's own names, in place of its import library.

HRESULT STDAPICALLTYPE MFStartup(ULONG version, DWORD flags) {
  return Call(&MediaFoundation::start_up, version, flags);
}

HRESULT STDAPICALLTYPE MFShutdown() { return Call(&MediaFoundation::shut_down); }

HRESULT STDAPICALLTYPE MFCreateMediaType(IMFMediaType** type) {
  return Call(&MediaFoundation::create_media_type, type);
}

HRESULT STDAPICALLTYPE MFCreateSample(IMFSample** sample) {
  return Call(&MediaFoundation::create_sample, sample);
}

HRESULT STDAPICALLTYPE MFCreateMemoryBuffer(DWORD bytes, IMFMediaBuffer** buffer) {
  return Call(&MediaFoundation::create_memory_buffer, bytes, buffer);
}
