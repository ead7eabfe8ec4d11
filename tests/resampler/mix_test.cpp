#include <gtest/gtest.h>

#include <bit>

#include "platform/linux/resampler/mix.h"
#include "resampler_driver.h"

// Channels mixed by their positions, seen through the transform.

namespace zevra::test {
namespace {

using ResamplerMixTest = ComTest;

Format Masked(DWORD mask) {
  return Float(48'000, static_cast<std::uint16_t>(std::popcount(mask)), mask);
}
Format Bare(std::uint16_t channels) { return Float(48'000, channels); }

TEST_F(ResamplerMixTest, EachChannelGoesWhereItBelongsAtItsLevel) {
  constexpr double kHalf = 0.70710678;
  const struct {
    Format input, output;
    std::size_t channel;
    std::vector<double> gains;  // from input channel `channel` to every output channel
  } cases[] = {
      {Masked(0x3F), Masked(0x3), 2, {kHalf, kHalf}},  // 5.1 to stereo: centre,
      {Masked(0x3F), Masked(0x3), 3, {0, 0}},          // low frequencies,
      {Masked(0x3F), Masked(0x3), 5, {0, kHalf}},      // surround
      {Masked(0x3F), Masked(0x4), 1, {0.5}},           // and to the mean of left and right
      {Masked(0x3F), Masked(0x4), 4, {kHalf / 2}},
      {Masked(0x63F), Masked(0x3), 6, {kHalf, 0}},
      {Masked(0x63F), Masked(0x3F), 6, {0, 0, 0, 0, kHalf, 0}},  // side joins back,
      {Masked(0x60F), Masked(0x3F), 4, {0, 0, 0, 0, 1, 0}},      // or takes its place
      {Masked(0x500F), Masked(0x3), 4, {kHalf, 0}},              // height is not lost
      {Masked(0x3), Masked(0x1), 0, {0.5}},  // one channel is mono, whatever it is called
      {Masked(0x1), Masked(0x4), 0, {1}},
      {Masked(0x1), Masked(0x3), 0, {1, 1}},
      {Masked(0x4), Masked(0x60F), 0, {0, 0, 1, 0, 0, 0}},
      {Masked(0x10), Masked(0x33), 0, {0, 0, 1, 0}},
      {Masked(0x4), Masked(0x600), 0, {1, 1}},
      {Masked(0x3), Masked(0x600), 0, {1, 0}},  // no front at all
      {Masked(0x7), Masked(0x600), 2, {kHalf, kHalf}},
      {Masked(0x3), Masked(0x108), 0, {0, kHalf}},
      {Bare(6), Masked(0x3), 3, {1.0 / 6, 1.0 / 6}},  // nobody says which has the low frequencies
      {Bare(3), Masked(0x33), 2, {0, 0, 1, 0}},
      {Bare(2), Masked(0x63F), 1, {0, 1, 0, 0, 0, 0, 0, 0}},
      {Bare(1), Masked(0x3), 0, {1, 1}},
      {Masked(0xB), Bare(3), 2, {0, 0, 1}},      // the input's own positions,
      {Masked(0x3F), Bare(4), 4, {0, 0, 1, 0}},  // or the usual ones
  };
  for (const auto& c : cases) {
    std::vector<double> frame(c.input.channels);
    frame[c.channel] = 0.5;
    const auto mixed = Converted(frame, c.input, c.output);
    ASSERT_EQ(mixed.size(), c.gains.size());
    for (std::size_t i = 0; i < mixed.size(); ++i)
      EXPECT_NEAR(mixed[i], 0.5 * c.gains[i], 1e-6) << "case " << &c - cases << ' ' << i;
  }
}

// Whatever is asked for, every channel is heard and a programme keeps its level in the front.
TEST_F(ResamplerMixTest, EveryPositionFindsAWay) {
  for (DWORD input = 1; input < 0x40000; ++input) {
    const auto inputs = static_cast<UINT32>(std::popcount(input));
    if (inputs > 8) continue;
    for (const DWORD output : {0x4u, 0x1u, 0x3u, 0x33u, 0x3Fu, 0x63Fu, 0x600u, 0x108u, 0x28000u}) {
      const auto outputs = static_cast<UINT32>(std::popcount(output));
      const MixMatrix gains = BuildMixMatrix({inputs, input}, {outputs, output});
      UINT32 channel = 0;
      for (DWORD left = input; left != 0; left &= left - 1, ++channel) {
        double sum = 0;
        for (const auto& row : gains) sum += row[channel];
        const bool is_low = left % 16 == 8 && inputs > 1;
        ASSERT_GT(sum, is_low ? -1 : 0.2) << std::hex << input << " to " << output << ' ' << left;
      }
    }
  }
  // What is too loud together is limited, not turned round.
  const std::vector<double> loud(38'400, 1.0);
  for (const double sample : Converted(loud, Masked(0x63F), Pcm(16, 0, 44'100)))
    ASSERT_GE(sample, 0.99);
}

}  // namespace
}  // namespace zevra::test
