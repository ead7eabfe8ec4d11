#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include "pulse/server_host.h"
#include "support/eventually.h"
#include "support/linux/sound_server.h"

namespace zevra::test {
namespace {

using RemovedSink = ServerTest;
using KilledServer = ServerTest;
using FrozenServer = ServerTest;

// The results of everything that asks for the endpoint anew.
void ExpectAllGone(const Device& device, std::int32_t volume_result, std::int32_t open_result) {
  float volume = 0.125F;
  EXPECT_EQ(ZevraGetVolume(device, &volume), volume_result);
  EXPECT_EQ(volume, 0.125F);
  EXPECT_EQ(Device(u"Zevra Doomed").Result(), open_result);
  // Without a stop in between: what has ended by itself is cleaned up first. The silence may still
  // sleep through the end of its endpoint.
  EXPECT_EQ(device.Start(Recording()), ZEVRA_E_FAIL);
  EXPECT_TRUE(Eventually([&] { return ZevraStartPlay(device) == ZEVRA_E_FAIL; }));
  EXPECT_EQ(ZevraStopCapture(device), 0);
  EXPECT_EQ(ZevraStopPlay(device), 0);
}

TEST_F(RemovedSink, EndsItsStreamsAndNoOthers) {
  const Recording other_recording;
  const Device other;
  ASSERT_EQ(other.Start(other_recording), 0);
  for (const bool stops_first : {true, false}) {
    NullSink sink("zevra_doomed", "Zevra Doomed");
    Recording recording(10'000);
    // The packet in the callback's hands stays good memory.
    recording.on_packet = [&] {
      if (recording.Packets() == 4) sink.Remove();
    };
    const Device device(u"Zevra Doomed");
    ASSERT_EQ(device.Start(recording), 0);
    ASSERT_EQ(ZevraStartPlay(device), 0);
    ASSERT_TRUE(recording.Goes());
    recording.WaitUntilQuiet();
    if (stops_first) {
      EXPECT_EQ(ZevraStopCapture(device), 0);
      EXPECT_EQ(ZevraStopPlay(device), 0);
    }
    ExpectAllGone(device, ZEVRA_E_DEVICE_INVALIDATED, ZEVRA_E_NOT_FOUND);
    EXPECT_TRUE(other_recording.Goes());

    const NullSink again("zevra_doomed", "Zevra Doomed");
    ASSERT_EQ(device.Start(recording), 0);
    EXPECT_TRUE(recording.Goes());
  }
}

// A capture and a silence run while the server stops answering.
void BreakServer(const Device& device, const Recording& recording, int signal) {
  ASSERT_EQ(device.Start(recording), 0);
  ASSERT_EQ(ZevraStartPlay(device), 0);
  ASSERT_TRUE(recording.Goes());
  SignalServer(signal);
  recording.WaitUntilQuiet();
  EXPECT_EQ(ZevraStopCapture(device), 0);
  EXPECT_EQ(ZevraStopPlay(device), 0);
  ZevraDeviceList list{};
  list.count = 1;
  EXPECT_EQ(ZevraGetDeviceList(&list), ZEVRA_E_SERVICE_NOT_RUNNING);
  EXPECT_EQ(list.count, 0U);
  ExpectAllGone(device, ZEVRA_E_SERVICE_NOT_RUNNING, ZEVRA_E_SERVICE_NOT_RUNNING);
}

TEST_F(KilledServer, EndsEverythingAtOnce) { BreakServer(Device(), Recording(), SIGKILL); }

// One that does not answer is given some seconds at each of ten calls.
TEST_F(FrozenServer, HoldsNothingUpForEver) {
  const Recording recording;
  const Device device;
  const auto begin = std::chrono::steady_clock::now();
  BreakServer(device, recording, SIGSTOP);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50));
  SignalServer(SIGCONT);
  EXPECT_EQ(device.Start(recording), 0);
  EXPECT_TRUE(recording.Goes());
}

}  // namespace
}  // namespace zevra::test
