#include "tests/builtin/endpoints_fixture.h"

namespace zevra::builtin {
namespace {

constexpr DWORD kLoopback = AUDCLNT_STREAMFLAGS_LOOPBACK;
constexpr DWORD kGap = AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY;

class CaptureTest : public EndpointsTest {};

// What Ramp plays in a frame.
float RampAt(UINT64 frame) { return (static_cast<float>(frame % 65536) - 32768) / 32768; }

void ExpectRamp(const Packet& packet) {
  for (std::size_t frame = 0; frame < packet.samples.size() / 2; ++frame) {
    ASSERT_EQ(packet.samples[frame * 2], RampAt(packet.position + frame));
    ASSERT_EQ(packet.samples[frame * 2 + 1], RampAt(packet.position + frame));
  }
}

TEST_F(CaptureTest, DeliversEveryFrameOnceAsTimePasses) {
  struct Case {
    UINT32 rate;
    UINT32 packet_frames;
    milliseconds step;
  };
  for (const Case& c : {Case{48000, 480, milliseconds(5)}, Case{44100, 448, milliseconds(1)},
                        Case{8000, 100, milliseconds(990)}}) {
    SCOPED_TRACE(testing::Message() << c.rate << " " << c.packet_frames << " " << c.step.count());
    for (const EDataFlow flow : {eRender, eCapture}) {
      auto endpoint = MakeEndpoint(u"ramp", flow, test::Ramp());
      endpoint.rate = c.rate;
      endpoint.packet_frames = c.packet_frames;
      Build({endpoint});
      const auto client = OpenStream(0, flow == eRender ? kLoopback : 0);
      const auto capture = CaptureOf(*client.Get());
      ASSERT_EQ(client->Start(), S_OK);
      std::vector<Packet> packets;
      for (int step = 0; milliseconds(5000) > c.step * step; ++step) {
        clock_->Advance(c.step);
        for (Packet& packet : TakeAll(*capture.Get())) packets.push_back(std::move(packet));
      }
      // All but the packet that ran at the start and the one that runs now.
      ASSERT_GE((packets.size() + 2) * c.packet_frames, c.rate * 5);
      for (const Packet& packet : packets) {
        EXPECT_EQ(packet.flags, 0U);
        EXPECT_EQ(
            packet.position,
            packets[0].position + static_cast<UINT64>(&packet - packets.data()) * c.packet_frames);
        ExpectRamp(packet);
      }
    }
  }
}

TEST_F(CaptureTest, ASlowReaderLosesTheOldestAndIsTold) {
  Build({MakeEndpoint(u"ramp", eCapture, test::Ramp())});
  const auto client = OpenStream(0, 0);
  const auto capture = CaptureOf(*client.Get());
  ASSERT_EQ(client->Start(), S_OK);
  UINT32 buffer_frames = 0;
  ASSERT_EQ(client->GetBufferSize(&buffer_frames), S_OK);
  EXPECT_EQ(buffer_frames, 96000U);

  clock_->Advance(milliseconds(20));
  EXPECT_EQ(TakeAll(*capture.Get()).size(), 1U);
  clock_->Advance(seconds(5));
  UINT32 padding = 0;
  ASSERT_EQ(client->GetCurrentPadding(&padding), S_OK);
  EXPECT_EQ(padding, buffer_frames);
  const auto kept = TakeAll(*capture.Get());
  ASSERT_EQ(kept.size(), 200U);
  EXPECT_EQ(kept[0].flags, kGap);
  EXPECT_EQ(kept[0].position, 48000U * 502 / 100 - 96000);
  EXPECT_EQ(kept[1].flags, 0U);
  ExpectRamp(kept[0]);
}

}  // namespace
}  // namespace zevra::builtin
