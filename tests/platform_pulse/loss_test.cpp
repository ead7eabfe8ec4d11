#include <csignal>
#include <cstring>
#include <functional>

#include "server_host.h"

namespace zevra::test {
namespace {

class PulseLoss : public ServerTest {};

// What the client had taken from the connection before still comes, but then every operation fails.
void ExpectInvalidated(Stream& stream) {
  IAudioClient& client = *stream.client.Get();
  UINT32 frames = 0;
  ASSERT_TRUE(Eventually([&] {
    if (stream.render) return client.GetCurrentPadding(&frames) == AUDCLNT_E_DEVICE_INVALIDATED;
    const Packet packet(stream);
    stream.capture->ReleaseBuffer(packet.frames);
    return packet.result == AUDCLNT_E_DEVICE_INVALIDATED;
  }));
  const auto begin = Clock::now();
  BYTE* block = nullptr;
  TaskMemory<WAVEFORMATEX> format;
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

// The last one, for it leaves the server dead.
TEST_F(PulseLoss, OfTheServer) {
  LoseBoth(
      Find(u"Zevra Speakers").Get(), [] { SignalServer(SIGKILL); });
}

}  // namespace
}  // namespace zevra::test
