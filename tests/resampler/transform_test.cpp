#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

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

// One value in all channels of a frame.
std::vector<double> Tone(double frequency, const Format& format, std::size_t frames) {
  std::vector<double> tone(frames * format.channels);
  for (std::size_t i = 0; i < tone.size(); ++i) {
    const std::size_t frame = i / format.channels;
    const double time = static_cast<double>(frame) / format.rate;
    tone[i] = 0.5 * std::sin(2 * std::numbers::pi * frequency * time);
  }
  return tone;
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
          << input.bits << '/' << input.valid_bits << " to " << output.bits << '/'
          << output.valid_bits;
    }
  }
}

TEST_F(ResamplerTest, OutputDoesNotDependOnPacketsOrRequests) {
  std::mt19937 random(3);
  const auto any = [&random] { return std::size_t{random() % 1500}; };
  const struct {
    Format input, output;
  } cases[] = {{Float(48'000, 2), Float(44'100, 2)},
               {Float(48'000, 2), Pcm(16, 0, 16'000, 1)},
               {Float(48'000, 6), Pcm(24, 20, 32'000, 2)},
               {Pcm(24, 0, 44'100, 1), Pcm(32, 0, 192'000, 8)},
               {Pcm(8, 0, 8'000, 2), Float(8'000, 1)},
               {Float(96'000, 1), Pcm(16, 0, 4'000, 1)},
               {Float(8'000, 1), Pcm(24, 0, 48'000, 1)},
               // Rates without a handy common divisor take another way through the filter.
               {Float(88'200, 1), Float(84'488, 2)}};
  for (const auto& c : cases) {
    const Bytes input = Encode(Noise(std::size_t{12'000} * c.input.channels, 0.9), c.input);
    const auto run = [&](const std::function<std::size_t()>& packet, std::size_t capacity) {
      return ResamplerDriver(c.input, c.output).Run(input, packet, capacity);
    };
    const std::size_t block = c.output.BlockBytes();
    const Bytes whole = run([] { return std::size_t{12'000}; }, std::size_t{1} << 24);
    const double frames = 12'000.0 * c.output.rate / c.input.rate;
    EXPECT_EQ(whole.size() % block, 0u);
    const double converted = static_cast<double>(whole.size()) / static_cast<double>(block);
    EXPECT_LE(converted, frames + 1);
    EXPECT_GE(converted, frames - 140 * std::max(1.0, frames / 12'000));
    EXPECT_TRUE(whole == run([] { return std::size_t{480}; }, 352 * block));
    EXPECT_TRUE(whole == run([] { return std::size_t{1}; }, 1'000 * block));
    EXPECT_TRUE(whole == run(any, 7 * block + block / 2));
    EXPECT_TRUE(whole == run([] { return std::size_t{5'000}; }, block));
  }
}

TEST_F(ResamplerTest, EveryRateKeepsToneAndTime) {
  const struct {
    UINT32 input, output;
    double tolerance;
  } cases[] = {{48'000, 44'100, 1e-6}, {44'100, 48'000, 1e-6},  {48'000, 8'000, 1e-6},
               {4'000, 384'000, 1e-6}, {384'000, 4'000, 1e-6},  {384'000, 4'001, 1e-6},
               {44'101, 48'000, 1e-6}, {11'025, 192'000, 1e-6}, {48'000, 48'000, 0}};
  for (const auto& c : cases) {
    const Format input = Float(c.input, 2), output = Float(c.output, 2);
    const Bytes bytes = Encode(Tone(440, input, c.input), input);
    const auto actual = Decode(ResamplerDriver(input, output).Run(bytes), output);
    // What comes out begins with the first input frame: the filter's delay is made up for.
    const auto expected = Decode(Encode(Tone(440, output, c.output), output), output);
    const std::size_t lead = actual.size() / 4;
    double worst = 0;
    for (std::size_t i = lead; i < actual.size(); ++i)
      worst = std::max(worst, std::abs(actual[i] - expected[i]));
    EXPECT_LE(worst, c.tolerance) << c.input << " to " << c.output;
  }
}

TEST_F(ResamplerTest, ARequestGivesNoMoreThanItsCapacity) {
  const Format format = Float(48'000, 1);
  const ResamplerDriver resampler(format, format);
  const Bytes input = Encode(Noise(100, 0.5), format);
  const auto status = [&] {
    DWORD flags = 0;
    EXPECT_EQ(resampler->GetInputStatus(0, &flags), S_OK);
    return flags;
  };
  Bytes output;
  EXPECT_EQ(resampler.Pull(400, &output), MF_E_TRANSFORM_NEED_MORE_INPUT);
  EXPECT_EQ(status(), MFT_INPUT_STATUS_ACCEPT_DATA);
  EXPECT_EQ(resampler.Push(input.data(), input.size()), S_OK);
  // Another one takes the place of a packet whose output nobody asks for.
  EXPECT_EQ(status(), MFT_INPUT_STATUS_ACCEPT_DATA);
  EXPECT_EQ(resampler.Push(input.data(), input.size()), S_OK);
  EXPECT_EQ(resampler.Pull(3, &output), MF_E_BUFFERTOOSMALL);
  EXPECT_EQ(resampler.Pull(303, &output), S_OK);
  EXPECT_EQ(output.size(), 300u);
  EXPECT_EQ(resampler.Pull(300, &output), S_OK);
  EXPECT_EQ(output, input);
  EXPECT_EQ(resampler.Pull(300, &output), MF_E_TRANSFORM_NEED_MORE_INPUT);
  EXPECT_EQ(resampler.Push(input.data(), 0), S_OK);
  EXPECT_EQ(resampler.Pull(300, &output), MF_E_TRANSFORM_NEED_MORE_INPUT);
  EXPECT_EQ(status(), MFT_INPUT_STATUS_ACCEPT_DATA);
}

TEST_F(ResamplerTest, TypesThatItCannotTakeAreRefused) {
  const Format refused[] = {Float(3'999, 2),
                            Float(384'001, 2),
                            Float(48'000, 0),
                            Float(48'000, 9),
                            Float(48'000, 2, 0x7),
                            Float(48'000, 1, 0x80000000),
                            {.block_bytes = 4},
                            {.bits = 64},
                            {.bits = 16},
                            {.valid_bits = 24},
                            Pcm(12),
                            Pcm(0),
                            Pcm(64),
                            Pcm(16, 17)};
  const Format good = Float(48'000, 2);
  for (const Format& format : refused) {
    EXPECT_EQ(ResamplerDriver(format, good).Status(), MF_E_INVALIDMEDIATYPE) << format.bits;
    EXPECT_EQ(ResamplerDriver(good, format).Status(), MF_E_INVALIDMEDIATYPE) << format.bits;
  }
  ComPtr<IMFMediaType> empty;
  MFCreateMediaType(empty.Put());
  const ResamplerDriver resampler(good, good);
  EXPECT_EQ(resampler->SetInputType(0, empty.Get(), 0), MF_E_INVALIDMEDIATYPE);
  // A refused type leaves the one in force, as does a packet that is no whole frames.
  const Bytes bytes(9);
  EXPECT_EQ(resampler.Push(bytes.data(), 9), E_INVALIDARG);
  EXPECT_EQ(resampler.Push(bytes.data(), 8), S_OK);
  EXPECT_EQ(ResamplerDriver(good, refused[0]).Push(bytes.data(), 8), MF_E_TRANSFORM_TYPE_NOT_SET);
}

TEST_F(ResamplerTest, SamplesThatAreNoNumbersDoNotStayInTheSignal) {
  const Format input = Float(48'000, 1), output = Float(44'100, 1);
  auto samples = Noise(48'000, 0.5);
  samples[1'000] = std::numeric_limits<double>::quiet_NaN();
  samples[1'001] = std::numeric_limits<double>::infinity();
  const auto converted = Decode(ResamplerDriver(input, output).Run(Encode(samples, input)), output);
  EXPECT_TRUE(std::all_of(converted.begin() + 1'200, converted.end(),
                          [](double sample) { return std::abs(sample) < 2; }));
}

}  // namespace
}  // namespace zevra::test
