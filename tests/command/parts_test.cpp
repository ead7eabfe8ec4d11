#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "tools/zevra/capture.h"
#include "tools/zevra/meter.h"
#include "tools/zevra/text.h"

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

TEST(TimeText, NeverRunsAhead) {
  EXPECT_EQ(TimeText(59.999), "00:59.9");
  EXPECT_EQ(TimeText(3723.45), "1:02:03.4");
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
