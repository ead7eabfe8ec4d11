#include "tests/builtin/endpoints_fixture.h"

#include <algorithm>
#include <utility>

namespace zevra::builtin {
namespace {

constexpr DWORD kLoopback = AUDCLNT_STREAMFLAGS_LOOPBACK;
constexpr DWORD kGap = AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY;
constexpr DWORD kSilent = AUDCLNT_BUFFERFLAGS_SILENT;
constexpr REFERENCE_TIME kOneSecond = 10'000'000;

class RenderTest : public EndpointsTest {
 protected:
  // A tap that runs from the beginning on the one endpoint.
  void Tap(Signal signal = {}) {
    Build({MakeEndpoint(u"speaker", eRender, std::move(signal))});
    tap_ = OpenStream(0, kLoopback);
    tap_capture_ = CaptureOf(*tap_.Get());
    ASSERT_EQ(tap_->Start(), S_OK);
  }
  std::vector<Packet> Heard() { return TakeAll(*tap_capture_.Get()); }

  static void Write(IAudioRenderClient& render, UINT32 frames, float value, DWORD flags = 0) {
    BYTE* data = nullptr;
    ASSERT_EQ(render.GetBuffer(frames, &data), S_OK);
    std::fill_n(reinterpret_cast<float*>(data), frames * 2, value);
    ASSERT_EQ(render.ReleaseBuffer(frames, flags), S_OK);
  }
  static UINT32 PaddingOf(IAudioClient& client) {
    UINT32 frames = 0;
    EXPECT_EQ(client.GetCurrentPadding(&frames), S_OK);
    return frames;
  }

  ComPtr<IAudioClient> tap_;
  ComPtr<IAudioCaptureClient> tap_capture_;
};

TEST_F(RenderTest, WhatAStreamPlaysIsHeardOnceAndInOrder) {
  Tap();
  const auto client = OpenStream(0, 0, kOneSecond);
  const auto render = RenderOf(*client.Get());
  // A buffer of 100 packets filled again and again crosses its own end many times.
  float next = 0;
  const auto fill = [&](UINT32 frames) {
    BYTE* data = nullptr;
    ASSERT_EQ(render->GetBuffer(frames, &data), S_OK);
    auto* const samples = reinterpret_cast<float*>(data);
    for (std::size_t sample = 0; sample < std::size_t{2} * frames; ++sample)
      samples[sample] = next++;
    ASSERT_EQ(render->ReleaseBuffer(frames, 0), S_OK);
  };
  fill(48000);
  ASSERT_EQ(client->Start(), S_OK);
  std::vector<Packet> heard;
  for (int pass = 0; pass < 10; ++pass) {
    clock_->Advance(milliseconds(333));
    fill(48000 - PaddingOf(*client.Get()));
    for (Packet& packet : Heard()) heard.push_back(std::move(packet));
  }
  ASSERT_EQ(heard.size(), 332U);
  float expected = 0;
  for (const Packet& packet : heard)
    for (const float sample : packet.samples) ASSERT_EQ(sample, expected++);
}

TEST_F(RenderTest, StreamsAndTheSignalAddUp) {
  Tap([](UINT32) { return Waveform{{0.125F}}; });
  const auto first = OpenStream(0, 0, kOneSecond);
  const auto second = OpenStream(0, 0, kOneSecond);
  Write(*RenderOf(*first.Get()).Get(), 960, 0.25F);
  Write(*RenderOf(*second.Get()).Get(), 480, 0.5F);
  clock_->Advance(milliseconds(20));
  ASSERT_EQ(first->Start(), S_OK);
  clock_->Advance(milliseconds(10));
  ASSERT_EQ(second->Start(), S_OK);
  clock_->Advance(milliseconds(40));
  std::vector<float> levels;
  for (const Packet& packet : Heard()) {
    levels.push_back(packet.samples[0]);
    EXPECT_THAT(packet.samples, testing::Each(packet.samples[0]));
    EXPECT_EQ(packet.flags, 0U);
  }
  EXPECT_THAT(levels, testing::ElementsAre(0.125F, 0.125F, 0.375F, 0.875F, 0.125F, 0.125F));
}

TEST_F(RenderTest, ATapHearsPacketsOnlyWhileAStreamRuns) {
  Tap();
  const auto client = OpenStream(0, 0, kOneSecond);
  const auto render = RenderOf(*client.Get());
  clock_->Advance(milliseconds(100));
  EXPECT_EQ(Heard().size(), 0U);
  Write(*render.Get(), 480, 0.0F);            // zeros that nobody flagged
  Write(*render.Get(), 480, 0.75F, kSilent);  // flagged, whatever the bytes say
  ASSERT_EQ(client->Start(), S_OK);
  clock_->Advance(milliseconds(49));
  ASSERT_EQ(client->Stop(), S_OK);
  clock_->Advance(milliseconds(100));
  const auto heard = Heard();
  ASSERT_EQ(heard.size(), 4U);
  EXPECT_EQ(heard[0].flags, kGap);
  for (std::size_t i = 1; i < heard.size(); ++i) EXPECT_EQ(heard[i].flags, kSilent) << i;
  for (const Packet& packet : heard) EXPECT_THAT(packet.samples, testing::Each(0.0F));
}

TEST_F(RenderTest, PaddingAndRoomFollowTheClock) {
  Tap();
  const auto client = OpenStream(0, 0, kOneSecond);
  const auto render = RenderOf(*client.Get());
  UINT32 buffer_frames = 0;
  ASSERT_EQ(client->GetBufferSize(&buffer_frames), S_OK);
  EXPECT_EQ(buffer_frames, 48000U);
  Write(*render.Get(), 48000, 0);
  clock_->Advance(milliseconds(100));
  EXPECT_EQ(PaddingOf(*client.Get()), 48000U);
  BYTE* data = nullptr;
  EXPECT_EQ(render->GetBuffer(1, &data), AUDCLNT_E_BUFFER_TOO_LARGE);

  ASSERT_EQ(client->Start(), S_OK);
  clock_->Advance(milliseconds(25));
  EXPECT_EQ(PaddingOf(*client.Get()), 48000U - 960);
  EXPECT_EQ(render->GetBuffer(960, &data), S_OK);
  EXPECT_EQ(render->ReleaseBuffer(10, 0), S_OK);
  EXPECT_EQ(PaddingOf(*client.Get()), 48000U - 950);

  // Without a length asked for there is room for two packets, never for less.
  ASSERT_EQ(OpenStream(0, 0)->GetBufferSize(&buffer_frames), S_OK);
  EXPECT_EQ(buffer_frames, 960U);
}

}  // namespace
}  // namespace zevra::builtin
