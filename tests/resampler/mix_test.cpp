#include <gtest/gtest.h>

#include <bit>
#include <numeric>

#include "platform/linux/resampler/mix.h"
#include "resampler_driver.h"

// Channels mixed by their masks, seen through the transform.

namespace zevra::test {
namespace {

using ResamplerMixTest = ComTest;

Format Masked(DWORD mask) {
  return Float(48'000, static_cast<std::uint16_t>(std::popcount(mask)), mask);
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
    std::vector<double> frame(static_cast<std::size_t>(std::popcount(c.input)));
    frame[c.channel] = 1;
    const auto gains = Converted(frame, Masked(c.input), Masked(c.output));
    ASSERT_EQ(gains.size(), c.gains.size());
    for (std::size_t i = 0; i < gains.size(); ++i) {
      EXPECT_NEAR(gains[i], c.gains[i], 1e-6)
          << std::hex << c.input << " to " << c.output << ' ' << c.channel << ' ' << i;
    }
  }
}

TEST_F(ResamplerMixTest, NoMaskMeansTheStandardLayout) {
  for (const DWORD standard : {0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F}) {
    std::vector<double> frame;
    for (int i = 0; i < std::popcount(standard); ++i) frame.push_back(0.1 * (i + 1));
    Format bare = Masked(standard);
    bare.channel_mask = 0;
    EXPECT_EQ(Converted(frame, bare, Masked(0x3)), Converted(frame, Masked(standard), Masked(0x3)));
  }
}

// Every mask of up to 8 channels against the usual layouts: full scale in all channels at once
// stays within full scale, and what cannot be mixed is refused before any sound is.
TEST_F(ResamplerMixTest, NothingEverClips) {
  for (DWORD input = 1; input < 0x40000; ++input) {
    if (std::popcount(input) > 8) continue;
    for (const DWORD output : {0x4u, 0x3u, 0x33u, 0x3Fu, 0x60Fu, 0x63Fu, 0x13Fu, 0x100u}) {
      MixMatrix gains;
      if (!BuildMixMatrix(input, output, &gains)) continue;
      for (const auto& row : gains)
        ASSERT_LE(std::accumulate(row.begin(), row.end(), 0.0), 1 + 1e-9)
            << std::hex << input << " to " << output;
    }
  }
  EXPECT_EQ(ResamplerDriver(Masked(0x3), Masked(0x100)).Status(), MF_E_INVALIDMEDIATYPE);

  const std::vector<double> loud(38'400, 1.0);
  for (const double sample : Converted(loud, Masked(0x63F), Pcm(16, 0, 44'100)))
    ASSERT_GE(sample, 0.99);
}

}  // namespace
}  // namespace zevra::test
