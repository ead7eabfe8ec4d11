#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "pulse/server_host.h"
#include "support/eventually.h"
#include "support/linux/sound_server.h"
#include "support/process_holdings.h"

namespace zevra::test {
namespace {

using std::chrono::milliseconds;

using FrozenServer = ServerTest;
using KilledServer = ServerTest;
using RemovedSink = ServerTest;
using Rounds = ServerTest;
using Streams = ServerTest;
using Suspension = ServerTest;

TEST_F(Rounds, LeaveNothingBehind) {
  // PipeWire takes some 30 ms for a round, PulseAudio 4.
  const int rounds = Shell("pactl info | grep PipeWire || true").empty() ? 1000 : 100;
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

std::atomic<int> silent_packets{0}, sounding_packets{0}, misleading_flags{0};

void CheckFlag(void*, std::uint32_t silent, const std::uint8_t* data, std::uint32_t length) {
  const std::span samples(reinterpret_cast<const float*>(data), length / sizeof(float));
  const auto zeros = std::count(samples.begin(), samples.end(), 0.0F);
  misleading_flags += (silent != 0) != (zeros == std::ssize(samples));
  ++(silent != 0 ? silent_packets : sounding_packets);
}

TEST_F(Streams, PacketsOfZerosAreFlaggedSilent) {
  std::vector<float> samples(std::size_t{2} * 48'000);
  samples[1] = -0.0F;
  samples[48'001] = 1e-9F;
  const Player player("zevra_speakers", samples, Player::kOverAndOver);
  const Device device;
  const ZevraAudioFormat format = MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 48'000, 2);
  ASSERT_EQ(ZevraStartCapture(device, &format, CheckFlag, nullptr), 0);
  EXPECT_TRUE(Eventually([] { return sounding_packets >= 2 && silent_packets >= 50; }));
  EXPECT_EQ(ZevraStopCapture(device), 0);
  EXPECT_EQ(misleading_flags, 0);
}

TEST_F(Streams, AChildOfForkClosesOnlyItsOwnCopy) {
  const Recording recording;
  const Device device;
  ASSERT_EQ(device.Start(recording), 0);
  ASSERT_EQ(ZevraStartPlay(device), 0);
  const pid_t child = fork();
  if (child == 0) _exit(ZevraCloseDevice(device));
  int status = -1;
  if (!Eventually([&] { return waitpid(child, &status, WNOHANG) == child; })) kill(child, SIGKILL);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(recording.Goes());
  EXPECT_EQ(ZevraStartPlay(device), ZEVRA_E_NOT_STOPPED);
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
    // Longer than the server lets a sink idle, and than what is queued at first lasts.
    for (int pause = 0; pause < 5; ++pause) {
      std::this_thread::sleep_for(milliseconds(400));
      // PipeWire always says 0.
      for (const std::string& queued :
           Shell("pactl list sink-inputs | sed -n 's/.*Buffer Latency: \\(.*\\) usec/\\1/p'"))
        if (queued != "0") EXPECT_NEAR(std::stoi(queued), 750'000, 350'000);
    }
    EXPECT_FALSE(asleep());
    EXPECT_EQ(ZevraStopPlay(device), 0);
    EXPECT_TRUE(Eventually(asleep));
  }
}

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
  ExpectAllGone(device, ZEVRA_E_DEVICE_INVALIDATED, ZEVRA_E_NOT_FOUND);
  EXPECT_TRUE(other_recording.Goes());

  const NullSink again("zevra_doomed", "Zevra Doomed");
  ASSERT_EQ(device.Start(recording), 0);
  EXPECT_TRUE(recording.Goes());
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
  EXPECT_EQ(ZevraGetDeviceList(&list), ZEVRA_E_SERVICE_NOT_RUNNING);
  ExpectAllGone(device, ZEVRA_E_SERVICE_NOT_RUNNING, ZEVRA_E_SERVICE_NOT_RUNNING);
}

TEST_F(KilledServer, EndsEverythingAtOnce) { BreakServer(Device(), Recording(), SIGKILL); }

// The timer of the capture alone would take packets five times a second.
TEST_F(FrozenServer, DataWakeACaptureAndNothingElseDoes) {
  std::vector<std::chrono::steady_clock::time_point> times;
  Recording recording;
  recording.on_packet = [&] { times.push_back(std::chrono::steady_clock::now()); };
  const Device device;
  ASSERT_EQ(device.Start(recording), 0);
  ASSERT_TRUE(recording.Goes(100));
  SignalServer(SIGSTOP);
  recording.WaitUntilQuiet();
  const std::clock_t used = std::clock();
  std::this_thread::sleep_for(std::chrono::seconds(5));
  EXPECT_LT(std::clock() - used, CLOCKS_PER_SEC / 10);
  SignalServer(SIGCONT);
  ASSERT_TRUE(recording.Goes());
  EXPECT_EQ(ZevraStopCapture(device), 0);
  // The last packets before the freeze; a server begins with what it has kept.
  EXPECT_LT(std::count_if(&times[20], &times[100],
                          [](const auto& time) { return time - *(&time - 1) > milliseconds(50); }),
            5);
}

// One that does not answer is given some seconds at each of ten calls.
TEST_F(FrozenServer, HoldsNothingUpForEver) {
  const Recording recording;
  const Device device;
  const auto begin = std::chrono::steady_clock::now();
  BreakServer(device, recording, SIGSTOP);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50));
  const unsigned packets = recording.Packets();
  SignalServer(SIGCONT);
  // PipeWire may fall over the clients that gave up on it, and is started again then; a capture
  // that runs is not.
  EXPECT_TRUE(Eventually([&] {
    device.Start(recording);
    return recording.Packets() >= packets + 3;
  }));
}

}  // namespace
}  // namespace zevra::test
