#include <gmock/gmock.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <string>

#include "servers/server_host.h"
#include "servers/sine_fit.h"
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

// Each speaker has a frequency of its own, so that channels cannot pass for each other.
TEST_F(Conversion, SurroundKeepsItsChannels) {
  const std::vector<Tone> channels = {{400, 0.1}, {500, 0.1}, {600, 0.1},
                                      {700, 0.1}, {800, 0.1}, {900, 0.1}};
  const Player tones = Play("zevra_surround", channels);
  const Session run(u"Zevra Surround", ZEVRA_FLOW_RENDER,
                    MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 44'100, 6));
  ASSERT_TRUE(run.IsOver());
  for (unsigned channel = 0; channel < 6; ++channel)
    run.ExpectTone(channel, channels[channel], 120);
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
