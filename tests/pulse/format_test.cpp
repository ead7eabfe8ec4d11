#include "platform/linux/pulse/format.h"

#include <gtest/gtest.h>

#include <functional>

namespace zevra {
namespace {

PulseEndpoint Endpoint(const char* map) {
  PulseEndpoint endpoint;
  pa_channel_map_parse(&endpoint.channel_map, map);
  endpoint.sample_spec = {PA_SAMPLE_FLOAT32LE, 48'000, endpoint.channel_map.channels};
  return endpoint;
}

TEST(PulseFormat, ChannelsAreThoseOfTheEndpointInTheOrderOfTheMask) {
  const struct {
    const char* map;
    DWORD mask;
    const char* stream;  // what the server is asked for
  } cases[] = {
      {"mono", 0x4, "mono"},
      {"front-right,front-left", 0x3, "front-left,front-right"},
      {"side-right,rear-left,lfe", 0x418, "lfe,rear-left,side-right"},
      {"aux0,aux1,aux2", 0, "aux0,aux1,aux2"},
      {"front-left,front-left", 0, "front-left,front-left"},
      {"front-left,front-right,front-center,lfe,rear-left,rear-right,side-left,side-right,aux0",
       0x63F, "front-left,front-right,front-center,lfe,rear-left,rear-right,side-left,side-right"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.map);
    const PulseEndpoint endpoint = Endpoint(one.map);
    const WAVEFORMATEXTENSIBLE mix = MixFormat(endpoint);
    EXPECT_EQ(mix.dwChannelMask, one.mask);
    const auto stream = StreamFormat(mix.Format, endpoint);
    ASSERT_TRUE(stream);
    char map[PA_CHANNEL_MAP_SNPRINT_MAX];
    EXPECT_STREQ(pa_channel_map_snprint(map, sizeof map, &stream->channel_map), one.stream);
    EXPECT_EQ(mix.Format.nBlockAlign, pa_frame_size(&stream->sample_spec));
    EXPECT_EQ(mix.Format.nAvgBytesPerSec, pa_bytes_per_second(&stream->sample_spec));
  }
}

TEST(PulseFormat, OnlyTheMixFormatAndItsSixteenBitsOpen) {
  const auto sixteen_bits = [](WAVEFORMATEXTENSIBLE& format) {
    format.SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
    format.Format.wBitsPerSample = 16;
    format.Format.nBlockAlign = 4;
  };
  const struct {
    std::function<void(WAVEFORMATEXTENSIBLE&)> change;
    bool opens;
  } cases[] = {
      {sixteen_bits, true},
      {[](auto& format) { format.SubFormat = KSDATAFORMAT_SUBTYPE_PCM; }, false},
      {[](auto& format) { format.SubFormat = {}; }, false},
      {[](auto& format) { format.dwChannelMask = 0x7; }, false},
      {[](auto& format) { format.Format.wFormatTag = WAVE_FORMAT_PCM; }, false},
      {[](auto& format) { format.Format.cbSize = 0; }, false},
      {[](auto& format) { format.Format.nBlockAlign = 6; }, false},
      {[](auto& format) { format.Format.wBitsPerSample = 64; }, false},
      {[](auto& format) { format.Format.nSamplesPerSec = 44'100; }, false},
      {[](auto& format) { format.Format.nChannels = 1; }, false},
  };
  const PulseEndpoint endpoint = Endpoint("stereo");
  for (const auto& one : cases) {
    SCOPED_TRACE(&one - cases);
    WAVEFORMATEXTENSIBLE format = MixFormat(endpoint);
    one.change(format);
    EXPECT_EQ(StreamFormat(format.Format, endpoint).has_value(), one.opens);
  }
}

}  // namespace
}  // namespace zevra
