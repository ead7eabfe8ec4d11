#include <dlfcn.h>
#include <pulse/stream.h>

#include <algorithm>
#include <iterator>
#include <thread>

#include "server_host.h"

namespace {

// Bytes of a hole that this thread's next peek reports, as a server does that lost data.
thread_local std::size_t injected_hole_bytes = 0;
thread_local bool in_hole = false;

}  // namespace

// No server loses data on demand, so these stand in front of the client library's.
extern "C" int pa_stream_peek(pa_stream* p, const void** data, std::size_t* bytes) {
  static const auto real =
      reinterpret_cast<decltype(&pa_stream_peek)>(dlsym(RTLD_NEXT, "pa_stream_peek"));
  in_hole = injected_hole_bytes != 0;
  if (!in_hole) return real(p, data, bytes);
  *data = nullptr;
  *bytes = injected_hole_bytes;
  return 0;
}

extern "C" int pa_stream_drop(pa_stream* p) {
  static const auto real =
      reinterpret_cast<decltype(&pa_stream_drop)>(dlsym(RTLD_NEXT, "pa_stream_drop"));
  if (!in_hole) return real(p);
  injected_hole_bytes = 0;
  return 0;
}

namespace zevra::test {
namespace {

class PulseCapture : public ServerTest {};

constexpr float kRampStep = 1.0F / 8'388'608.0F;

// Interleaved stereo: counts up on the left and down on the right in steps that a float holds
// exactly, so that one lost or doubled frame shows.
std::vector<float> Ramp(std::size_t frames) {
  std::vector<float> samples;
  for (std::size_t frame = 1; frame <= frames; ++frame) {
    const float value = static_cast<float>(frame) * kRampStep;
    samples.push_back(value);
    samples.push_back(-value);
  }
  return samples;
}

// A recording without the silence before and behind its sound.
std::vector<float> SoundOf(const std::vector<float>& samples) {
  const auto is_sound = [](float sample) { return sample != 0; };
  const auto first = std::find_if(samples.begin(), samples.end(), is_sound);
  const auto last = std::find_if(samples.rbegin(), std::make_reverse_iterator(first), is_sound);
  return {first, last.base()};
}

TEST_F(PulseCapture, LosesNothingAlsoWhenTheHostIsLate) {
  Stream stream(Find(u"Zevra Speakers").Get());
  ASSERT_EQ(stream.Initialize(kLoopback), S_OK);
  auto samples = Record(stream, milliseconds(200));
  EXPECT_TRUE(samples.empty());
  ASSERT_EQ(stream.client->Start(), S_OK);
  const auto begin = Clock::now();
  const std::vector<float> ramp = Ramp(std::size_t{5} * kRate);
  const Player player("zevra_speakers", ramp, Player::kOnce);
  for (const milliseconds late : {milliseconds(500), milliseconds(2000)}) {
    const auto prompt = Record(stream, milliseconds(1000));
    samples.insert(samples.end(), prompt.begin(), prompt.end());
    std::this_thread::sleep_for(late);
  }
  const auto rest = Record(stream, milliseconds(2000));
  samples.insert(samples.end(), rest.begin(), rest.end());
  const std::vector<float> sound = SoundOf(samples);
  EXPECT_EQ(sound.size(), ramp.size());
  EXPECT_TRUE(sound == ramp);
  // As much as the time that has passed, give or take what the server holds.
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  EXPECT_NEAR(static_cast<double>(samples.size()) / 2, seconds * kRate, 0.5 * kRate);
  ASSERT_EQ(stream.client->Stop(), S_OK);
  Record(stream, milliseconds(100));
  EXPECT_TRUE(Record(stream, milliseconds(200)).empty());
}

TEST_F(PulseCapture, AHoleComesAsFlaggedZeros) {
  Stream stream(Find(u"Zevra Speakers").Get());
  StartCapture(stream);
  for (const UINT32 hole_frames : {1u, 5'000u, 3 * kRate}) {
    std::vector<float> before;
    ASSERT_TRUE(Eventually([&] {
      Drain(stream, &before);
      return !before.empty();
    }));
    injected_hole_bytes = hole_frames * 8 + 3;
    UINT32 seen = 0;
    while (seen < hole_frames) {
      UINT32 next = 0;
      ASSERT_TRUE(Eventually(
          [&] { return stream.capture->GetNextPacketSize(&next) != S_OK || next != 0; }));
      const Packet packet(stream);
      ASSERT_EQ(packet.result, S_OK);
      ASSERT_EQ(packet.flags, AUDCLNT_BUFFERFLAGS_SILENT | AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY);
      ASSERT_GT(packet.frames, 0u);
      for (std::size_t i = 0; i < packet.frames * std::size_t{8}; ++i) ASSERT_EQ(packet.data[i], 0);
      ASSERT_EQ(stream.capture->ReleaseBuffer(packet.frames), S_OK);
      seen += packet.frames;
    }
    EXPECT_EQ(seen, hole_frames);
    EXPECT_EQ(injected_hole_bytes, 0u);
  }
}

}  // namespace
}  // namespace zevra::test
