#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <thread>
#include <vector>

#include "tools/zevra/alignment.h"
#include "tools/zevra/capture.h"
#include "tools/zevra/meter.h"
#include "tools/zevra/text.h"
#include "tools/zevra/timeline.h"

namespace zevra::command {
namespace {

TEST(Text, GoesBetweenUtf8AndUtf16WhateverTheBytesAre) {
  EXPECT_EQ(ToUtf16("a\xff \xc3\xbc \xf0\x9f\x94\x8a"), u"a\ufffd \u00fc \xd83d\xdd0a");
  EXPECT_EQ(ToUtf8(u"\u00fc \xd83d\xdd0a"), "\xc3\xbc \xf0\x9f\x94\x8a");
  EXPECT_EQ(ToUtf8(u"\xd83dx\xdd0a"), "\xef\xbf\xbdx\xef\xbf\xbd");
}

TEST(Levels, MeasureEachChannel) {
  Levels levels(2);
  levels.Add(std::vector<float>{0.5F, 0, -0.5F, 0.25F});
  levels.Add(std::vector<float>{0.5F, 0, -0.5F, -0.25F});
  EXPECT_EQ(levels.Peak(0) + levels.Peak(1), 0.75F);
  EXPECT_NEAR(levels.Rms(), std::sqrt((0.25 + 0.03125) / 2), 1e-9);
  levels.Clear();
  EXPECT_EQ(DecibelText(levels.Peak()), "-inf");
}

TEST(Spectrum, ATonesOctaveStandsOutAtEveryRate) {
  for (const std::uint32_t rate : {4000U, 8000U, 44100U, 48000U}) {
    SCOPED_TRACE(rate);
    Spectrum spectrum(rate, 2);
    EXPECT_EQ(spectrum.BandCount(), rate == 4000 ? 6U : rate == 8000 ? 7U : 10U);
    for (std::size_t tone = 0; tone < spectrum.BandCount(); ++tone) {
      const double hertz = 31.25 * std::pow(2, tone);
      std::vector<float> samples;
      for (std::uint32_t frame = 0; frame < rate / 2; ++frame) {
        const double angle = 2 * std::numbers::pi * hertz * frame / rate;
        samples.insert(samples.end(), 2, static_cast<float>(0.5 * std::sin(angle)));
      }
      spectrum.Add(samples);  // until the filters have settled and the last tone has fallen
      spectrum.Update(10);
      spectrum.Add(samples);
      spectrum.Update(10);
      for (std::size_t band = 0; band < spectrum.BandCount(); ++band) {
        const double level = spectrum.Level(band);
        if (band == tone)
          EXPECT_NEAR(level, -6, 0.5);
        else
          EXPECT_LT(level, -19) << tone << " in " << band;
      }
    }
  }
}

TEST(TimeText, NeverRunsAhead) {
  EXPECT_EQ(TimeText(59.999), "00:59.9");
  EXPECT_EQ(TimeText(3723.45), "1:02:03.4");
}

// A source at 1000 frames a second whose audio comes every 20 ms, but not between `stall_begin` and
// `stall_end`; then what was kept of it comes at once.
struct Story {
  double drift;
  double stall_begin, stall_end, kept;
  bool gone;  // and known to be
  double hole_at, hole_seconds;
};

TEST(Timeline, TellsHolesFromDriftAndDelay) {
  const Story stories[] = {
      {0.0005, 0, 0, 0, false, 0, 0}, {-0.0005, 0, 0, 0, false, 0, 0}, {0, 5, 7, 2, false, 0, 0},
      {0, 5, 7, 0, false, 5, 2},      {0.0002, 5, 9, 1, false, 6, 3},  {0, 5, 5.2, 0, false, 0, 0},
      {0, 5, 25, 0, true, 5, 20},     {0, 0, 2.2, 0, false, 0, 0},
  };
  const AudioFormat format{SampleType::kU8, 1000, 1};
  for (const Story& story : stories) {
    SCOPED_TRACE(&story - stories);
    Timeline timeline(format, true, false);
    std::vector<Hole> holes;
    std::size_t frames = 0;
    double delivered = 0;
    bool gone = false;
    for (int tick = 25; tick < 30000; ++tick) {
      const double now = tick * 0.02 + 0.007;
      const bool stalls = now > story.stall_begin && now < story.stall_end;
      if (now > story.stall_end && now - 0.02 <= story.stall_end)
        delivered += story.stall_end - story.stall_begin - story.kept;
      if (story.gone && stalls != gone) timeline.SetGone(gone = stalls, 0);
      const double due = stalls ? 0 : now * (1 + story.drift) - delivered;
      const std::vector<std::uint8_t> audio(static_cast<std::size_t>(due * 1000), 1);
      delivered += static_cast<double>(audio.size()) / 1000;
      timeline.Clear();
      timeline.Add(audio, now, true);
      frames += timeline.Ready().size();
      for (const Hole& hole : timeline.TakeHoles()) holes.push_back(hole);
    }
    EXPECT_NEAR(static_cast<double>(frames) / 1000,
                600 * (1 + story.drift) - (story.stall_begin > 0 ? 0 : story.stall_end), 0.25);
    ASSERT_EQ(holes.size(), story.hole_seconds > 0 ? 1U : 0U);
    if (holes.empty()) continue;
    EXPECT_NEAR(holes[0].at_seconds, story.hole_at, 0.1);
    EXPECT_NEAR(holes[0].seconds, story.hole_seconds, 0.1);
  }
}

// Each frame holds the time at which it sounded, in milliseconds; packets come late by chance.
TEST(Alignment, KeepsTracksThatLoseSoundAndDriftInStep) {
  const struct {
    int begins, loses;  // of the right one, in milliseconds
    double drift;
    int gone, back;  // in ticks; one that is gone from the first on has only not come yet
  } stories[] = {{31, 0, 0, 0, 0},    {0, 75, 0, 0, 0},     {15, 0, 0.0002, 0, 0},
                 {31, 0, 0, 40, 115}, {31, 0, 0, 60, 1300}, {31, 0, 0, 20, 1300}};
  const AudioFormat format{SampleType::kU8, 1000, 1};
  for (const auto& story : stories) {
    SCOPED_TRACE(&story - stories);
    Timeline lines[] = {{format, true, true}, {format, true, true}};
    constexpr double kLater = 0.25;  // the right one's clock began
    Alignment alignment(lines[0], lines[1], kLater);
    std::vector<std::uint8_t> tracks[2];
    int played[] = {0, story.begins};
    for (int tick = 20; tick < 6000; ++tick) {
      if (tick == 500) played[1] += story.loses;
      const bool gone = tick >= story.gone && tick < story.back;
      if (gone) played[1] = tick * 20;
      if (story.gone > 20 && (tick == story.gone || tick == story.back)) lines[1].SetGone(gone, 0);
      for (int track = 0; track < 2; ++track) {
        const double slowness = 1 + track * story.drift;
        const double now = tick * 0.02 + tick * 7 % (11 + 2 * track) * 0.002;
        std::vector<std::uint8_t> audio;
        for (; played[track] * slowness < tick * 20; ++played[track])
          audio.push_back(static_cast<std::uint8_t>(std::lround(played[track] * slowness) % 100));
        lines[track].Clear();
        lines[track].Add(audio, now - kLater * track, true);
      }
      alignment.Look(tick * 0.02);
      for (int track = 0; track < 2; ++track) {
        const auto ready = lines[track].Ready();
        tracks[track].insert(tracks[track].end(), ready.begin(), ready.end());
      }
      if (tick < 200 || (tick >= 500 && tick < 700)) continue;
      const std::size_t size = std::min(tracks[0].size(), tracks[1].size());
      ASSERT_GT(size, tick * 20 - 900U) << tick;
      if (tick < story.back + 200) continue;
      const int skew = (tracks[0][size - 1] - tracks[1][size - 1] + 150) % 100 - 50;
      ASSERT_LE(std::abs(skew), 10) << tick;
    }
  }
}

TEST(SoundGate, LetsSoundThroughWithWhatIsAroundIt) {
  const AudioFormat format{SampleType::kF32, 1000, 1};
  for (const bool closes : {true, false}) {
    SoundGate gate(-40, closes, format);
    std::vector<float> samples(10000);
    std::fill(samples.begin() + 3000, samples.begin() + 4000, 0.1F);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(samples.data());
    const auto out = gate.Pass({bytes, samples.size() * 4}, samples);
    EXPECT_NEAR(static_cast<double>(out.size()) / 4, closes ? 1700 : 7200, 40);
  }
}

TEST(PacketRing, CarriesEveryByteAcrossThreadsAndTakesNoHalfPackets) {
  PacketRing ring(1000);
  constexpr std::size_t kTotal = 60'000;
  std::thread producer([&ring] {
    std::vector<std::uint8_t> packet(300);
    for (std::size_t sent = 0; sent < kTotal; sent += packet.size()) {
      for (std::size_t i = 0; i < packet.size(); ++i)
        packet[i] = static_cast<std::uint8_t>((sent + i) % 251);
      while (!ring.Push(packet)) std::this_thread::yield();
    }
  });
  std::vector<std::uint8_t> out(170);
  std::size_t taken = 0;
  while (taken < kTotal) {
    const std::size_t count = ring.Take(out);
    for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(out[i], (taken + i) % 251);
    taken += count;
  }
  producer.join();
  const std::vector<std::uint8_t> packet(600);
  EXPECT_TRUE(ring.Push(packet));
  EXPECT_FALSE(ring.Push(packet));
  out.resize(700);
  EXPECT_EQ(ring.Take(out), 600U);
}

}  // namespace
}  // namespace zevra::command
