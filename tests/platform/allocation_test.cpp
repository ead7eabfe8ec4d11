#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "platform/linux/com/block_pool.h"
#include "stream/conversion.h"
#include "stream/conversion_arithmetic.h"
#include "support/counting_heap.h"

namespace zevra::test {
namespace {

constexpr std::size_t kPacketFrames = 480;

ZevraAudioFormat Float(std::uint32_t rate, std::uint16_t channels) {
  return {ZEVRA_SAMPLE_FLOAT, channels, 32, rate, 0, 32, 0};
}
ZevraAudioFormat Pcm(std::uint16_t bits, std::uint32_t rate, std::uint16_t channels) {
  return {ZEVRA_SAMPLE_PCM, channels, bits, rate, 0, bits, 0};
}

// A conversion stage and a packet for it.
struct Stage {
  Stage(const ZevraAudioFormat& source, const ZevraAudioFormat& target)
      : packet(kPacketFrames * BlockBytes(source)) {
    context.source_format = source;
    context.target_format = target;
  }

  HRESULT Convert() {
    converted.Clear();
    return ConvertBuffer(context, packet.data(), static_cast<std::uint32_t>(packet.size()),
                         converted);
  }

  const std::vector<std::uint8_t> packet;
  ZevraConversionContext context;
  ZevraConvertedBuffer converted;
};

class Allocation : public ::testing::Test {
 protected:
  void SetUp() override { CoInitialize(nullptr); }
  void TearDown() override { CoUninitialize(); }
};

TEST_F(Allocation, APacketTakesNothingFromTheHeap) {
  const struct {
    ZevraAudioFormat source, target;
  } cases[] = {{Float(48'000, 2), Pcm(16, 16'000, 1)}, {Float(48'000, 2), Float(44'100, 2)},
               {Float(48'000, 8), Pcm(24, 48'000, 2)}, {Float(44'100, 1), Pcm(32, 192'000, 6)},
               {Pcm(24, 48'000, 2), Pcm(8, 8'000, 1)}, {Float(48'000, 2), Float(48'000, 2)},
               {Float(48'000, 2), Pcm(24, 48'000, 2)}};
  for (const auto& c : cases) {
    Stage stage(c.source, c.target);
    ASSERT_EQ(StartConversion(stage.context), S_OK);
    const long at_first = Allocations();
    for (int i = 0; i < 40; ++i) ASSERT_EQ(stage.Convert(), S_OK);
    EXPECT_GT(Allocations(), at_first) << "the count does not count";
    const long before = Allocations();
    for (int i = 0; i < 500; ++i) ASSERT_EQ(stage.Convert(), S_OK);
    EXPECT_EQ(Allocations(), before)
        << c.target.samples_per_second << ' ' << c.target.bits_per_sample;
  }
}

// Calls `run` with 1, 2, ... until it gives false, each time on a thread whose caches are empty.
// Gives the number of times that it gave true.
int CountFailures(const std::function<bool(long)>& run) {
  int failures = -1;
  for (bool failed = true; failed; ++failures) {
    std::thread([&] {
      CoInitialize(nullptr);
      // The C library ends a process that has no memory to note a thread's destructors.
      FreeBlock(AllocateBlock(1));
      TrimBlocks();
      failed = run(failures + 2);
      CoUninitialize();
    }).join();
  }
  return failures;
}

// Each allocation of a conversion's beginning and of its first packet fails in turn.
TEST_F(Allocation, OneThatFailsCostsAPacketAndNoMore) {
  const auto start = [](long number) {
    Stage stage(Float(48'000, 2), Pcm(24, 16'000, 1));
    FailAllocation(number);
    const HRESULT result = StartConversion(stage.context);
    const bool failed = FailAllocation(0);
    EXPECT_EQ(result, failed ? E_OUTOFMEMORY : S_OK) << number;
    return failed;
  };
  EXPECT_GT(CountFailures(start), 10);
  const auto convert = [](long number) {
    Stage stage(Float(48'000, 2), Pcm(24, 16'000, 1));
    EXPECT_EQ(StartConversion(stage.context), S_OK);
    FailAllocation(number);
    const HRESULT result = stage.Convert();
    const bool failed = FailAllocation(0);
    EXPECT_EQ(result, failed ? E_OUTOFMEMORY : S_OK) << number;
    EXPECT_EQ(stage.Convert(), S_OK) << number;
    EXPECT_GT(stage.converted.length, 0U) << number;
    return failed;
  };
  EXPECT_GT(CountFailures(convert), 3);
}

TEST_F(Allocation, StartAndStopGiveEverythingBack) {
  const auto round = [&] {
    Stage stage(Float(48'000, 2), Pcm(24, 16'000, 1));
    ASSERT_EQ(StartConversion(stage.context), S_OK);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(stage.Convert(), S_OK);
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
}

// Buffers made on one thread and released on others: their memory changes hands between the
// threads' spare blocks, also behind a thread that has given up its own already.
TEST_F(Allocation, BuffersMayBeReleasedOnAnyThread) {
  const auto round = [] {
    std::vector<ComPtr<IMFMediaBuffer>> buffers(20);
    for (auto& buffer : buffers) MFCreateMemoryBuffer(4'000, buffer.Put());
    std::thread([&buffers] {
      thread_local std::vector<ComPtr<IMFMediaBuffer>> until_the_end;
      for (std::size_t i = 0; i < buffers.size(); i += 2)
        until_the_end.push_back(std::move(buffers[i]));
      for (auto& buffer : buffers) buffer.Reset();
    }).join();
    TrimBlocks();
  };
  round();
  const long before = LiveBlocks();
  for (int i = 0; i < 50; ++i) round();
  EXPECT_EQ(LiveBlocks(), before);
}

}  // namespace
}  // namespace zevra::test
