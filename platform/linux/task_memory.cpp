#include <cstdlib>

#include "platform/api.h"

void* CoTaskMemAlloc(std::size_t bytes) { return std::malloc(bytes); }

void CoTaskMemFree(void* block) { std::free(block); }

HRESULT PropVariantClear(PROPVARIANT* value) {
  if (value == nullptr) return E_INVALIDARG;
  if (value->vt == VT_LPWSTR) CoTaskMemFree(value->pwszVal);
  *value = PROPVARIANT{};
  return S_OK;
}
