#include <gmock/gmock.h>

#include <cstring>

#include "server_host.h"

namespace zevra::test {
namespace {

class PulseRender : public ServerTest {};

UINT32 Padding(Stream& stream) {
  UINT32 frames = 0;
  EXPECT_EQ(stream.client->GetCurrentPadding(&frames), S_OK);
  return frames;
}

// Noise that the flag turns into silence.
void Write(Stream& stream, UINT32 frames) {
  BYTE* block = nullptr;
  ASSERT_EQ(stream.render->GetBuffer(frames, &block), S_OK);
  std::memset(block, 0x55, std::size_t{frames} * stream.format.Format.nBlockAlign);
  ASSERT_EQ(stream.render->ReleaseBuffer(frames, AUDCLNT_BUFFERFLAGS_SILENT), S_OK);
}

// With 16-bit samples, as a host that only keeps an endpoint awake would take them.
TEST_F(PulseRender, TheQueueFillsAndDrainsInSilence) {
  const ComPtr<IMMDevice> device = Find(u"Zevra Surround");
  Stream ears(device.Get());
  StartCapture(ears);
  Stream stream(device.Get());
  stream.format.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
  stream.format.Samples.wValidBitsPerSample = stream.format.Format.wBitsPerSample = 16;
  stream.format.Format.nBlockAlign = 12;
  ASSERT_EQ(stream.Initialize(0, 10'000'000), S_OK);
  UINT32 room = 0;
  ASSERT_EQ(stream.client->GetBufferSize(&room), S_OK);
  EXPECT_EQ(room, kRate);

  BYTE* block = nullptr;
  EXPECT_EQ(stream.render->GetBuffer(room + 1, &block), AUDCLNT_E_BUFFER_TOO_LARGE);
  // Small blocks lie in the server's memory, large ones in the stream's; none needs to be used.
  for (const UINT32 frames : {0u, 480u, room}) {
    ASSERT_EQ(stream.render->GetBuffer(frames, &block), S_OK);
    std::memset(block, 0x55, frames * std::size_t{12});
    EXPECT_EQ(stream.render->ReleaseBuffer(0, 0), S_OK);
    EXPECT_EQ(Padding(stream), 0u);
  }
  Write(stream, 480);
  Write(stream, room - 480);
  EXPECT_EQ(Padding(stream), room);
  EXPECT_EQ(stream.render->GetBuffer(1, &block), AUDCLNT_E_BUFFER_TOO_LARGE);
  Write(stream, 0);

  std::vector<float> heard;
  const auto listen = [&](milliseconds time) {
    const auto part = Record(ears, time);
    heard.insert(heard.end(), part.begin(), part.end());
  };
  ASSERT_EQ(stream.client->Start(), S_OK);
  for (int pass = 0; pass < 4; ++pass) {
    const double queued = Padding(stream);
    const auto begin = Clock::now();
    listen(milliseconds(500));
    const UINT32 padding = Padding(stream);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    EXPECT_NEAR(padding, queued - seconds * kRate, 0.15 * kRate);
    Write(stream, room - padding);
    EXPECT_GT(Padding(stream), padding);
  }
  // Run dry it takes a buffer again, less what PipeWire keeps as too little for one of its cycles.
  listen(milliseconds(1500));
  const UINT32 left = Padding(stream);
  EXPECT_LT(left, room / 10);
  Write(stream, room - left);
  ASSERT_EQ(stream.client->Stop(), S_OK);
  const UINT32 kept = Padding(stream);
  EXPECT_GE(kept, room / 2);
  listen(milliseconds(300));
  EXPECT_NEAR(Padding(stream), kept, 0.05 * kRate);

  EXPECT_GE(heard.size(), std::size_t{6} * kRate);
  EXPECT_THAT(heard, ::testing::Each(0.0F));
}

}  // namespace
}  // namespace zevra::test
