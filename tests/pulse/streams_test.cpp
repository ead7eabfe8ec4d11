#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>

#include "pulse/server_host.h"
#include "support/eventually.h"
#include "support/linux/sound_server.h"
#include "support/process_holdings.h"

namespace zevra::test {
namespace {

using Rounds = ServerTest;
using Streams = ServerTest;
using Suspension = ServerTest;

TEST_F(Rounds, LeaveNothingBehind) {
  // PipeWire takes some 30 ms for a round, PulseAudio 4.
  const bool is_slow = !Shell("pactl info | grep PipeWire || true").empty();
  const int rounds = is_slow ? 100 : 1000;
  constexpr int kWarmUp = 20;
  const Recording recording;
  const std::vector<int> open_before = OpenDescriptors();
  std::optional<ProcessHoldings> before;
  for (int round = -kWarmUp; round < rounds; ++round) {
    if (round == 0) before.emplace();
    const Device device;
    ASSERT_EQ(device.Start(recording), 0);
    // The stop of a silence sleeps for up to half a second. The first one belongs to the warm-up.
    if (round % 100 == 0 || round == -kWarmUp) {
      ASSERT_EQ(ZevraStartPlay(device), 0);
      EXPECT_GT(ExpectNewOnesCloseOnExec(open_before), 0U);
    }
    ASSERT_EQ(ZevraStopCapture(device), 0);
  }
  before->ExpectNoMoreNow();
}

// Streams of this process on the server, by the kind that pactl calls them.
std::size_t OwnStreams(const std::string& kind) {
  const std::string process = "application.process.id = \\\"" + std::to_string(getpid()) + "\\\"";
  return std::stoul(Shell("pactl list " + kind + " | grep -c \"" + process + "\" || true").at(0));
}

TEST_F(Streams, ACallbackEndsItsOwnCapture) {
  for (const bool closes : {false, true}) {
    SCOPED_TRACE(closes ? "close" : "stop");
    Recording recording;
    ZevraHandle handle = nullptr;
    ASSERT_EQ(ZevraOpenDevice(&handle, nullptr, ZEVRA_FLOW_RENDER), 0);
    const auto end = closes ? ZevraCloseDevice : ZevraStopCapture;
    std::atomic<int> results{0};
    recording.on_packet = [&] {
      if (recording.Packets() == 4) results += 1 + end(handle);
    };
    const ZevraAudioFormat format = MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 48'000, 2);
    ASSERT_EQ(ZevraStartCapture(handle, &format, recording.Callback(), nullptr), 0);
    EXPECT_TRUE(Eventually([&] { return results == 1; }));
    EXPECT_TRUE(Eventually([] { return OwnStreams("source-outputs") == 0; }));
    const unsigned packets = recording.Packets();
    if (closes) continue;
    EXPECT_EQ(ZevraStopCapture(handle), 0);
    EXPECT_EQ(recording.Packets(), packets);
    ASSERT_EQ(ZevraStartCapture(handle, &format, recording.Callback(), nullptr), 0);
    EXPECT_TRUE(recording.Goes());
    EXPECT_EQ(ZevraCloseDevice(handle), 0);
  }
}

TEST_F(Streams, TwoSilencesStopOneByOne) {
  const Device first;
  const Device second(u"Zevra Surround");
  ASSERT_EQ(ZevraStartPlay(first), 0);
  ASSERT_EQ(ZevraStartPlay(second), 0);
  EXPECT_EQ(OwnStreams("sink-inputs"), 2U);
  EXPECT_EQ(ZevraStopPlay(first), 0);
  EXPECT_EQ(OwnStreams("sink-inputs"), 1U);
  ASSERT_EQ(ZevraStartPlay(first), 0);
  EXPECT_EQ(ZevraStopPlay(second), 0);
  EXPECT_EQ(OwnStreams("sink-inputs"), 1U);
  EXPECT_EQ(ZevraStopPlay(first), 0);
  EXPECT_EQ(OwnStreams("sink-inputs"), 0U);
}

// Every order of the two starts and stops, on several threads that have an object each.
TEST_F(Streams, ThreadsDoNotDisturbEachOther) {
  constexpr std::size_t kThreads = 4;
  std::vector<std::thread> threads;
  for (std::size_t n = 0; n < kThreads; ++n) {
    threads.emplace_back([n] {
      EXPECT_EQ(ZevraInitialize(), 0);
      const Device device(n % 2 == 0 ? u"Zevra Speakers" : u"Zevra Surround");
      const Recording recording;
      const std::map<char, std::function<bool()>> steps = {
          {'C', [&] { return device.Start(recording) == 0 && recording.Goes(); }},
          {'c', [&] { return ZevraStopCapture(device) == 0; }},
          {'P', [&] { return ZevraStartPlay(device) == 0; }},
          {'p', [&] { return ZevraStopPlay(device) == 0; }},
      };
      for (const std::string order : {"CPcp", "CPpc", "CcPp", "PCcp", "PCpc", "PpCc"}) {
        for (const char step : order) {
          EXPECT_TRUE(steps.at(step)()) << order << ": " << step;
          float volume = 0;
          EXPECT_EQ(ZevraGetVolume(device, &volume), 0);
          EXPECT_EQ(volume, 1);
          ZevraDeviceList list{};
          EXPECT_EQ(ZevraGetDeviceList(&list), 0);
          EXPECT_EQ(list.count, 3U);
        }
      }
      ZevraUninitialize();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// On a server that suspends what nobody uses.
TEST_F(Suspension, SilenceKeepsAnEndpointAwakeAndLetsItGo) {
  const auto asleep = [] {
    return Shell("pactl list short sinks | grep zevra_speakers").at(0).ends_with("SUSPENDED");
  };
  const Device device;
  ASSERT_TRUE(Eventually(asleep));
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(ZevraStartPlay(device), 0);
    EXPECT_TRUE(Eventually([&] { return !asleep(); }));
    const Recording recording;
    ASSERT_EQ(device.Start(recording), 0);
    EXPECT_TRUE(recording.Goes(10));
    EXPECT_EQ(ZevraStopCapture(device), 0);
    // Longer than the server lets a sink idle.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_FALSE(asleep());
    EXPECT_EQ(ZevraStopPlay(device), 0);
    EXPECT_TRUE(Eventually(asleep));
  }
}

}  // namespace
}  // namespace zevra::test
