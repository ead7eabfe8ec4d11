// What the library takes from the heap, and what comes of it when there is no memory.

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "platform/linux/com/block_pool.h"
#include "resampler/resampler_driver.h"
#include "support/builtin_endpoints.h"
#include "support/counting_heap.h"

namespace zevra::test {
namespace {

// A conversion stage; what it converts is silence.
struct Stage {
  explicit Stage(const ZevraAudioFormat& source = Float(48'000, 2),
                 const ZevraAudioFormat& target = Pcm(16, 0, 16'000, 1)) {
    context.source_format = source;
    context.target_format = target;
  }

  HRESULT Convert() {
    static constexpr std::uint8_t kSilence[480 * 32] = {};
    converted.Clear();
    return ConvertBuffer(context, kSilence, 480U * BlockBytes(context.source_format), converted);
  }

  ZevraConversionContext context;
  ZevraConvertedBuffer converted;
};

using Allocation = ComTest;

TEST_F(Allocation, APacketTakesNothingFromTheHeap) {
  const std::pair<ZevraAudioFormat, ZevraAudioFormat> cases[] = {
      {Float(48'000, 2), Pcm(16, 0, 16'000, 1)},
      {Float(44'100, 1), Pcm(32, 0, 192'000, 6)},
      {Float(48'000, 2), Float(48'000, 2)}};
  for (const auto& [source, target] : cases) {
    Stage stage(source, target);
    ASSERT_EQ(StartConversion(stage.context), S_OK);
    const long at_first = Allocations();
    for (int i = 0; i < 40; ++i) ASSERT_EQ(stage.Convert(), S_OK);
    EXPECT_GT(Allocations(), at_first) << "the count does not count";
    const long before = Allocations();
    for (int i = 0; i < 500; ++i) ASSERT_EQ(stage.Convert(), S_OK);
    EXPECT_EQ(Allocations(), before) << target.samples_per_second << ' ' << target.bits_per_sample;
  }
}

// Has the first allocation of `call` fail, then the second, and so on until it does without. A
// failure gives E_OUTOFMEMORY or `otherwise`. Tells how many there were.
int FailEachAllocation(const std::function<HRESULT()>& call, HRESULT otherwise = E_OUTOFMEMORY) {
  for (int failures = 0;; ++failures) {
    FailAllocation(failures + 1);
    const HRESULT result = call();
    if (!FailAllocation(0)) {
      EXPECT_EQ(result, S_OK);
      return failures;
    }
    EXPECT_TRUE(result == E_OUTOFMEMORY || result == otherwise) << failures << ' ' << result;
  }
}

TEST_F(Allocation, OneThatFailsCostsAConversionAPacketAndNoMore) {
  // The C library ends a process that has no memory to note a thread's destructors.
  FreeBlock(AllocateBlock(1));
  EXPECT_GT(FailEachAllocation([] {
              TrimBlocks();
              Stage stage;
              return StartConversion(stage.context);
            }),
            10);
  bool failed = true;
  for (int failures = 1; failed; ++failures) {
    TrimBlocks();
    Stage stage;
    EXPECT_EQ(StartConversion(stage.context), S_OK);
    FailAllocation(failures);
    const HRESULT result = stage.Convert();
    failed = FailAllocation(0);
    EXPECT_EQ(result, failed ? E_OUTOFMEMORY : S_OK) << failures;
    EXPECT_EQ(stage.Convert(), S_OK) << failures;
    EXPECT_GT(stage.converted.length, 0U) << failures;
    EXPECT_TRUE(failed || failures > 3);
  }
}

// The list passes over an endpoint whose name cannot be read.
TEST_F(Allocation, NoMemoryIsAResultOfTheExportedFunctions) {
  const builtin::BuiltinAudio audio(builtin::StandardEndpoints());
  const ClassRegistration registration = RegisterEndpoints(audio);
  const auto open = [](const ZevraChar* name) {
    ZevraHandle opened = nullptr;
    const HRESULT result = ZevraOpenDevice(&opened, name, ZEVRA_FLOW_RENDER);
    EXPECT_EQ(opened == nullptr, result != 0);
    ZevraCloseDevice(opened);
    return result;
  };
  ZevraDeviceList list{};
  ASSERT_EQ(ZevraGetDeviceList(&list), 0);
  // The first comparison of names loads tables of the C library, and does without if it must.
  ASSERT_EQ(open(list.names[0]), 0);
  ZevraHandle handle = nullptr;
  ASSERT_EQ(ZevraOpenDevice(&handle, nullptr, ZEVRA_FLOW_RENDER), 0);
  float volume = 0;
  EXPECT_GE(FailEachAllocation([&] { return open(nullptr); }), 5);
  EXPECT_GE(FailEachAllocation([&] { return open(list.names[0]); }), 8);
  EXPECT_GE(FailEachAllocation([&] { return ZevraGetDeviceList(&list); }, S_OK), 8);
  EXPECT_GE(FailEachAllocation([&] { return ZevraGetVolume(handle, &volume); }), 1);
  ZevraCloseDevice(handle);
}

}  // namespace
}  // namespace zevra::test
