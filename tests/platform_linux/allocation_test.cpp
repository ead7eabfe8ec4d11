#include <gtest/gtest.h>

#include "counting_heap.h"
#include "resampler_driver.h"

namespace zevra::test {
namespace {

constexpr std::size_t kPacketFrames = 480;

void RunPackets(const ResamplerDriver& resampler, const Bytes& packet, int packets, Bytes* output) {
  while (packets-- > 0) {
    ASSERT_EQ(resampler.Push(packet.data(), packet.size()), S_OK);
    output->clear();
    HRESULT result = S_OK;
    while (SUCCEEDED(result)) result = resampler.Pull(2'048, output);
  }
}

TEST(Allocation, APacketTakesNothingFromTheHeap) {
  CoInitialize(nullptr);
  const struct {
    Format input, output;
  } cases[] = {{Float(48'000, 2), Pcm(16, 0, 16'000, 1)},
               {Float(48'000, 2), Float(44'100, 2)},
               {Float(48'000, 8), Pcm(24, 0, 48'000, 2)},
               {Float(44'100, 1), Pcm(32, 0, 192'000, 6)},
               {Pcm(24), Pcm(8, 0, 8'000, 1)},
               {Float(48'000, 2), Float(48'000, 2)}};
  for (const auto& c : cases) {
    const Bytes packet(kPacketFrames * c.input.BlockBytes());
    Bytes output;
    output.reserve(1 << 20);
    const ResamplerDriver resampler(c.input, c.output);
    const long at_first = Allocations();
    RunPackets(resampler, packet, 40, &output);
    EXPECT_GT(Allocations(), at_first) << "the count does not count";
    const long before = Allocations();
    RunPackets(resampler, packet, 500, &output);
    EXPECT_EQ(Allocations(), before) << c.output.rate << ' ' << c.output.bits;
  }
  CoUninitialize();
}

TEST(Allocation, StartAndStopGiveEverythingBack) {
  CoInitialize(nullptr);
  const Format input = Float(48'000, 2), output = Pcm(24, 0, 16'000, 1);
  const Bytes packet(kPacketFrames * input.BlockBytes());
  Bytes converted;
  converted.reserve(1 << 20);
  const auto round = [&] {
    ASSERT_EQ(MFStartup(MF_VERSION, MFSTARTUP_LITE), S_OK);
    {
      const ResamplerDriver resampler(input, output);
      RunPackets(resampler, packet, 3, &converted);
    }
    ASSERT_EQ(MFShutdown(), S_OK);
  };
  round();
  const long before = LiveBlocks();
  for (int i = 0; i < 100; ++i) round();
  EXPECT_EQ(LiveBlocks(), before);
  // A thread's spare blocks do not outlive its use of the platform.
  ComPtr<IMFMediaBuffer> buffer;
  MFStartup(MF_VERSION, MFSTARTUP_LITE);
  MFCreateMemoryBuffer(100, buffer.Put());
  buffer.Reset();
  EXPECT_EQ(LiveBlocks(), before + 1);
  MFShutdown();
  EXPECT_EQ(LiveBlocks(), before);
  CoUninitialize();
}

}  // namespace
}  // namespace zevra::test
