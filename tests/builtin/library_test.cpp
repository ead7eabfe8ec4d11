// libzevra-builtin.so as a host's own tests use it: the public header and nothing else.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/eventually.h"
#include "zevra/zevra.h"

namespace zevra::test {
namespace {

std::atomic<int> peak{0};

void OnAudio(void*, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  for (std::uint32_t at = 0; at < length; at += sizeof(std::int16_t)) {
    std::int16_t sample = 0;
    std::memcpy(&sample, data + at, sizeof(sample));
    if (std::abs(sample) > peak) peak = std::abs(sample);
  }
}

TEST(BuiltinLibrary, AHostHearsTheStandardEndpoints) {
  const ZevraAudioFormat format{ZEVRA_SAMPLE_PCM, 1, 16, 16'000, 0, 16, 0};
  ASSERT_EQ(ZevraInitialize(), ZEVRA_OK);
  const struct {
    std::u16string name;
    std::uint32_t flow;
    float volume;
  } cases[] = {{u"Built-in Speakers", ZEVRA_FLOW_RENDER, 0.75F},
               {u"Built-in Microphone", ZEVRA_FLOW_CAPTURE, 0.5F}};
  for (const auto& c : cases) {
    ZevraHandle device = nullptr;
    ASSERT_EQ(ZevraOpenDevice(&device, c.name.c_str(), c.flow), ZEVRA_OK);
    float volume = 0;
    EXPECT_EQ(ZevraGetVolume(device, &volume), ZEVRA_OK);
    EXPECT_EQ(volume, c.volume);
    peak = 0;
    ASSERT_EQ(ZevraStartCapture(device, &format, OnAudio, nullptr), ZEVRA_OK);
    // The tunes' peak is half of full scale.
    EXPECT_TRUE(Eventually([] { return peak > 10'000; }));
    EXPECT_EQ(ZevraStopCapture(device), ZEVRA_OK);
    EXPECT_LT(peak, 17'500);
    EXPECT_EQ(ZevraCloseDevice(device), ZEVRA_OK);
  }
  ZevraUninitialize();
}

}  // namespace
}  // namespace zevra::test
