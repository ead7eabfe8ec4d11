#include <gmock/gmock.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <string>

#include "pulse/server_host.h"
#include "pulse/sine_fit.h"
#include "support/eventually.h"
#include "support/linux/sound_server.h"

namespace zevra::test {
namespace {

using Conversion = ServerTest;

// A server takes a moment until a new stream runs smoothly. What is judged begins behind that.
constexpr double kSettle = 1.0;
constexpr double kJudged = 1.0;

struct Width {
  std::int32_t kind;
  std::uint16_t bits;
  double snr_db;  // of a tone at 0.25: what the bits leave of 6.02 dB each, or what the filter does
};
constexpr Width kWidths[] = {
    {ZEVRA_SAMPLE_PCM, 8, 34},   {ZEVRA_SAMPLE_PCM, 16, 84},    {ZEVRA_SAMPLE_PCM, 24, 120},
    {ZEVRA_SAMPLE_PCM, 32, 120}, {ZEVRA_SAMPLE_FLOAT, 32, 120},
};
constexpr std::uint32_t kRates[] = {8'000, 16'000, 44'100, 48'000, 96'000, 192'000};
constexpr std::uint16_t kChannels[] = {1, 2, 6};

// One channel of what is played; full scale is 1.0.
struct Tone {
  int hertz;
  double level;
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

std::string NameOf(const ZevraAudioFormat& format) {
  return (format.sample_kind == ZEVRA_SAMPLE_PCM ? "PCM " : "float ") +
         std::to_string(format.bits_per_sample) + ", " + std::to_string(format.samples_per_second) +
         " Hz, " + std::to_string(format.channels) + " channels";
}

// One capture in one format, long enough to be judged.
struct Session {
  Session(const ZevraChar* name, std::uint32_t flow, const ZevraAudioFormat& asked)
      : format(asked),
        recording(static_cast<std::size_t>((kSettle + kJudged) * asked.samples_per_second) *
                  asked.channels * asked.bits_per_sample / 8),
        device(name, flow) {
    EXPECT_EQ(device.Result(), 0);
    EXPECT_EQ(device.Start(recording, format), 0);
  }
  bool IsOver() const {
    return Eventually([this] { return recording.IsFull(); }) && ZevraStopCapture(device) == 0;
  }
  std::vector<double> Judged(unsigned channel) const {
    return Channel(recording.Bytes(), format, channel, kSettle, kJudged);
  }
  void ExpectTone(unsigned channel, Tone tone, double snr_db) const {
    const SineFit fit = FitSine(Judged(channel), tone.hertz, format.samples_per_second);
    EXPECT_NEAR(fit.level, tone.level, tone.level * 0.01) << "channel " << channel;
    EXPECT_GE(fit.snr_db, snr_db) << "channel " << channel;
  }
  void ExpectSilence(unsigned channel) const {
    EXPECT_THAT(Judged(channel), ::testing::Each(0.0)) << "channel " << channel;
  }

  const ZevraAudioFormat format;
  Recording recording;
  const Device device;
};

TEST_F(Conversion, ATonePassesUnbrokenInEveryFormat) {
  constexpr Tone kLeft{997, 0.5};
  constexpr Tone kRight{997, 0.25};
  constexpr Tone kBoth{997, 0.375};
  const Player tones = Play("zevra_speakers", {kLeft, kRight});
  for (const std::uint32_t rate : kRates) {
    std::vector<std::pair<double, std::unique_ptr<Session>>> runs;
    for (const Width& width : kWidths) {
      for (const std::uint16_t channels : kChannels) {
        const ZevraAudioFormat format = MakeFormat(width.kind, width.bits, rate, channels);
        runs.emplace_back(width.snr_db,
                          std::make_unique<Session>(nullptr, ZEVRA_FLOW_RENDER, format));
      }
    }
    for (const auto& [snr_db, run] : runs) {
      SCOPED_TRACE(NameOf(run->format));
      ASSERT_TRUE(run->IsOver());
      run->ExpectTone(0, run->format.channels == 1 ? kBoth : kLeft, snr_db);
      if (run->format.channels > 1) run->ExpectTone(1, kRight, snr_db);
      for (unsigned other = 2; other < run->format.channels; ++other) run->ExpectSilence(other);
    }
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
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.map);
    const NullSink sink("layout", "Layout", one.map);
    const std::size_t channels = one.order.size();
    std::vector<float> levels;
    for (std::size_t i = 0; i < 48'000 * channels; ++i)
      levels.push_back(static_cast<float>(i % channels + 1) / 16);
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

// Each of these hears its own endpoint while another tone plays on the default one.
TEST_F(Conversion, AnEndpointIsCapturedByName) {
  constexpr Tone kHere{600, 0.2};
  const Player elsewhere = Play("zevra_speakers", {{997, 0.5}, {997, 0.5}});
  const Player here =
      Play("zevra_surround", {kHere, kHere, {997, 0}, {997, 0}, {997, 0}, {997, 0}});
  const ZevraAudioFormat format = MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 48'000, 2);
  const Session second_sink(u"Zevra Surround", ZEVRA_FLOW_RENDER, format);
  const Session source(u"zevra MICROPHONE", ZEVRA_FLOW_CAPTURE, format);
  const Session source_of_both(u"Zevra Microphone", ZEVRA_FLOW_ALL, format);
  for (const Session* const run : {&source, &source_of_both}) {
    ASSERT_TRUE(run->IsOver());
    run->ExpectTone(0, kHere, 120);
    run->ExpectTone(1, kHere, 120);
  }
  ASSERT_TRUE(second_sink.IsOver());
  EXPECT_GE(FitSine(second_sink.Judged(0), kHere.hertz, 48'000).snr_db, 120);
}

}  // namespace
}  // namespace zevra::test
