#include <dlfcn.h>
#include <pulse/stream.h>

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

TEST_F(PulseCapture, LosesNothingAlsoWhenTheHostIsLate) {
  Stream stream(Find(u"Zevra Speakers").Get());
  ASSERT_EQ(stream.Initialize(kLoopback), S_OK);
  auto samples = Record(stream, milliseconds(200));
  EXPECT_TRUE(samples.empty());
  ASSERT_EQ(stream.client->Start(), S_OK);
  const auto begin = Clock::now();
  const Player player("zevra_speakers", Ramp(std::size_t{5} * kRate), Player::kOnce);
  for (const milliseconds late : {milliseconds(500), milliseconds(2000)}) {
    const auto prompt = Record(stream, milliseconds(1000));
    samples.insert(samples.end(), prompt.begin(), prompt.end());
    std::this_thread::sleep_for(late);
  }
  const auto rest = Record(stream, milliseconds(2000));
  samples.insert(samples.end(), rest.begin(), rest.end());
  const RampCheck ramp = CheckRamp(samples);
  EXPECT_EQ(ramp.frames, 5 * kRate);
  EXPECT_EQ(ramp.breaks, 0u);
  // As much as the time that has passed, give or take what the server holds.
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  EXPECT_NEAR(static_cast<double>(samples.size()) / 2, seconds * kRate, 0.2 * kRate);
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
    std::this_thread::sleep_for(milliseconds(50));
    UINT32 seen = 0;
    while (seen < hole_frames) {
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
