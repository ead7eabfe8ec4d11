#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "platform/linux/resampler/mix.h"
#include "resampler_driver.h"

// Channels mixed by their masks, seen through the transform.

namespace zevra::test {
namespace {

using ResamplerMixTest = ComTest;

UINT32 Channels(DWORD mask) { return static_cast<UINT32>(std::popcount(mask)); }

// The gains from input channel `channel` to every output channel.
std::vector<double> Gains(DWORD input_mask, DWORD output_mask, std::size_t channel) {
  const Format input = Float(48'000, Channels(input_mask), input_mask);
  const Format output = Float(48'000, Channels(output_mask), output_mask);
  std::vector<double> frame(input.channels);
  frame[channel] = 1;
  return Decode(ResamplerDriver(input, output).Run(Encode(frame, input)), output);
}

TEST_F(ResamplerMixTest, StandardCoefficients) {
  constexpr double kHalf = 0.70710678, k51 = 1 / (1 + 2 * kHalf), k71 = 1 / (1 + 3 * kHalf);
  const struct {
    DWORD input, output;
    std::size_t channel;
    std::vector<double> gains;
  } cases[] = {
      {0x4, 0x3, 0, {kHalf, kHalf}},               // centre to left and right
      {0x3, 0x4, 1, {0.5}},                        // halved, so that both together fit
      {0x3F, 0x3, 0, {k51, 0}},                    // 5.1 to stereo: front,
      {0x3F, 0x3, 2, {kHalf * k51, kHalf * k51}},  // centre,
      {0x3F, 0x3, 3, {0, 0}},                      // low frequencies,
      {0x3F, 0x3, 5, {0, kHalf * k51}},            // surround
      {0x63F, 0x3, 6, {kHalf * k71, 0}},
      {0x60F, 0x3F, 4, {0, 0, 0, 0, 1, 0}},                    // side takes the place of back
      {0x560F & ~0x400u & ~0x200u, 0x3, 4, {kHalf * k51, 0}},  // height is not lost
      {0x3, 0x63F, 1, {0, 1, 0, 0, 0, 0, 0, 0}},
      {0x7, 0x3, 2, {kHalf / (1 + kHalf), kHalf / (1 + kHalf)}},
  };
  for (const auto& c : cases) {
    const auto gains = Gains(c.input, c.output, c.channel);
    ASSERT_EQ(gains.size(), c.gains.size());
    for (std::size_t i = 0; i < gains.size(); ++i) {
      EXPECT_NEAR(gains[i], c.gains[i], 1e-6)
          << std::hex << c.input << " to " << c.output << ' ' << c.channel << ' ' << i;
    }
  }
}

TEST_F(ResamplerMixTest, NoMaskMeansTheStandardLayout) {
  const DWORD standard[] = {0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};
  for (UINT32 channels = 1; channels <= 8; ++channels) {
    std::vector<double> frame(channels);
    for (UINT32 i = 0; i < channels; ++i) frame[i] = 0.1 * (i + 1);
    const Format bare = Float(48'000, channels), stereo = Float(48'000, 2, 0x3);
    const Format masked = Float(48'000, channels, standard[channels - 1]);
    EXPECT_EQ(ResamplerDriver(bare, stereo).Run(Encode(frame, bare)),
              ResamplerDriver(masked, stereo).Run(Encode(frame, masked)));
  }
}

// Every mask of up to 8 channels against the usual layouts: full scale in all channels at once
// stays within full scale, and what cannot be mixed is refused before any sound is.
TEST_F(ResamplerMixTest, NothingEverClips) {
  int refused = 0;
  for (DWORD input = 1; input < 0x40000; ++input) {
    if (Channels(input) > 8) continue;
    for (const DWORD output : {0x4u, 0x3u, 0x33u, 0x3Fu, 0x60Fu, 0x63Fu, 0x13Fu, 0x100u}) {
      MixMatrix gains;
      if (!BuildMixMatrix(input, output, &gains)) {
        ++refused;
        continue;
      }
      for (const auto& row : gains) {
        double sum = 0;
        for (const double gain : row) sum += std::abs(gain);
        ASSERT_LE(sum, 1 + 1e-9) << std::hex << input << " to " << output;
      }
    }
  }
  // Only a layout without any front is out of reach for some.
  EXPECT_GT(refused, 0);
  EXPECT_EQ(ResamplerDriver(Float(48'000, 2), Float(48'000, 1, 0x100)).Status(),
            MF_E_INVALIDMEDIATYPE);

  const Format surround = Float(48'000, 8), stereo = Pcm(16, 0, 44'100);
  const std::vector<double> loud(38'400, 1.0);
  for (const double sample :
       Decode(ResamplerDriver(surround, stereo).Run(Encode(loud, surround)), stereo))
    ASSERT_GE(sample, 0.99);
}

}  // namespace
}  // namespace zevra::test
