#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

#include "resampler_driver.h"

// Counts what the process takes from the heap, by whatever name: the operators of C++ end in these
// as well.

namespace {
std::atomic<long> allocations{0};
std::atomic<long> live_blocks{0};

template <class T>
T* Count(T* block) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (block != nullptr) live_blocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}
}  // namespace

extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* block);

__attribute__((visibility("default"))) void* malloc(std::size_t bytes) {
  return Count(__libc_malloc(bytes));
}
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t bytes) {
  return Count(__libc_calloc(count, bytes));
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t bytes) {
  if (block != nullptr) live_blocks.fetch_sub(1, std::memory_order_relaxed);
  return Count(__libc_realloc(block, bytes));
}
__attribute__((visibility("default"))) void* memalign(std::size_t alignment, std::size_t bytes) {
  return Count(__libc_memalign(alignment, bytes));
}
__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment,
                                                           std::size_t bytes) {
  return Count(__libc_memalign(alignment, bytes));
}
__attribute__((visibility("default"))) int posix_memalign(void** block, std::size_t alignment,
                                                          std::size_t bytes) {
  *block = Count(__libc_memalign(alignment, bytes));
  return *block != nullptr ? 0 : ENOMEM;
}
__attribute__((visibility("default"))) void free(void* block) {
  if (block != nullptr) live_blocks.fetch_sub(1, std::memory_order_relaxed);
  __libc_free(block);
}
}

namespace {

using namespace zevra::test;

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
    const long at_first = allocations;
    RunPackets(resampler, packet, 40, &output);
    EXPECT_GT(allocations, at_first) << "the count does not count";
    const long before = allocations;
    RunPackets(resampler, packet, 500, &output);
    EXPECT_EQ(allocations, before) << c.output.rate << ' ' << c.output.bits;
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
  const long before = live_blocks;
  for (int i = 0; i < 100; ++i) round();
  EXPECT_EQ(live_blocks, before);
  // A thread's spare blocks do not outlive its use of the platform.
  ComPtr<IMFMediaBuffer> buffer;
  MFStartup(MF_VERSION, MFSTARTUP_LITE);
  MFCreateMemoryBuffer(100, buffer.Put());
  buffer.Reset();
  EXPECT_EQ(live_blocks, before + 1);
  MFShutdown();
  EXPECT_EQ(live_blocks, before);
  CoUninitialize();
}

}  // namespace
