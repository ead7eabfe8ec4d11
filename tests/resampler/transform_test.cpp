#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "platform/linux/com/com.h"
#include "resampler_driver.h"

// What the resampler makes of a signal.

namespace zevra::test {
namespace {

using ResamplerTest = ComTest;

std::vector<double> Noise(std::size_t samples, double amplitude) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> spread(-amplitude, amplitude);
  std::vector<double> noise(samples);
  for (double& sample : noise) sample = spread(random);
  return noise;
}

double Tone(std::size_t sample, double hertz, double rate) {
  return 0.5 * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(sample) / rate);
}

TEST_F(ResamplerTest, EveryFormatPairIsRoundedToTheOutputsValidBits) {
  const Format formats[] = {Float(48'000, 2), Pcm(8),      Pcm(16),     Pcm(24),     Pcm(32),
                            Pcm(8, 5),        Pcm(16, 12), Pcm(24, 20), Pcm(32, 24), Pcm(32, 31)};
  auto samples = Noise(20'000, 0.9);
  samples.insert(samples.end(), {1.0, -1.0, 1.5, -1.5, 0.0, 1e-9});
  for (const Format& input : formats) {
    const Bytes encoded = Encode(samples, input);
    for (const Format& output : formats) {
      // At equal rates nothing is held back, and every sample has one right value.
      EXPECT_TRUE(ResamplerDriver(input, output).Run(encoded) ==
                  Encode(Decode(encoded, input), output))
          << &input - formats << " to " << &output - formats;
    }
  }
}

TEST_F(ResamplerTest, OutputDoesNotDependOnPacketsOrRequests) {
  std::mt19937 random(3);
  const struct {
    Format input, output;
  } cases[] = {{Float(48'000, 2), Float(44'100, 2)},
               {Float(48'000, 2), Pcm(16, 0, 16'000, 1)},
               {Float(48'000, 6), Pcm(24, 20, 32'000, 2)},
               {Pcm(24, 0, 44'100, 1), Pcm(32, 0, 192'000, 8)},
               {Float(44'101, 1), Pcm(24, 0, 48'000, 1)},
               // Rates without a handy common divisor take another way through the filter.
               {Float(88'200, 1), Float(84'488, 2)}};
  for (const auto& c : cases) {
    const Bytes input = Encode(Noise(std::size_t{12'000} * c.input.channels, 0.9), c.input);
    const std::size_t block = BlockBytes(c.output);
    const auto run = [&](std::size_t packet_frames, std::size_t capacity) {
      const auto packet = [&] { return packet_frames > 0 ? packet_frames : random() % 1'500; };
      return ResamplerDriver(c.input, c.output).Run(input, packet, capacity);
    };
    const Bytes whole = run(12'000, std::size_t{1} << 24);
    const double frames = 12'000.0 * c.output.samples_per_second / c.input.samples_per_second;
    const double left = frames - static_cast<double>(whole.size()) / static_cast<double>(block);
    EXPECT_GE(left, -1);
    EXPECT_LE(left, 140 * std::max(1.0, frames / 12'000));
    EXPECT_TRUE(whole == run(480, 352 * block));
    EXPECT_TRUE(whole == run(1, 1'000 * block));
    EXPECT_TRUE(whole == run(0, 7 * block + block / 2));
    EXPECT_TRUE(whole == run(5'000, block));
  }
}

TEST_F(ResamplerTest, EveryRateKeepsToneAndTimeAndLeavesNothingBesideThem) {
  const struct {
    UINT32 input, output;
  } cases[] = {{48'000, 44'100}, {44'100, 48'000}, {48'000, 8'000},  {4'000, 384'000},
               {384'000, 4'000}, {384'000, 4'001}, {44'101, 48'000}, {11'025, 192'000}};
  for (const auto& c : cases) {
    const double edge = c.output < c.input ? 0.501 * c.output : 0.499 * c.input;
    for (const double hertz : {440.0, edge}) {
      std::vector<double> tone(c.input);
      for (std::size_t i = 0; i < tone.size(); ++i) tone[i] = Tone(i, hertz, c.input);
      const auto actual = Converted(tone, Float(c.input, 1), Float(c.output, 1));
      // What comes out begins with the first input frame: the filter's delay is made up for.
      double worst = 0;
      for (std::size_t i = actual.size() / 4; i < actual.size(); ++i)
        worst = std::max(worst, std::abs(actual[i] - (hertz < edge ? Tone(i, 440, c.output) : 0)));
      EXPECT_LE(worst, hertz < edge ? 1e-6 : 1e-4) << c.input << " to " << c.output;
    }
  }
}

TEST_F(ResamplerTest, ARequestGivesNoMoreThanItsCapacity) {
  const Format format = Float(48'000, 1);
  ResamplerDriver resampler(format, format);
  const Bytes input = Encode(Noise(100, 0.5), format);
  const auto push = [&](std::size_t bytes) {
    DWORD status = 0;
    EXPECT_EQ(resampler->GetInputStatus(0, &status), S_OK);
    EXPECT_EQ(status, MFT_INPUT_STATUS_ACCEPT_DATA);
    EXPECT_EQ(resampler.Push(input.data(), bytes), S_OK);
  };
  Bytes output;
  EXPECT_EQ(resampler.Pull(400, &output), MF_E_TRANSFORM_NEED_MORE_INPUT);
  push(input.size());
  // Another one takes the place of a packet whose output nobody asks for.
  push(input.size());
  EXPECT_EQ(resampler.Pull(3, &output), MF_E_BUFFERTOOSMALL);
  EXPECT_EQ(resampler.Pull(303, &output), S_OK);
  EXPECT_EQ(output.size(), 300u);
  EXPECT_EQ(resampler.Pull(300, &output), S_OK);
  EXPECT_EQ(output, input);
  EXPECT_EQ(resampler.Pull(300, &output), MF_E_TRANSFORM_NEED_MORE_INPUT);
  push(0);
  EXPECT_EQ(resampler.Pull(300, &output), MF_E_TRANSFORM_NEED_MORE_INPUT);
  push(input.size());
  ComPtr<IMFMediaType> type;
  CreateConversionMediaType(format, &type);
  EXPECT_EQ(resampler->SetInputType(0, type.Get(), 0), S_OK) << "forgets the packet";
  EXPECT_EQ(resampler.Pull(300, &output), MF_E_TRANSFORM_NEED_MORE_INPUT);
}

TEST_F(ResamplerTest, TypesThatItCannotTakeAreRefused) {
  const Format wide{1, 2, 64, 48'000, 0, 64, 0}, half{1, 2, 16, 48'000, 0, 16, 0};
  const Format padded{1, 2, 32, 48'000, 0, 24, 0};
  const Format refused[] = {Float(3'999, 2),
                            Float(384'001, 2),
                            Float(48'000, 0),
                            Float(48'000, 9),
                            Float(48'000, 2, 7),
                            Float(48'000, 1, 0x80000000),
                            Pcm(12),
                            Pcm(0),
                            Pcm(64),
                            Pcm(16, 17),
                            wide,
                            half,
                            padded};
  const Format good = Float(48'000, 2);
  for (const Format& format : refused) {
    EXPECT_EQ(ResamplerDriver(format, good).Status(), MF_E_INVALIDMEDIATYPE) << &format - refused;
    EXPECT_EQ(ResamplerDriver(good, format).Status(), MF_E_INVALIDMEDIATYPE) << &format - refused;
  }
  ResamplerDriver resampler(good, good);
  ComPtr<IMFMediaType> type;
  MFCreateMediaType(type.Put());
  EXPECT_EQ(resampler->SetInputType(0, type.Get(), 0), MF_E_INVALIDMEDIATYPE);
  CreateConversionMediaType(good, &type);
  type->SetUINT32(MF_MT_AUDIO_BLOCK_ALIGNMENT, 4);
  EXPECT_EQ(resampler->SetInputType(0, type.Get(), 0), MF_E_INVALIDMEDIATYPE);
  // A refused type leaves the one in force, as does a packet that is no whole frames.
  const Bytes bytes(9);
  EXPECT_EQ(resampler.Push(bytes.data(), 9), E_INVALIDARG);
  EXPECT_EQ(resampler.Push(bytes.data(), 8), S_OK);
  CreateConversionMediaType(good, &type);
  ComPtr<IMFTransform> bare;
  CreateResampler(IID_IMFTransform, bare.PutVoid());
  EXPECT_EQ(bare->SetInputType(0, type.Get(), 0), S_OK);
  EXPECT_EQ(bare->ProcessMessage(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0),
            MF_E_TRANSFORM_TYPE_NOT_SET);
}

TEST_F(ResamplerTest, WildSamplesAreSilentOrAtFullScaleWithTheirSign) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const double wild[] = {kInfinity, -kInfinity, std::nan(""), 70'000, -1e30, 20, -2.5, 1.25};
  const double tamed[] = {0, 0, 0, 1, -1, 1, -1, 1};
  auto samples = Noise(48'000, 0.5);
  auto clean = samples;
  for (std::size_t i = 0; i < std::size(wild); ++i) {
    samples[1'000 + i] = wild[i];
    clean[1'000 + i] = 0;
  }
  for (const Format& output :
       {Float(48'000, 1), Pcm(8, 0, 48'000, 1), Pcm(16, 0, 48'000, 1), Pcm(16, 12, 48'000, 1),
        Pcm(24, 0, 48'000, 1), Pcm(32, 0, 48'000, 1)}) {
    const auto converted = Converted(samples, Float(48'000, 1), output);
    for (std::size_t i = 0; i < std::size(wild); ++i)
      EXPECT_NEAR(std::clamp(converted[1'000 + i], -1.0, 1.0), tamed[i], 0.01)
          << output.bits_per_sample << ' ' << i;
  }
  const std::vector<double> stereo = {1e9, 0, std::nan(""), 0.5, 0.5, -kInfinity, 0.5, 0.25};
  const auto mono = Converted(stereo, Float(48'000, 2), Float(48'000, 1));
  EXPECT_THAT(mono, testing::ElementsAre(8, 0.25, 0.25, 0.375));
  // What is no number leaves no trace in the signal, and what is too loud none that lasts.
  const auto far = Converted(samples, Float(48'000, 1), Float(44'100, 1));
  std::fill(samples.begin() + 1'003, samples.begin() + 1'008, 0.0);
  EXPECT_EQ(Converted(samples, Float(48'000, 1), Float(44'100, 1)),
            Converted(clean, Float(48'000, 1), Float(44'100, 1)));
  EXPECT_TRUE(std::all_of(far.begin() + 960, far.end(), [](double x) { return std::abs(x) < 1; }));
}

}  // namespace
}  // namespace zevra::test
