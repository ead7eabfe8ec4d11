#include <csignal>
#include <thread>

#include "server_host.h"
#include "support/process_holdings.h"

namespace zevra::test {
namespace {

// Each of these needs a server of its own, which most of them leave dead.
class PulseLoss : public ServerTest {};

// What the client had taken from the connection before still comes, but then every operation fails.
void ExpectInvalidated(Stream& stream) {
  IAudioClient& client = *stream.client.Get();
  UINT32 frames = 0;
  ASSERT_TRUE(Eventually([&] {
    if (stream.render) {
      return client.GetCurrentPadding(&frames) == AUDCLNT_E_DEVICE_INVALIDATED;
    }
    const Packet packet(stream);
    stream.capture->ReleaseBuffer(packet.frames);
    return packet.result == AUDCLNT_E_DEVICE_INVALIDATED;
  }));
  const auto begin = Clock::now();
  BYTE* block = nullptr;
  platform::TaskMemory<WAVEFORMATEX> format;
  EXPECT_EQ(client.GetCurrentPadding(&frames), AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_EQ(client.GetBufferSize(&frames), AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_EQ(client.GetMixFormat(format.Put()), AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_EQ(client.Stop(), AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_EQ(client.Start(), AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_EQ(stream.render ? stream.render->GetBuffer(1, &block)
                          : stream.capture->GetNextPacketSize(&frames),
            AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_LT(Clock::now() - begin, milliseconds(500));
}

// Both kinds of stream, running, each with a block in the host's hands while `disaster` strikes.
void LoseBoth(IMMDevice* device, const std::function<void()>& disaster) {
  Stream capture(device);
  Stream render(device);
  StartCapture(capture);
  ASSERT_EQ(render.Initialize(0, 10'000'000), S_OK);
  ASSERT_EQ(render.client->Start(), S_OK);
  UINT32 next = 0;
  ASSERT_TRUE(
      Eventually([&] { return capture.capture->GetNextPacketSize(&next) == S_OK && next != 0; }));
  const Packet packet(capture);
  BYTE* block = nullptr;
  ASSERT_EQ(render.render->GetBuffer(480, &block), S_OK);
  disaster();
  // What the host holds stays good memory until it lets go.
  std::memcpy(block, packet.data, std::size_t{8} * 480);
  capture.capture->ReleaseBuffer(packet.frames);
  render.render->ReleaseBuffer(480, 0);
  ExpectInvalidated(capture);
  ExpectInvalidated(render);
}

TEST_F(PulseLoss, OfTheEndpoint) {
  NullSink sink("fleeting", "Fleeting");
  const ComPtr<IMMDevice> device = Find(u"Fleeting");
  LoseBoth(device.Get(), [&] { sink.Remove(); });
  ComPtr<IUnknown> object;
  EXPECT_EQ(device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, object.PutVoid()),
            AUDCLNT_E_DEVICE_INVALIDATED);
  // Under the same name it is the same endpoint.
  const NullSink again("fleeting", "Fleeting");
  Stream stream(device.Get());
  EXPECT_EQ(stream.Initialize(kLoopback), S_OK);
}

TEST_F(PulseLoss, OfTheServer) {
  const ComPtr<IMMDevice> device = Find(u"Zevra Speakers");
  ComPtr<IAudioEndpointVolume> volume;
  ASSERT_EQ(device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, volume.PutVoid()),
            S_OK);
  float level = 0;
  EXPECT_EQ(volume->GetMasterVolumeLevelScalar(&level), S_OK);
  EXPECT_EQ(level, 1);
  LoseBoth(device.Get(), [] { SignalServer(SIGKILL); });
  EXPECT_EQ(volume->GetMasterVolumeLevelScalar(&level), AUDCLNT_E_DEVICE_INVALIDATED);
  ExpectNoServer(device.Get());
}

TEST_F(PulseLoss, OfAServerThatHangs) {
  const ComPtr<IMMDevice> device = Find(u"Zevra Speakers");
  Stream capture(device.Get());
  StartCapture(capture);
  Stream render(device.Get());
  ASSERT_EQ(render.Initialize(0, 10'000'000), S_OK);
  ASSERT_EQ(render.client->Start(), S_OK);
  Stream late(device.Get());
  SignalServer(SIGSTOP);
  std::this_thread::sleep_for(milliseconds(100));
  // Taking packets and filling the queue go on without waiting for it.
  const auto begin = Clock::now();
  std::vector<float> samples;
  Drain(capture, &samples);
  UINT32 padding = 0;
  BYTE* block = nullptr;
  EXPECT_EQ(render.client->GetCurrentPadding(&padding), S_OK);
  EXPECT_EQ(render.render->GetBuffer(kRate - padding, &block), S_OK);
  EXPECT_EQ(render.render->ReleaseBuffer(kRate - padding, AUDCLNT_BUFFERFLAGS_SILENT), S_OK);
  EXPECT_LT(Clock::now() - begin, milliseconds(500));
  for (Stream* stream : {&capture, &render}) {
    EXPECT_LT(SecondsOf([&] {
                EXPECT_EQ(stream->client->Stop(), AUDCLNT_E_DEVICE_INVALIDATED);
                stream->client.Reset();
                stream->capture.Reset();
                stream->render.Reset();
              }),
              kPatience);
  }
  EXPECT_LT(SecondsOf([&] { EXPECT_EQ(late.Initialize(kLoopback), AUDCLNT_E_DEVICE_INVALIDATED); }),
            kPatience);
  ExpectNoServer(nullptr);
  SignalServer(SIGCONT);
  EXPECT_TRUE(Find(u"Zevra Speakers"));
}

TEST_F(PulseLoss, LeavesNoDescriptorBehindAndPassesNoneOn) {
  const auto before = OpenDescriptors();
  for (int round = 0; round < 20; ++round) {
    const ComPtr<IMMDevice> device = Find(u"Zevra Speakers");
    Stream capture(device.Get());
    Stream render(device.Get());
    StartCapture(capture);
    ASSERT_EQ(render.Initialize(0), S_OK);
    Record(capture, milliseconds(60));
    EXPECT_GT(ExpectNewOnesCloseOnExec(before), 0u);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace zevra::test
