#include <atomic>

#include "platform/api.h"
#include "platform/linux/block_cache.h"

// Nothing has to be brought up: objects can be made before the first start and after the last
// shutdown. What the pair does is count, so that a caller who lost the balance is told.

namespace {
std::atomic<long> startups{0};
}  // namespace

HRESULT MFStartup(ULONG version, DWORD) {
  if (version != MF_VERSION) return MF_E_BAD_STARTUP_VERSION;
  startups.fetch_add(1, std::memory_order_relaxed);
  return S_OK;
}

HRESULT MFShutdown() {
  long count = startups.load(std::memory_order_relaxed);
  while (count > 0) {
    if (startups.compare_exchange_weak(count, count - 1, std::memory_order_relaxed)) {
      zevra::TrimBlocks();
      return S_OK;
    }
  }
  return MF_E_PLATFORM_NOT_INITIALIZED;
}
