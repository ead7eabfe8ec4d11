#include <algorithm>
#include <cmath>
#include <cstring>
#include <list>
#include <numbers>
#include <optional>
#include <string>

#include "pulse/tone_capture.h"
#include "support/linux/sound_server.h"

namespace zevra::test {
namespace {

using Conversion = ServerTest;

constexpr struct {
  std::int32_t kind;
  std::uint16_t bits;
  double snr_db;  // of a tone at 0.25: what the bits leave of 6.02 dB each, or what the filter does
} kWidths[] = {
    {ZEVRA_SAMPLE_PCM, 8, 34},   {ZEVRA_SAMPLE_PCM, 16, 84},    {ZEVRA_SAMPLE_PCM, 24, 120},
    {ZEVRA_SAMPLE_PCM, 32, 120}, {ZEVRA_SAMPLE_FLOAT, 32, 120},
};

// Plays a sine on each channel of a sink.
Player Play(const std::string& sink, const std::vector<Tone>& channels) {
  std::vector<float> second;
  for (int frame = 0; frame < 48'000; ++frame) {
    for (const Tone& tone : channels) {
      const double angle = 2 * std::numbers::pi * tone.hertz * frame / 48'000;
      second.push_back(static_cast<float>(tone.level * std::sin(angle)));
    }
  }
  const std::string surround = std::string(kStereo) + ",front-center,lfe,rear-left,rear-right";
  return {sink, second, Player::kOverAndOver, channels.size() == 6 ? surround : kStereo};
}

TEST_F(Conversion, ATonePassesUnbrokenInEveryFormat) {
  constexpr Tone kLeft{997, 0.5};
  constexpr Tone kRight{997, 0.25};
  constexpr Tone kBoth{997, 0.375};
  constexpr Tone kOther{600, 0.2};
  const Player tones = Play("zevra_speakers", {kLeft, kRight});
  const Player others =
      Play("zevra_surround", {kOther, kOther, {997, 0}, {997, 0}, {997, 0}, {997, 0}});
  for (const std::uint32_t rate : {8'000, 16'000, 44'100, 48'000, 96'000, 192'000}) {
    std::list<ToneCapture> sessions;
    for (const auto& [kind, bits, snr_db] : kWidths) {
      const auto start = [&, kind = kind, bits = bits, snr_db = snr_db](
                             const ZevraChar* name, std::uint32_t flow, std::uint16_t channels,
                             const std::vector<Tone>& played) {
        sessions.emplace_back(name, flow, MakeFormat(kind, bits, rate, channels), played, snr_db);
      };
      start(nullptr, ZEVRA_FLOW_RENDER, 1, {kBoth});
      start(nullptr, ZEVRA_FLOW_RENDER, 2, {kLeft, kRight});
      if (bits == 24) start(nullptr, ZEVRA_FLOW_RENDER, 6, {kLeft, kRight});
      if (kind != ZEVRA_SAMPLE_FLOAT) continue;
      // Each of these hears its own endpoint.
      start(u"Zevra Surround", ZEVRA_FLOW_RENDER, 6, {kOther, kOther});
      start(u"zevra MICROPHONE", ZEVRA_FLOW_CAPTURE, 2, {kOther, kOther});
      start(u"Zevra Microphone", ZEVRA_FLOW_ALL, 1, {kOther});
    }
    for (const ToneCapture& session : sessions) session.Judge();
  }
}

// Each channel of the endpoint carries a level of its own, so that the order shows.
TEST_F(Conversion, ChannelsFollowTheMaskWhateverTheServersOrder) {
  const struct {
    const char* map;
    std::uint32_t mask;
    std::vector<unsigned> order;  // the endpoint's channel that each captured channel is
  } cases[] = {
      {"mono", 0x4, {0}},
      {"front-right,front-left", 0x3, {1, 0}},
      {"side-right,side-left,rear-left,rear-right,front-center,lfe,front-left,front-right",
       0x63F,
       {6, 7, 4, 5, 2, 3, 1, 0}},
      {"aux0,aux1,aux2", 0, {0, 1, 2}},
      {"aux0,aux1,aux2,aux3,aux4,aux5,aux6,aux7,aux8", 0, {0, 1, 2, 3, 4, 5, 6, 7}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.map);
    const NullSink sink("layout", "Layout", one.map);
    const std::size_t channels = one.order.size();
    std::vector<float> levels;
    const auto played =
        static_cast<std::size_t>(std::count(one.map, one.map + std::strlen(one.map), ',')) + 1;
    for (std::size_t i = 0; i < 48'000 * played; ++i)
      levels.push_back(static_cast<float>(i % played + 1) / 16);
    const Player player("layout", levels, Player::kOverAndOver, one.map);
    const Recording recording(std::size_t{20} * 48'000 * channels * sizeof(float));
    const Device device(u"Layout");
    ZevraAudioFormat format =
        MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 48'000, static_cast<std::uint16_t>(channels));
    format.channel_mask = one.mask;
    ASSERT_EQ(device.Start(recording, format), 0);
    ASSERT_TRUE(recording.Sounds());
    const std::vector<float> heard = recording.Floats();
    for (std::size_t channel = 0; channel < channels; ++channel) {
      EXPECT_EQ(heard[heard.size() - channels + channel],
                static_cast<float>(one.order[channel] + 1) / 16);
    }
  }
}

// Two of one name, but for its case, play on one endpoint; the second is recorded.
TEST_F(Conversion, AnApplicationIsHeardAloneAndAsLoudAsItIs) {
  const NullSink sink("shared", "Shared");
  const auto streams = [] { return Shell("pactl list short sink-inputs | cut -f1"); };
  std::optional<Player> players[2];
  for (std::size_t i = 0; i < 2; ++i) {
    players[i].emplace(i == 0 ? "shared" : "shared -n PaCat",
                       std::vector<float>(96'000, i == 0 ? 0.5F : 0.25F), Player::kOverAndOver);
    ASSERT_TRUE(Eventually([&] { return streams().size() == i + 1; }));
  }
  Shell("pactl set-sink-input-volume " + streams()[1] + " 50%; pactl set-sink-mute shared 1");
  for (const ZevraChar* const name : {u"pacat (3) (application)", u"pacat", u" (application)"})
    EXPECT_EQ(Device(name).Result(), ZEVRA_E_NOT_FOUND);
  EXPECT_EQ(Device(u"pacat (application)", ZEVRA_FLOW_CAPTURE).Result(), ZEVRA_E_NOT_FOUND);
  EXPECT_EQ(NamesIn(ZevraGetInnerRecordDeviceList).back(), "Shared");

  const Recording recording(std::size_t{20} * 48'000 * 2 * sizeof(float));
  const Device device(u"PACAT (2) (Application)");
  ASSERT_EQ(device.Start(recording, MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 48'000, 2)), 0);
  ASSERT_TRUE(recording.Sounds());
  EXPECT_NEAR(recording.Floats().back(), 0.25F / 8, 1e-5);  // the mixer's 50 %
  float volume = 0;
  EXPECT_EQ(ZevraGetVolume(device, &volume), 0);
  EXPECT_NEAR(volume, 0.5F, 1e-4);
  EXPECT_EQ(ZevraStartPlay(device), 0);  // on the endpoint
  for (const auto& [sink_name, result] :
       {std::pair("zevra_speakers", ZEVRA_E_DEVICE_INVALIDATED), std::pair("shared", ZEVRA_OK)}) {
    Shell("pactl move-sink-input " + streams()[1] + " " + sink_name);
    EXPECT_TRUE(Eventually([&, wanted = result] {
      return ZevraGetVolume(device, &volume) == wanted;
    })) << sink_name;
  }

  players[1].reset();
  recording.WaitUntilQuiet();
  EXPECT_EQ(ZevraGetVolume(device, &volume), ZEVRA_E_DEVICE_INVALIDATED);
  EXPECT_EQ(device.Start(recording), ZEVRA_E_FAIL);
}

}  // namespace
}  // namespace zevra::test
