#include <algorithm>
#include <string_view>

#include "server_host.h"

namespace zevra::test {
namespace {

class PulseFormats : public ServerTest {};

// Each channel of the endpoint carries a level of its own, so that the order shows.
TEST_F(PulseFormats, ChannelsFollowTheMaskWhateverTheServersOrder) {
  const struct {
    const char* map;
    DWORD mask;
    std::vector<unsigned> order;  // the endpoint's channel that each captured channel is
  } cases[] = {
      {"mono", 0x4, {0}},
      {"front-right,front-left", 0x3, {1, 0}},
      {"front-left,front-right,rear-left,rear-right,front-center,lfe", 0x3F, {0, 1, 4, 5, 2, 3}},
      {"side-right,side-left,rear-left,rear-right,front-center,lfe,front-left,front-right",
       0x63F,
       {6, 7, 4, 5, 2, 3, 1, 0}},
      {"aux0,aux1,aux2", 0, {0, 1, 2}},
      // More than a stream carries is offered as 7.1; how it is folded is the server's affair.
      {"front-left,front-right,front-center,lfe,rear-left,rear-right,side-left,side-right,aux0",
       0x63F, std::vector<unsigned>(8)},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.map);
    const NullSink sink("layout", "Layout", one.map);
    Stream stream(Find(u"Layout").Get());
    const std::size_t channels = one.order.size();
    EXPECT_EQ(stream.format.Format.wFormatTag, WAVE_FORMAT_EXTENSIBLE);
    EXPECT_EQ(stream.format.Format.nSamplesPerSec, kRate);
    EXPECT_EQ(stream.format.Format.nBlockAlign, channels * 4);
    EXPECT_EQ(stream.format.dwChannelMask, one.mask);
    ASSERT_EQ(stream.format.Format.nChannels, channels);

    const std::string_view map = one.map;
    const auto sink_channels =
        static_cast<std::size_t>(std::count(map.begin(), map.end(), ',') + 1);
    std::vector<float> levels;
    for (std::size_t i = 0; i < kRate * sink_channels; ++i)
      levels.push_back(static_cast<float>(i % sink_channels + 1) / 16);
    const Player player("layout", levels, Player::kOverAndOver, one.map);
    StartCapture(stream);
    std::vector<float> heard;
    ASSERT_TRUE(Eventually([&] {
      Drain(stream, &heard);
      return HasFatalFailure() || (!heard.empty() && heard.back() != 0);
    }));
    for (std::size_t channel = 0; channel < channels && sink_channels == channels; ++channel) {
      EXPECT_EQ(heard[heard.size() - channels + channel],
                static_cast<float>(one.order[channel] + 1) / 16);
    }
  }
}

WAVEFORMATEXTENSIBLE Format(WORD tag, const GUID& kind, WORD bits, DWORD mask = 3,
                            WORD channels = 2, DWORD rate = kRate) {
  const auto block = static_cast<WORD>(channels * bits / 8);
  const auto extra = static_cast<WORD>(tag == WAVE_FORMAT_EXTENSIBLE ? 22 : 0);
  return {{tag, channels, rate, rate * block, block, bits, extra}, {bits}, mask, kind};
}

TEST_F(PulseFormats, WhatIsSupportedOpensAndWhatIsNotIsRefused) {
  constexpr GUID kFloat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  constexpr GUID kPcm = KSDATAFORMAT_SUBTYPE_PCM;
  auto wrong_block = Format(WAVE_FORMAT_PCM, {}, 16);
  wrong_block.Format.nBlockAlign = 6;
  auto short_extension = Format(WAVE_FORMAT_EXTENSIBLE, kFloat, 32);
  short_extension.Format.cbSize = 0;
  const struct {
    WAVEFORMATEXTENSIBLE format;
    bool supported;
  } cases[] = {
      {Format(WAVE_FORMAT_EXTENSIBLE, kFloat, 32), true},
      {Format(WAVE_FORMAT_EXTENSIBLE, kPcm, 16, 0x600), true},
      {Format(WAVE_FORMAT_EXTENSIBLE, kPcm, 24), true},
      {Format(WAVE_FORMAT_EXTENSIBLE, kPcm, 32, 0), true},
      {Format(WAVE_FORMAT_IEEE_FLOAT, {}, 32), true},
      {Format(WAVE_FORMAT_PCM, {}, 16), true},
      {Format(WAVE_FORMAT_PCM, {}, 8), false},
      {Format(WAVE_FORMAT_IEEE_FLOAT, {}, 64), false},
      {Format(WAVE_FORMAT_EXTENSIBLE, {}, 16), false},
      {Format(WAVE_FORMAT_EXTENSIBLE, kFloat, 32, 0x7), false},
      {Format(WAVE_FORMAT_EXTENSIBLE, kFloat, 32, 0x80000001), false},
      {Format(WAVE_FORMAT_PCM, {}, 16, 0, 1), false},
      {Format(WAVE_FORMAT_PCM, {}, 16, 0, 2, 44'100), false},
      {Format(WAVE_FORMAT_PCM, {}, 16, 0, 0, 0), false},
      {wrong_block, false},
      {short_extension, false},
  };
  const ComPtr<IMMDevice> device = Find(u"Zevra Speakers");
  for (const auto& one : cases) {
    SCOPED_TRACE(&one - cases);
    Stream stream(device.Get());
    TaskMemory<WAVEFORMATEX> closest;
    EXPECT_EQ(stream.client->IsFormatSupported(AUDCLNT_SHAREMODE_SHARED, &one.format.Format,
                                               closest.Put()),
              one.supported ? S_OK : S_FALSE);
    EXPECT_EQ(static_cast<bool>(closest), !one.supported);
    stream.format = one.format;
    EXPECT_EQ(stream.Initialize(kLoopback), one.supported ? S_OK : AUDCLNT_E_UNSUPPORTED_FORMAT);
  }
}

}  // namespace
}  // namespace zevra::test
