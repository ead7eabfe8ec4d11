#include <algorithm>
#include <cstring>
#include <thread>

#include "server_host.h"

namespace zevra::test {
namespace {

class PulseRender : public ServerTest {};

constexpr REFERENCE_TIME kOneSecond = 10'000'000;

UINT32 Padding(Stream& stream) {
  UINT32 frames = 0;
  EXPECT_EQ(stream.client->GetCurrentPadding(&frames), S_OK);
  return frames;
}

void Write(Stream& stream, const void* data, UINT32 frames, DWORD flags = 0) {
  BYTE* block = nullptr;
  ASSERT_EQ(stream.render->GetBuffer(frames, &block), S_OK);
  std::memcpy(block, data, std::size_t{frames} * stream.format.Format.nBlockAlign);
  ASSERT_EQ(stream.render->ReleaseBuffer(frames, flags), S_OK);
}

// With 16-bit samples, as a host that only keeps an endpoint awake would take them.
TEST_F(PulseRender, TheQueueFillsAndDrains) {
  Stream stream(Find(u"Zevra Surround").Get());
  stream.format.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
  stream.format.Samples.wValidBitsPerSample = stream.format.Format.wBitsPerSample = 16;
  stream.format.Format.nBlockAlign = 12;
  ASSERT_EQ(stream.Initialize(0, kOneSecond), S_OK);
  IAudioRenderClient& render = *stream.render.Get();
  UINT32 room = 0;
  ASSERT_EQ(stream.client->GetBufferSize(&room), S_OK);
  EXPECT_EQ(room, kRate);

  BYTE* block = nullptr;
  EXPECT_EQ(render.ReleaseBuffer(1, 0), AUDCLNT_E_OUT_OF_ORDER);
  EXPECT_EQ(render.GetBuffer(room + 1, &block), AUDCLNT_E_BUFFER_TOO_LARGE);
  for (const UINT32 frames : {0u, 480u, room}) {
    ASSERT_EQ(render.GetBuffer(frames, &block), S_OK);
    std::memset(block, 0, frames * std::size_t{12});
    EXPECT_EQ(render.GetBuffer(frames, &block), AUDCLNT_E_OUT_OF_ORDER);
    EXPECT_EQ(render.ReleaseBuffer(frames + 1, 0), AUDCLNT_E_INVALID_SIZE);
    EXPECT_EQ(render.ReleaseBuffer(0, 0), S_OK);
    EXPECT_EQ(Padding(stream), 0u);
  }
  const std::vector<BYTE> silence(room * std::size_t{12});
  Write(stream, silence.data(), room);
  EXPECT_EQ(Padding(stream), room);
  EXPECT_EQ(render.GetBuffer(1, &block), AUDCLNT_E_BUFFER_TOO_LARGE);
  Write(stream, silence.data(), 0, AUDCLNT_BUFFERFLAGS_SILENT);

  ASSERT_EQ(stream.client->Start(), S_OK);
  for (int pass = 0; pass < 4; ++pass) {
    const double queued = Padding(stream);
    const double seconds = SecondsOf([] { std::this_thread::sleep_for(milliseconds(500)); });
    const UINT32 padding = Padding(stream);
    EXPECT_NEAR(padding, queued - seconds * kRate, 0.15 * kRate);
    Write(stream, silence.data(), room - padding);
    EXPECT_GT(Padding(stream), padding);
  }
  // Run dry it takes a buffer again, less what PipeWire keeps as too little for one of its cycles.
  std::this_thread::sleep_for(milliseconds(1500));
  const UINT32 left = Padding(stream);
  EXPECT_LT(left, room / 10);
  Write(stream, silence.data(), room - left);
  ASSERT_EQ(stream.client->Stop(), S_OK);
  const UINT32 kept = Padding(stream);
  EXPECT_GE(kept, room / 2);
  std::this_thread::sleep_for(milliseconds(300));
  EXPECT_NEAR(Padding(stream), kept, 0.05 * kRate);
}

// Small blocks go straight into the server's memory, large ones through a copy.
TEST_F(PulseRender, WhatIsWrittenIsPlayedInOrder) {
  const ComPtr<IMMDevice> device = Find(u"Zevra Speakers");
  Stream ears(device.Get());
  StartCapture(ears);
  std::vector<float> heard;
  const auto listen = [&](int time_ms) {
    const auto part = Record(ears, milliseconds(time_ms));
    heard.insert(heard.end(), part.begin(), part.end());
  };
  listen(200);
  Stream stream(device.Get());
  ASSERT_EQ(stream.Initialize(0, kOneSecond), S_OK);
  const std::vector<float> ramp = Ramp(std::size_t{3} * kRate);
  // The second fifth of a second is marked silent, whatever it holds.
  constexpr UINT32 kSilentFrom = kRate / 5;
  constexpr UINT32 kSilentTo = 2 * kSilentFrom;
  UINT32 written = 0;
  const auto write = [&](UINT32 frames) {
    const bool silent = written >= kSilentFrom && written < kSilentTo;
    Write(stream, ramp.data() + std::size_t{2} * written, frames,
          silent ? AUDCLNT_BUFFERFLAGS_SILENT : 0);
    written += frames;
  };
  for (const UINT32 frames : {480u, kSilentFrom - 480, kSilentFrom, kRate - kSilentTo})
    write(frames);
  ASSERT_EQ(stream.client->Start(), S_OK);
  const auto end = Clock::now() + std::chrono::seconds(8);
  for (int pass = 0; written < 3 * kRate && Clock::now() < end; ++pass) {
    const UINT32 room = std::min(kRate - Padding(stream), 3 * kRate - written);
    write(pass % 2 == 0 ? room : std::min(room, 480u));
    listen(pass % 2 == 0 ? 5 : 400);
  }
  // Pushes out the last frames; see above.
  listen(500);
  Write(stream, std::vector<float>(std::size_t{2} * kRate / 5).data(), kRate / 5);
  listen(1500);
  const RampCheck check = CheckRamp(heard);
  EXPECT_EQ(check.frames, 3 * kRate);
  // Silent frames do not follow on, nor does the first one after them.
  EXPECT_EQ(check.breaks, kSilentTo - kSilentFrom + 1);
}

}  // namespace
}  // namespace zevra::test
