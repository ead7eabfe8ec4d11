// Streams on the built-in endpoints, with a clock that the test turns.

#include <gmock/gmock.h>

#include <utility>

#include "builtin/builtin_audio.h"
#include "platform/owners.h"
#include "support/builtin_endpoints.h"

namespace zevra::builtin {
namespace {

using std::chrono::milliseconds;

constexpr DWORD kLoopback = AUDCLNT_STREAMFLAGS_LOOPBACK;
constexpr DWORD kGap = AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY;
constexpr DWORD kSilent = AUDCLNT_BUFFERFLAGS_SILENT;

struct ManualClock final : Clock {
  std::chrono::nanoseconds Now() const override { return now; }
  std::chrono::nanoseconds now{0};
};

struct Packet {
  std::vector<float> samples;
  DWORD flags = 0;
  UINT64 position = 0;
};

// A stream with one of the two services.
struct Stream {
  UINT32 Padding() const {
    UINT32 frames = 0;
    EXPECT_EQ(client->GetCurrentPadding(&frames), S_OK);
    return frames;
  }
  // Writes samples that count up from `next`, by `step` each.
  void Write(UINT32 frames, float& next, float step, DWORD flags = 0) const {
    BYTE* data = nullptr;
    ASSERT_EQ(render->GetBuffer(frames, &data), S_OK);
    auto* const samples = reinterpret_cast<float*>(data);
    for (UINT32 sample = 0; sample < 2 * frames; ++sample, next += step) samples[sample] = next;
    ASSERT_EQ(render->ReleaseBuffer(frames, flags), S_OK);
  }
  // Takes every packet that waits.
  std::vector<Packet> TakeAll() const {
    std::vector<Packet> packets;
    for (;;) {
      UINT32 announced = 0, frames = 0;
      EXPECT_EQ(capture->GetNextPacketSize(&announced), S_OK);
      if (announced == 0) return packets;
      BYTE* data = nullptr;
      Packet packet;
      EXPECT_EQ(capture->GetBuffer(&data, &frames, &packet.flags, &packet.position, nullptr), S_OK);
      EXPECT_EQ(frames, announced);
      const auto* const samples = reinterpret_cast<const float*>(data);
      packet.samples.assign(samples, samples + std::size_t{2} * frames);
      EXPECT_EQ(capture->ReleaseBuffer(frames), S_OK);
      packets.push_back(std::move(packet));
    }
  }

  ComPtr<IAudioClient> client;
  ComPtr<IAudioCaptureClient> capture;
  ComPtr<IAudioRenderClient> render;
};

// One endpoint, whose packets are 10 ms unless a test says otherwise.
class BuiltinStreams : public testing::Test {
 protected:
  // Each object of the endpoints holds the clock.
  ~BuiltinStreams() override {
    audio_.reset();
    EXPECT_EQ(clock_.use_count(), 1);
  }

  void Build(EDataFlow flow, Signal signal, UINT32 rate = 48000, UINT32 packet_frames = 480) {
    EndpointConfig endpoint;
    endpoint.flow = flow;
    endpoint.signal = std::move(signal);
    endpoint.rate = rate;
    endpoint.packet_frames = packet_frames;
    audio_ = std::make_unique<BuiltinAudio>(std::vector{endpoint}, clock_);
  }
  // A stream in the mix format that has not been started. What it renders is a second at most.
  Stream Open(bool renders, DWORD flags = 0) const {
    Stream stream;
    ComPtr<IMMDeviceEnumerator> enumerator;
    EXPECT_EQ(audio_->CreateEnumerator(IID_IMMDeviceEnumerator, enumerator.PutVoid()), S_OK);
    ComPtr<IMMDeviceCollection> endpoints;
    EXPECT_EQ(enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, endpoints.Put()), S_OK);
    ComPtr<IMMDevice> device;
    EXPECT_EQ(endpoints->Item(0, device.Put()), S_OK);
    auto& client = stream.client;
    EXPECT_EQ(device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.PutVoid()), S_OK);
    TaskMemory<WAVEFORMATEX> format;
    EXPECT_EQ(client->GetMixFormat(format.Put()), S_OK);
    EXPECT_EQ(client->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, renders ? 10'000'000 : 0, 0,
                                 format.Get(), nullptr),
              S_OK);
    EXPECT_EQ(renders ? client->GetService(IID_IAudioRenderClient, stream.render.PutVoid())
                      : client->GetService(IID_IAudioCaptureClient, stream.capture.PutVoid()),
              S_OK);
    return stream;
  }
  // A tap that runs from the beginning.
  Stream Tap(Signal signal = {}) {
    Build(eRender, std::move(signal));
    Stream tap = Open(false, kLoopback);
    EXPECT_EQ(tap.client->Start(), S_OK);
    return tap;
  }

  const std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
  std::unique_ptr<BuiltinAudio> audio_;
};

void ExpectRamp(const Packet& packet) {
  for (std::size_t sample = 0; sample < packet.samples.size(); ++sample)
    ASSERT_EQ(packet.samples[sample],
              (static_cast<float>((packet.position + sample / 2) % 65536) - 32768) / 32768);
}

TEST_F(BuiltinStreams, DeliverEveryFrameOnceAsTimePasses) {
  const struct {
    EDataFlow flow;
    UINT32 rate, packet_frames;
    milliseconds step;
  } cases[] = {{eRender, 48000, 480, milliseconds(5)},
               {eRender, 44100, 448, milliseconds(1)},
               {eCapture, 8000, 100, milliseconds(990)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rate);
    Build(c.flow, test::Ramp(), c.rate, c.packet_frames);
    const Stream stream = Open(false, c.flow == eRender ? kLoopback : 0);
    ASSERT_EQ(stream.client->Start(), S_OK);
    std::vector<Packet> packets;
    for (milliseconds at(0); at < milliseconds(5000); at += c.step) {
      clock_->now += c.step;
      for (Packet& packet : stream.TakeAll()) packets.push_back(std::move(packet));
    }
    // All but the packet that ran at the start and the one that runs now.
    ASSERT_GE((packets.size() + 2) * c.packet_frames, c.rate * 5);
    UINT64 position = packets[0].position;
    for (const Packet& packet : packets) {
      EXPECT_EQ(packet.flags, 0U);
      EXPECT_EQ(packet.position, std::exchange(position, position + c.packet_frames));
      ExpectRamp(packet);
    }
  }
}

TEST_F(BuiltinStreams, ASlowReaderLosesTheOldestAndIsTold) {
  Build(eCapture, test::Ramp());
  const Stream stream = Open(false);
  ASSERT_EQ(stream.client->Start(), S_OK);
  clock_->now += milliseconds(20);
  EXPECT_EQ(stream.TakeAll().size(), 1U);
  clock_->now += milliseconds(5000);
  EXPECT_EQ(stream.Padding(), 96000U);
  const auto kept = stream.TakeAll();
  ASSERT_EQ(kept.size(), 200U);
  EXPECT_EQ(kept[0].flags, kGap);
  EXPECT_EQ(kept[0].position, 48000U * 502 / 100 - 96000);
  EXPECT_EQ(kept[1].flags, 0U);
  ExpectRamp(kept[0]);
}

// One stream counts up, a second one plays a packet, and both add up with the endpoint's own
// signal.
TEST_F(BuiltinStreams, WhatStreamsPlayIsHeardOnceInOrderAndTogether) {
  const Stream tap = Tap([](UINT32) { return Waveform{{0.125F}}; });
  const Stream stream = Open(true), other = Open(true);
  // A buffer of 100 packets filled again and again crosses its own end many times.
  float next = 0, half = 0.5F;
  stream.Write(48000, next, 1);
  EXPECT_EQ(stream.Padding(), 48000U);
  ASSERT_EQ(stream.client->Start(), S_OK);
  other.Write(480, half, 0);
  std::vector<Packet> heard;
  for (int pass = 0; pass < 10; ++pass) {
    if (pass == 5) ASSERT_EQ(other.client->Start(), S_OK);
    clock_->now += milliseconds(333);
    stream.Write(48000 - stream.Padding(), next, 1);
    for (Packet& packet : tap.TakeAll()) heard.push_back(std::move(packet));
  }
  ASSERT_EQ(heard.size(), 332U);
  float expected = 0;
  for (std::size_t i = 0; i < heard.size(); ++i) {
    const float level = i == 166 ? 0.625F : 0.125F;
    EXPECT_EQ(heard[i].flags, 0U);
    for (const float sample : heard[i].samples) ASSERT_EQ(sample, expected++ + level) << i;
  }
  BYTE* data = nullptr;
  EXPECT_EQ(stream.render->GetBuffer(1, &data), AUDCLNT_E_BUFFER_TOO_LARGE);
}

TEST_F(BuiltinStreams, ATapHearsPacketsOnlyWhileAStreamRuns) {
  const Stream tap = Tap(), stream = Open(true);
  clock_->now += milliseconds(100);
  EXPECT_EQ(tap.TakeAll().size(), 0U);
  float zero = 0, loud = 0.75F;
  stream.Write(480, zero, 0);           // zeros that nobody flagged
  stream.Write(480, loud, 0, kSilent);  // flagged, whatever the bytes say
  ASSERT_EQ(stream.client->Start(), S_OK);
  clock_->now += milliseconds(49);
  ASSERT_EQ(stream.client->Stop(), S_OK);
  clock_->now += milliseconds(100);
  std::vector<DWORD> flags;
  for (const Packet& packet : tap.TakeAll()) {
    flags.push_back(packet.flags);
    EXPECT_THAT(packet.samples, testing::Each(0.0F));
  }
  EXPECT_THAT(flags, testing::ElementsAre(kGap, kSilent, kSilent, kSilent));
}

}  // namespace
}  // namespace zevra::builtin
