#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/api.h"
#include "platform/linux/block_cache.h"
#include "platform/owners.h"

namespace zevra {
namespace {

// Samples made on one thread and released on others: their memory changes hands between the
// threads' caches, also behind a cache that is gone already.
TEST(Samples, MayBeReleasedOnAnyThread) {
  const long blocks = BlocksInUse();
  for (int round = 0; round < 50; ++round) {
    std::vector<ComPtr<IMFMediaBuffer>> buffers(20);
    for (auto& buffer : buffers) MFCreateMemoryBuffer(4'000, buffer.Put());
    std::thread([&buffers] {
      thread_local std::vector<ComPtr<IMFMediaBuffer>> until_the_end;
      for (std::size_t i = 0; i < buffers.size(); i += 2)
        until_the_end.push_back(std::move(buffers[i]));
      for (auto& buffer : buffers) buffer.Reset();
    }).join();
  }
  EXPECT_EQ(BlocksInUse(), blocks);
}

}  // namespace
}  // namespace zevra
