// Many captures at once through the exported functions.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>

#include "support/builtin_endpoints.h"
#include "support/host.h"

namespace zevra::test {
namespace {

struct Heard {
  std::atomic<int> frames = 0;
  int breaks = 0;
  std::int16_t next = 0;
};

constexpr std::size_t kStreams = 64;
std::array<Heard, kStreams> heard;
std::atomic<std::size_t> threads{0};

// The library passes a callback nothing of the host's, but each stream has a thread of its own.
void OnAudio(void*, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  thread_local Heard& mine = heard.at(threads++);
  for (std::uint32_t at = 0; at < length; at += sizeof(std::int16_t)) {
    std::int16_t sample = 0;
    std::memcpy(&sample, data + at, sizeof(sample));
    if (mine.frames++ > 0 && sample != mine.next) ++mine.breaks;
    mine.next = static_cast<std::int16_t>(sample + 1);
  }
}

TEST(HostTest, SixtyFourCapturesGetEveryFrame) {
  builtin::EndpointConfig endpoint;
  endpoint.channels = 1;
  endpoint.channel_mask = SPEAKER_FRONT_CENTER;
  endpoint.signal = Ramp();
  const builtin::BuiltinAudio audio({endpoint});
  const auto registration = RegisterEndpoints(audio);
  ASSERT_EQ(ZevraInitialize(), ZEVRA_OK);
  ZevraAudioFormat format = SpeechFormat();
  format.samples_per_second = 48000;
  std::array<ZevraHandle, kStreams> handles{};
  for (ZevraHandle& handle : handles) {
    ASSERT_EQ(ZevraOpenDevice(&handle, nullptr, ZEVRA_FLOW_RENDER), ZEVRA_OK);
    ASSERT_EQ(ZevraStartCapture(handle, &format, OnAudio, nullptr), ZEVRA_OK);
  }
  EXPECT_TRUE(Eventually([] {
    return std::all_of(heard.begin(), heard.end(),
                       [](const Heard& stream) { return stream.frames >= 48000; });
  }));
  for (ZevraHandle const handle : handles) ZevraCloseDevice(handle);
  for (const Heard& stream : heard) EXPECT_EQ(stream.breaks, 0);
  ZevraUninitialize();
}

}  // namespace
}  // namespace zevra::test
