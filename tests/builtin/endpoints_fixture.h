#ifndef ZEVRA_TESTS_BUILTIN_ENDPOINTS_FIXTURE_H
#define ZEVRA_TESTS_BUILTIN_ENDPOINTS_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "builtin/builtin_audio.h"
#include "platform/com_object.h"
#include "platform/owners.h"
#include "support/builtin_endpoints.h"
#include "support/manual_clock.h"

namespace zevra::builtin {

using std::chrono::milliseconds;
using std::chrono::seconds;

// An endpoint with packets of 10 ms, the ones that the tests count in.
inline EndpointConfig MakeEndpoint(std::u16string name, EDataFlow flow, Signal signal = {}) {
  EndpointConfig config;
  config.name = std::move(name);
  config.flow = flow;
  config.signal = std::move(signal);
  return config;
}

// Endpoints on a clock that tests advance by hand. No object may be left at the end.
class EndpointsTest : public testing::Test {
 protected:
  // Each object of the endpoints holds the clock.
  ~EndpointsTest() override {
    audio_.reset();
    EXPECT_EQ(clock_.use_count(), 1);
  }

  void Build(std::vector<EndpointConfig> endpoints) {
    audio_ = std::make_unique<BuiltinAudio>(std::move(endpoints), clock_);
  }

  ComPtr<IAudioClient> ClientOf(UINT endpoint) const {
    ComPtr<IMMDeviceEnumerator> enumerator;
    EXPECT_EQ(audio_->CreateEnumerator(IID_IMMDeviceEnumerator, enumerator.PutVoid()), S_OK);
    ComPtr<IMMDeviceCollection> endpoints;
    EXPECT_EQ(enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, endpoints.Put()), S_OK);
    ComPtr<IMMDevice> device;
    EXPECT_EQ(endpoints->Item(endpoint, device.Put()), S_OK);
    ComPtr<IAudioClient> client;
    EXPECT_EQ(device->Activate(IID_IAudioClient, CLSCTX_ALL, nullptr, client.PutVoid()), S_OK);
    return client;
  }
  // A stream in the mix format that has not been started.
  ComPtr<IAudioClient> OpenStream(UINT endpoint, DWORD flags, REFERENCE_TIME duration = 0) const {
    auto client = ClientOf(endpoint);
    TaskMemory<WAVEFORMATEX> format;
    EXPECT_EQ(client->GetMixFormat(format.Put()), S_OK);
    EXPECT_EQ(
        client->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, duration, 0, format.Get(), nullptr),
        S_OK);
    return client;
  }
  static ComPtr<IAudioCaptureClient> CaptureOf(IAudioClient& client) {
    ComPtr<IAudioCaptureClient> service;
    EXPECT_EQ(client.GetService(IID_IAudioCaptureClient, service.PutVoid()), S_OK);
    return service;
  }
  static ComPtr<IAudioRenderClient> RenderOf(IAudioClient& client) {
    ComPtr<IAudioRenderClient> service;
    EXPECT_EQ(client.GetService(IID_IAudioRenderClient, service.PutVoid()), S_OK);
    return service;
  }

  const std::shared_ptr<test::ManualClock> clock_ = std::make_shared<test::ManualClock>();
  std::unique_ptr<BuiltinAudio> audio_;
};

struct Packet {
  std::vector<float> samples;
  DWORD flags = 0;
  UINT64 position = 0;
};

// Takes every packet that waits; the stream is float with `channels` channels.
inline std::vector<Packet> TakeAll(IAudioCaptureClient& capture, std::size_t channels = 2) {
  std::vector<Packet> packets;
  for (;;) {
    UINT32 announced = 0;
    EXPECT_EQ(capture.GetNextPacketSize(&announced), S_OK);
    if (announced == 0) return packets;
    BYTE* data = nullptr;
    UINT32 frames = 0;
    Packet packet;
    EXPECT_EQ(capture.GetBuffer(&data, &frames, &packet.flags, &packet.position, nullptr), S_OK);
    EXPECT_EQ(frames, announced);
    const auto* const samples = reinterpret_cast<const float*>(data);
    packet.samples.assign(samples, samples + frames * channels);
    EXPECT_EQ(capture.ReleaseBuffer(frames), S_OK);
    packets.push_back(std::move(packet));
  }
}

}  // namespace zevra::builtin

#endif
