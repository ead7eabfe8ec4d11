#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "platform/com_object.h"
#include "platform/linux/block_cache.h"
#include "resampler_driver.h"
#include "support/process_holdings.h"

namespace zevra::test {
namespace {

using ResamplerLifetime = ComTest;

TEST_F(ResamplerLifetime, AThousandLeaveNothingBehind) {
  std::optional<ProcessHoldings> before;
  const long objects = platform::live_com_objects, blocks = platform::BlocksInUse();
  const Format input = Float(48'000, 2), output = Pcm(24, 0, 16'000, 1);
  const Bytes packet(std::size_t{480} * 8);
  for (int round = -10; round < 1000; ++round) {
    if (round == 0) before.emplace();  // with what is kept from the first rounds on
    const ResamplerDriver resampler(input, output);
    // Every second one goes with a packet inside.
    ASSERT_EQ(resampler.Push(packet.data(), packet.size()), S_OK);
    Bytes converted;
    if (round % 2 == 0) {
      ASSERT_EQ(resampler.Pull(10'000, &converted), S_OK);
    }
  }
  EXPECT_EQ(platform::live_com_objects, objects);
  EXPECT_EQ(platform::BlocksInUse(), blocks);
  before->ExpectNoMoreNow();
}

// Samples made on one thread and released on others: their memory changes hands between the
// threads' caches, also behind a cache that is gone already.
TEST_F(ResamplerLifetime, SamplesMayBeReleasedOnAnyThread) {
  const long blocks = platform::BlocksInUse();
  for (int round = 0; round < 50; ++round) {
    std::vector<ComPtr<IMFMediaBuffer>> buffers(20);
    for (auto& buffer : buffers) MFCreateMemoryBuffer(4'000, buffer.Put());
    std::thread([&buffers] {
      thread_local std::vector<ComPtr<IMFMediaBuffer>> until_the_end;
      for (std::size_t i = 0; i < buffers.size(); i += 2) {
        until_the_end.push_back(std::move(buffers[i]));
      }
      for (auto& buffer : buffers) buffer.Reset();
    }).join();
  }
  EXPECT_EQ(platform::BlocksInUse(), blocks);
}

}  // namespace
}  // namespace zevra::test
