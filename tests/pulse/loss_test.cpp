#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <thread>

#include "pulse/server_host.h"
#include "support/eventually.h"
#include "support/linux/sound_server.h"

// Bytes of a hole that the next peek reports, as a server does that lost data.
static std::atomic<std::size_t> injected_hole_bytes = 0;
static thread_local bool in_hole = false;

// No server loses data on demand, so these stand in front of the client library's.
// NOLINTBEGIN(readability-identifier-naming): they have its names
extern "C" __attribute__((visibility("default"))) int pa_stream_peek(void* stream,
                                                                     const void** data,
                                                                     std::size_t* bytes) {
  static const auto real =
      reinterpret_cast<decltype(&pa_stream_peek)>(dlsym(RTLD_NEXT, "pa_stream_peek"));
  in_hole = injected_hole_bytes != 0;
  if (!in_hole) return real(stream, data, bytes);
  *data = nullptr;
  *bytes = injected_hole_bytes;
  return 0;
}

extern "C" __attribute__((visibility("default"))) int pa_stream_drop(void* stream) {
  static const auto real =
      reinterpret_cast<decltype(&pa_stream_drop)>(dlsym(RTLD_NEXT, "pa_stream_drop"));
  if (!in_hole) return real(stream);
  injected_hole_bytes = 0;
  return 0;
}
// NOLINTEND(readability-identifier-naming)

namespace zevra::test {
namespace {

using Loss = ServerTest;

constexpr std::size_t kSecondBytes = std::size_t{48'000} * 2 * sizeof(float);
const ZevraAudioFormat kFormat = MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 48'000, 2);

// A recording without the silence before and behind its sound.
std::vector<float> SoundOf(const std::vector<float>& samples) {
  const auto is_sound = [](float sample) { return sample != 0; };
  const auto first = std::find_if(samples.begin(), samples.end(), is_sound);
  const auto last = std::find_if(samples.rbegin(), std::make_reverse_iterator(first), is_sound);
  return {first, last.base()};
}

TEST_F(Loss, AHoleInTheServersDataComesAsZeros) {
  const Player tone("zevra_speakers", std::vector<float>(96'000, 0.5F), Player::kOverAndOver);
  const Recording recording(20 * kSecondBytes);
  const Device device;
  ASSERT_EQ(device.Start(recording, kFormat), 0);
  for (const int frames : {1, 5'000, 144'000}) {
    ASSERT_TRUE(recording.Sounds());
    injected_hole_bytes = static_cast<std::size_t>(frames) * 8 + 3;
    ASSERT_TRUE(Eventually([] { return injected_hole_bytes == 0; }));
  }
  ASSERT_TRUE(recording.Sounds());
  ASSERT_EQ(ZevraStopCapture(device), 0);
  const std::vector<float> sound = SoundOf(recording.Floats());
  EXPECT_EQ(std::count(sound.begin(), sound.end(), 0.0F), 2 * (1 + 5'000 + 144'000));
}

// Counts up on the left and down on the right in steps that a float holds exactly, so that one lost
// or doubled frame shows.
TEST_F(Loss, NothingIsLostWhenTheCallbackIsLate) {
  std::vector<float> ramp;
  for (int frame = 1; frame <= 6 * 48'000; ++frame) {
    ramp.push_back(static_cast<float>(frame) / 8'388'608.0F);
    ramp.push_back(-ramp.back());
  }
  Recording recording(10 * kSecondBytes);
  recording.on_packet = [&] {
    if (recording.Packets() == 100) std::this_thread::sleep_for(std::chrono::milliseconds(500));
    if (recording.Packets() == 150) std::this_thread::sleep_for(std::chrono::seconds(3));
  };
  const Device device;
  ASSERT_EQ(device.Start(recording, kFormat), 0);
  ASSERT_TRUE(recording.Goes());
  const Player player("zevra_speakers", ramp, Player::kOnce);
  ASSERT_TRUE(Eventually([&] { return recording.IsFull(); }));
  EXPECT_TRUE(SoundOf(recording.Floats()) == ramp);
}

}  // namespace
}  // namespace zevra::test
