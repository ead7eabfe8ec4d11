#include "platform/linux/com/com.h"

#include <cstdlib>

#include "platform/api.h"

namespace {
// Calls of CoInitialize on this thread that are still owed a CoUninitialize.
thread_local ULONG initialisations = 0;
}  // namespace

HRESULT CoInitialize(void* reserved) {
  if (reserved != nullptr) return E_INVALIDARG;
  return initialisations++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize() {
  if (initialisations > 0) --initialisations;
}

HRESULT CoCreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                         void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (initialisations == 0) return CO_E_NOTINITIALIZED;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  // Every class lives inside the process.
  if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
  if (class_id == CLSID_MMDeviceEnumerator) return zevra::CreateDeviceEnumerator(iid, object);
  if (class_id == CLSID_CResamplerMediaObject) return zevra::CreateResampler(iid, object);
  return REGDB_E_CLASSNOTREG;
}

void* CoTaskMemAlloc(std::size_t bytes) { return std::malloc(bytes); }

void CoTaskMemFree(void* block) { std::free(block); }

HRESULT PropVariantClear(PROPVARIANT* value) {
  if (value == nullptr) return E_INVALIDARG;
  if (value->vt == VT_LPWSTR) CoTaskMemFree(value->pwszVal);
  *value = PROPVARIANT{};
  return S_OK;
}
