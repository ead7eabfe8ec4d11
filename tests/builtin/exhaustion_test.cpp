// The exported functions on the built-in endpoints when memory runs out, and when they are used for
// long.

#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "support/builtin_endpoints.h"
#include "support/counting_heap.h"
#include "support/host.h"
#include "support/process_holdings.h"

namespace zevra::test {
namespace {

class Exhaustion : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_GE(ZevraInitialize(), 0); }
  void TearDown() override {
    ZevraUninitialize();
    EXPECT_EQ(clock_.use_count(), clock_uses_);
  }

  static ZevraHandle Open() {
    ZevraHandle handle = nullptr;
    EXPECT_EQ(ZevraOpenDevice(&handle, nullptr, ZEVRA_FLOW_RENDER), 0);
    return handle;
  }

  const ZevraAudioFormat format_ = SpeechFormat();

 private:
  // Each object of the endpoints holds the clock.
  const std::shared_ptr<const builtin::Clock> clock_ = builtin::RealClock();
  const builtin::BuiltinAudio audio_{builtin::StandardEndpoints(), clock_};
  const ClassRegistration registration_ = RegisterEndpoints(audio_);
  const long clock_uses_ = clock_.use_count();
};

TEST_F(Exhaustion, AThousandRoundsLeaveNothingBehind) {
  constexpr int kWarmUp = 20;
  constexpr int kRounds = 1000;
  std::optional<ProcessHoldings> before;
  for (int round = -kWarmUp; round < kRounds; ++round) {
    if (round == 0) before.emplace();
    const ZevraHandle handle = Open();
    // Its stop sleeps for up to half a second. The first one allocates the endpoint's history.
    if (round == -kWarmUp || round % 200 == 0) ASSERT_EQ(ZevraStartPlay(handle), 0);
    ASSERT_EQ(ZevraStartCapture(handle, &format_, nullptr, nullptr), 0);
    ASSERT_EQ(ZevraStopCapture(handle), 0);
    ASSERT_EQ(ZevraCloseDevice(handle), 0);
  }
  before->ExpectNoMoreNow();
}

// Each allocation fails in turn. The list passes over an endpoint whose name cannot be read.
TEST_F(Exhaustion, NoMemoryIsAResult) {
  const auto open = [](const ZevraChar* name) {
    ZevraHandle opened = nullptr;
    const std::int32_t result = ZevraOpenDevice(&opened, name, ZEVRA_FLOW_RENDER);
    EXPECT_EQ(opened == nullptr, result != 0);
    ZevraCloseDevice(opened);
    return result;
  };
  ZevraDeviceList list{};
  ASSERT_EQ(ZevraGetDeviceList(&list), 0);
  // The first comparison of names loads tables of the C library, and does without if it must.
  ASSERT_EQ(open(list.names[0]), 0);
  const ZevraHandle handle = Open();
  float volume = 0;
  const struct {
    const char* function;
    int allocations_at_least;
    std::int32_t passed_over;
    std::function<std::int32_t()> call;
  } cases[] = {
      {"ZevraOpenDevice", 5, ZEVRA_E_OUTOFMEMORY, [&] { return open(nullptr); }},
      {"ZevraOpenDevice by name", 8, ZEVRA_E_OUTOFMEMORY, [&] { return open(list.names[0]); }},
      {"ZevraGetDeviceList", 8, ZEVRA_OK, [&] { return ZevraGetDeviceList(&list); }},
      {"ZevraGetVolume", 1, ZEVRA_E_OUTOFMEMORY, [&] { return ZevraGetVolume(handle, &volume); }},
  };
  for (const auto& c : cases) {
    int failures = 0;
    for (;; ++failures) {
      FailAllocation(failures + 1);
      const std::int32_t result = c.call();
      if (!FailAllocation(0)) {
        EXPECT_EQ(result, 0) << c.function;
        break;
      }
      EXPECT_TRUE(result == ZEVRA_E_OUTOFMEMORY || result == c.passed_over)
          << c.function << ' ' << failures << ' ' << result;
    }
    EXPECT_GE(failures, c.allocations_at_least) << c.function;
  }
  ZevraCloseDevice(handle);
}

}  // namespace
}  // namespace zevra::test
