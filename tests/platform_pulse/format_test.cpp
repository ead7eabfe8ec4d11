#include <cstring>
#include <optional>

#include "server_host.h"

namespace zevra::test {
namespace {

class PulseFormats : public ServerTest {};

// Each channel of the endpoint carries a level of its own, so that the order shows.
TEST_F(PulseFormats, ChannelsFollowTheMaskWhateverTheServersOrder) {
  const struct {
    const char* map;
    unsigned channels;
    DWORD mask;
    std::vector<int> order;  // the endpoint's channel that each captured channel is
  } cases[] = {
      {"mono", 1, 0x4, {0}},
      {"front-right,front-left", 2, 0x3, {1, 0}},
      {"front-left,front-right,rear-left,rear-right,front-center,lfe", 6, 0x3F, {0, 1, 4, 5, 2, 3}},
      {"side-right,side-left,rear-left,rear-right,front-center,lfe,front-left,front-right",
       8,
       0x63F,
       {6, 7, 4, 5, 2, 3, 1, 0}},
      {"aux0,aux1,aux2", 3, 0, {0, 1, 2}},
  };
  for (const auto& one : cases) {
    const NullSink sink("layout", one.map, one.channels, "Layout");
    Stream stream(Find(u"Layout").Get());
    const WAVEFORMATEX& format = stream.format.Format;
    EXPECT_EQ(format.wFormatTag, WAVE_FORMAT_EXTENSIBLE);
    EXPECT_EQ(format.cbSize, 22);
    EXPECT_EQ(format.nChannels, one.channels);
    EXPECT_EQ(format.nSamplesPerSec, kRate);
    EXPECT_EQ(format.nBlockAlign, one.channels * 4);
    EXPECT_EQ(format.nAvgBytesPerSec, kRate * one.channels * 4);
    EXPECT_EQ(stream.format.dwChannelMask, one.mask) << one.map;
    EXPECT_TRUE(stream.format.SubFormat == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT);

    std::vector<float> levels;
    for (std::size_t i = 0; i < 10 * kRate * one.channels; ++i) {
      levels.push_back(static_cast<float>(i % one.channels + 1) / 16);
    }
    const Player player("layout", levels, one.channels, one.map);
    StartCapture(stream);
    std::vector<float> heard;
    EXPECT_TRUE(Eventually(std::chrono::seconds(8), [&] {
      Drain(stream, &heard);
      return HasFatalFailure() || (!heard.empty() && heard.back() != 0);
    }));
    ASSERT_GE(heard.size(), one.channels);
    for (unsigned channel = 0; channel < one.channels; ++channel) {
      EXPECT_EQ(heard[heard.size() - one.channels + channel],
                static_cast<float>(one.order[channel] + 1) / 16)
          << one.map << " " << channel;
    }
  }
}

TEST_F(PulseFormats, AWideEndpointIsOfferedAs71) {
  const NullSink sink("wide",
                      "front-left,front-right,front-center,lfe,rear-left,rear-right,side-left,"
                      "side-right,top-front-left,top-front-right,top-rear-left,top-rear-right",
                      12, "Wide");
  Stream stream(Find(u"Wide").Get());
  EXPECT_EQ(stream.format.Format.nChannels, 8);
  EXPECT_EQ(stream.format.dwChannelMask, 0x63Fu);
  StartCapture(stream);
  EXPECT_FALSE(Record(stream, std::chrono::milliseconds(500)).empty());
}

WAVEFORMATEXTENSIBLE Format(WORD tag, const GUID& kind, WORD bits, WORD channels = 2,
                            DWORD rate = kRate, DWORD mask = 3) {
  WAVEFORMATEXTENSIBLE format{};
  const auto block = static_cast<WORD>(channels * bits / 8);
  format.Format = {tag,
                   channels,
                   rate,
                   rate * block,
                   block,
                   bits,
                   static_cast<WORD>(tag == WAVE_FORMAT_EXTENSIBLE ? 22 : 0)};
  format.Samples.wValidBitsPerSample = bits;
  format.dwChannelMask = mask;
  format.SubFormat = kind;
  return format;
}

TEST_F(PulseFormats, WhatIsSupportedOpensAndWhatIsNotIsRefused) {
  constexpr GUID kFloat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  constexpr GUID kPcm = KSDATAFORMAT_SUBTYPE_PCM;
  auto wrong_block = Format(WAVE_FORMAT_PCM, kPcm, 16);
  wrong_block.Format.nBlockAlign = 6;
  auto short_extension = Format(WAVE_FORMAT_EXTENSIBLE, kFloat, 32);
  short_extension.Format.cbSize = 0;
  const struct {
    WAVEFORMATEXTENSIBLE format;
    bool supported;
  } cases[] = {
      {Format(WAVE_FORMAT_EXTENSIBLE, kFloat, 32), true},
      {Format(WAVE_FORMAT_EXTENSIBLE, kPcm, 16), true},
      {Format(WAVE_FORMAT_EXTENSIBLE, kPcm, 24), true},
      {Format(WAVE_FORMAT_EXTENSIBLE, kPcm, 32, 2, kRate, 0), true},
      {Format(WAVE_FORMAT_EXTENSIBLE, kPcm, 16, 2, kRate, 0x600), true},
      {Format(WAVE_FORMAT_IEEE_FLOAT, {}, 32), true},
      {Format(WAVE_FORMAT_PCM, {}, 16), true},
      {Format(WAVE_FORMAT_PCM, {}, 8), false},
      {Format(WAVE_FORMAT_IEEE_FLOAT, {}, 64), false},
      {Format(WAVE_FORMAT_EXTENSIBLE, {}, 16), false},
      {Format(WAVE_FORMAT_EXTENSIBLE, kFloat, 32, 2, kRate, 0x7), false},
      {Format(WAVE_FORMAT_EXTENSIBLE, kFloat, 32, 2, kRate, 0x80000001), false},
      {Format(WAVE_FORMAT_PCM, {}, 16, 1), false},
      {Format(WAVE_FORMAT_PCM, {}, 16, 2, 44'100), false},
      {Format(WAVE_FORMAT_PCM, {}, 16, 0, 0), false},
      {Format(7, {}, 8), false},
      {wrong_block, false},
      {short_extension, false},
  };
  const ComPtr<IMMDevice> device = Find(u"Zevra Speakers");
  for (const auto& one : cases) {
    SCOPED_TRACE(&one - cases);
    Stream stream(device.Get());
    platform::TaskMemory<WAVEFORMATEX> closest;
    EXPECT_EQ(stream.client->IsFormatSupported(AUDCLNT_SHAREMODE_SHARED, &one.format.Format,
                                               closest.Put()),
              one.supported ? S_OK : S_FALSE);
    EXPECT_EQ(static_cast<bool>(closest), !one.supported);
    if (closest) {
      EXPECT_EQ(std::memcmp(closest.Get(), &stream.format, sizeof stream.format), 0);
    }
    stream.format = one.format;
    EXPECT_EQ(stream.Initialize(kLoopback), one.supported ? S_OK : AUDCLNT_E_UNSUPPORTED_FORMAT);
  }
}

TEST_F(PulseFormats, TheFlagAndTheEndpointDecideWhatAStreamIs) {
  const struct {
    const char16_t* name;
    DWORD flags;
    AUDCLNT_SHAREMODE mode;
    HRESULT result;
    bool captures;
  } cases[] = {
      {u"Zevra Speakers", kLoopback, AUDCLNT_SHAREMODE_SHARED, S_OK, true},
      {u"Zevra Speakers", 0, AUDCLNT_SHAREMODE_SHARED, S_OK, false},
      {u"Zevra Microphone", 0, AUDCLNT_SHAREMODE_SHARED, S_OK, true},
      {u"Zevra Microphone", kLoopback, AUDCLNT_SHAREMODE_SHARED, AUDCLNT_E_WRONG_ENDPOINT_TYPE,
       false},
      {u"Zevra Speakers", 0x40000, AUDCLNT_SHAREMODE_SHARED, E_INVALIDARG, false},
      {u"Zevra Speakers", 0, AUDCLNT_SHAREMODE_EXCLUSIVE, AUDCLNT_E_UNSUPPORTED_FORMAT, false},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(&one - cases);
    const Stream stream(Find(one.name).Get());
    IAudioClient* const client = stream.client.Get();
    ComPtr<IUnknown> service;
    UINT32 frames = 0;
    for (const HRESULT early : {client->Start(), client->Stop(), client->GetBufferSize(&frames),
                                client->GetCurrentPadding(&frames),
                                client->GetService(IID_IAudioCaptureClient, service.PutVoid())}) {
      EXPECT_EQ(early, AUDCLNT_E_NOT_INITIALIZED);
    }
    const auto initialize = [&] {
      return client->Initialize(one.mode, one.flags, 0, 0, &stream.format.Format, nullptr);
    };
    EXPECT_EQ(initialize(), one.result);
    if (FAILED(one.result)) continue;
    EXPECT_EQ(initialize(), AUDCLNT_E_ALREADY_INITIALIZED);
    const auto service_result = [&](const IID& iid) {
      return client->GetService(iid, service.PutVoid());
    };
    const HRESULT wrong = AUDCLNT_E_WRONG_ENDPOINT_TYPE;
    EXPECT_EQ(service_result(IID_IAudioCaptureClient), one.captures ? S_OK : wrong);
    EXPECT_EQ(service_result(IID_IAudioRenderClient), one.captures ? wrong : S_OK);
    EXPECT_EQ(service_result(IID_IAudioEndpointVolume), E_NOINTERFACE);
    EXPECT_EQ(client->GetBufferSize(&frames), S_OK);
    // Recorded sound keeps for more than two seconds.
    EXPECT_GE(frames, one.captures ? 2 * kRate : kRate / 50);
    EXPECT_EQ(client->Stop(), S_FALSE);
    EXPECT_EQ(client->Start(), S_OK);
    EXPECT_EQ(client->Start(), AUDCLNT_E_NOT_STOPPED);
    EXPECT_EQ(client->Stop(), S_OK);
    EXPECT_EQ(client->Stop(), S_FALSE);
    REFERENCE_TIME period = 0;
    EXPECT_EQ(client->GetDevicePeriod(&period, nullptr), S_OK);
    EXPECT_EQ(period, 100'000);
  }
}

}  // namespace
}  // namespace zevra::test
