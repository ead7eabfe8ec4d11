#include "platform/linux/class_factories.h"

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

namespace zevra {

bool ComIsInitialized() { return initialisations > 0; }

}  // namespace zevra
