#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/com_object.h"
#include "platform/owners.h"

// What no exported function tells: how full the queue of a playback stream is.

namespace zevra::test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr UINT32 kRate = 48'000;

struct Queue : ::testing::Test {
  void SetUp() override { ASSERT_GE(CoInitialize(nullptr), 0); }
  void TearDown() override { CoUninitialize(); }
};

// A stream of the default endpoint: with `bits` of 16 one that plays, with 32 one that records what
// the endpoint plays.
struct Stream {
  explicit Stream(WORD bits) {
    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<IMMDevice> device;
    TaskMemory<WAVEFORMATEX> mix;
    os::CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL, IID_IMMDeviceEnumerator,
                         enumerator.PutVoid());
    EXPECT_EQ(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put()), S_OK);
    EXPECT_EQ(device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.PutVoid()), S_OK);
    EXPECT_EQ(client->GetMixFormat(mix.Put()), S_OK);
    WAVEFORMATEXTENSIBLE format{};
    std::memcpy(&format, mix.Get(), sizeof format);
    if (bits == 16) format.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
    format.Format.wBitsPerSample = bits;
    format.Format.nBlockAlign = static_cast<WORD>(2 * bits / 8);
    const DWORD flags = bits == 16 ? 0 : AUDCLNT_STREAMFLAGS_LOOPBACK;
    EXPECT_EQ(client->Start(), AUDCLNT_E_NOT_INITIALIZED);
    EXPECT_EQ(
        client->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, 10'000'000, 0, &format.Format, nullptr),
        S_OK);
    client->GetService(IID_IAudioRenderClient, render.PutVoid());
    client->GetService(IID_IAudioCaptureClient, capture.PutVoid());
  }

  ComPtr<IAudioClient> client;
  ComPtr<IAudioRenderClient> render;
  ComPtr<IAudioCaptureClient> capture;
};

// Appends what is recorded in that time.
void Listen(Stream& stream, milliseconds time, std::vector<float>* heard) {
  for (const auto end = Clock::now() + time; Clock::now() < end;) {
    std::this_thread::sleep_for(milliseconds(5));
    BYTE* data = nullptr;
    UINT32 frames = 0;
    DWORD flags = 0;
    while (stream.capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr) == S_OK) {
      const auto* const first = reinterpret_cast<const float*>(data);
      heard->insert(heard->end(), first, first + std::size_t{2} * frames);
      ASSERT_EQ(stream.capture->ReleaseBuffer(frames), S_OK);
    }
  }
}

UINT32 Padding(Stream& stream) {
  UINT32 frames = 0;
  EXPECT_EQ(stream.client->GetCurrentPadding(&frames), S_OK);
  return frames;
}

// Noise that the flag turns into silence.
void Write(Stream& stream, UINT32 frames) {
  BYTE* block = nullptr;
  ASSERT_EQ(stream.render->GetBuffer(frames, &block), S_OK);
  std::memset(block, 0x55, std::size_t{4} * frames);
  ASSERT_EQ(stream.render->ReleaseBuffer(frames, AUDCLNT_BUFFERFLAGS_SILENT), S_OK);
}

// With 16-bit samples, as a host that only keeps an endpoint awake would take them.
TEST_F(Queue, TheQueueFillsAndDrainsInSilence) {
  Stream ears(32);
  ASSERT_EQ(ears.client->Start(), S_OK);
  Stream stream(16);
  UINT32 capacity = 0;
  ASSERT_EQ(stream.client->GetBufferSize(&capacity), S_OK);
  EXPECT_EQ(capacity, kRate);

  BYTE* block = nullptr;
  EXPECT_EQ(stream.render->GetBuffer(capacity + 1, &block), AUDCLNT_E_BUFFER_TOO_LARGE);
  // Small blocks lie in the server's memory, large ones in the stream's; none needs to be used.
  for (const UINT32 frames : {0u, 480u, capacity}) {
    ASSERT_EQ(stream.render->GetBuffer(frames, &block), S_OK);
    std::memset(block, 0x55, frames * std::size_t{4});
    EXPECT_EQ(stream.render->ReleaseBuffer(0, 0), S_OK);
    EXPECT_EQ(Padding(stream), 0u);
  }
  Write(stream, 480);
  Write(stream, capacity - 480);
  EXPECT_EQ(Padding(stream), capacity);
  EXPECT_EQ(stream.render->GetBuffer(1, &block), AUDCLNT_E_BUFFER_TOO_LARGE);
  Write(stream, 0);

  std::vector<float> heard;
  ASSERT_EQ(stream.client->Start(), S_OK);
  for (int pass = 0; pass < 4; ++pass) {
    const double queued = Padding(stream);
    const auto begin = Clock::now();
    Listen(ears, milliseconds(500), &heard);
    const UINT32 padding = Padding(stream);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    EXPECT_NEAR(padding, queued - seconds * kRate, 0.15 * kRate);
    Write(stream, capacity - padding);
    EXPECT_GT(Padding(stream), padding);
  }
  // Run dry it takes a buffer again, less what PipeWire keeps as too little for one of its cycles.
  Listen(ears, milliseconds(1500), &heard);
  const UINT32 left = Padding(stream);
  EXPECT_LT(left, capacity / 10);
  Write(stream, capacity - left);
  ASSERT_EQ(stream.client->Stop(), S_OK);
  const UINT32 kept = Padding(stream);
  EXPECT_GE(kept, capacity / 2);
  Listen(ears, milliseconds(300), &heard);
  EXPECT_NEAR(Padding(stream), kept, 0.05 * kRate);

  EXPECT_GE(heard.size(), std::size_t{2} * kRate);
  EXPECT_THAT(heard, ::testing::Each(0.0F));
}

}  // namespace
}  // namespace zevra::test
