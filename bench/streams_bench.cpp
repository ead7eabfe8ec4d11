// What a host waits for and pays for besides captured sound: how long a capture's start and stop
// take, what a silent render stream costs, and how long the list of endpoints takes next to the
// server's own tool as a whole process. Needs a server (scripts/bench starts one). Linked with
// libzevra-builtin.so it measures starts and stops alone.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/child_process.h"
#include "zevra/zevra.h"

namespace {

using zevra::bench::ChildProcess;
using zevra::bench::Median;

constexpr int kStreamRounds = 200;
constexpr int kListRounds = 50;
constexpr std::chrono::seconds kSilence{20};
constexpr double kMostSilenceMs = 1.0;
// The median: the stop event ends the wait at once, and the server is asked once to halt the
// stream.
constexpr double kMostStopMs = 2.0;
constexpr int kSinks = 8;
// The beginnings of two endpoints that scripts/sound-server makes.
constexpr int kSinksBefore = 2;

const char* Verdict(bool good) { return good ? "ok" : "BOUND MISSED"; }

double MillisecondsOf(const std::function<void()>& work) {
  const auto begun = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begun)
      .count();
}

bool HasBuiltinEndpoints() {
  ZevraDeviceList list{};
  ZevraGetDeviceList(&list);
  return std::u16string(list.names[0]) == u"Built-in Speakers";
}

bool StartsAndStops(const char* where) {
  ZevraHandle device = nullptr;
  ZevraAudioFormat format{};
  format.channels = 1;
  format.bits_per_sample = 16;
  format.valid_bits_per_sample = 16;
  format.samples_per_second = 16'000;
  std::vector<double> starts;
  std::vector<double> stops;
  bool good = ZevraOpenDevice(&device, nullptr, ZEVRA_FLOW_RENDER) >= 0;
  for (int round = 0; good && round < kStreamRounds; ++round) {
    starts.push_back(MillisecondsOf(
        [&] { good = ZevraStartCapture(device, &format, nullptr, nullptr) == ZEVRA_OK; }));
    // Every phase between two packets.
    std::this_thread::sleep_for(std::chrono::microseconds(10'000 + round * 997 % 20'000));
    stops.push_back(MillisecondsOf([&] { ZevraStopCapture(device); }));
  }
  ZevraCloseDevice(device);
  if (!good) return false;
  const double stop = Median(stops);
  std::printf("%-14s start %7.2f ms (worst %7.2f)   stop %7.2f ms (worst %7.2f)", where,
              Median(starts), *std::max_element(starts.begin(), starts.end()), stop,
              *std::max_element(stops.begin(), stops.end()));
  std::printf("   (bound for a stop: %.0f ms)   %s\n", kMostStopMs, Verdict(stop <= kMostStopMs));
  return true;
}

bool Silence() {
  ZevraHandle device = nullptr;
  if (ZevraOpenDevice(&device, nullptr, ZEVRA_FLOW_RENDER) < 0 ||
      ZevraStartPlay(device) != ZEVRA_OK)
    return false;
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const std::clock_t before = std::clock();
  const double passed_ms = MillisecondsOf([] { std::this_thread::sleep_for(kSilence); });
  const double used_ms = static_cast<double>(std::clock() - before) * 1000 / CLOCKS_PER_SEC;
  ZevraStopPlay(device);
  ZevraCloseDevice(device);
  const double ms_a_second = used_ms * 1000 / passed_ms;
  std::printf("silent render stream: %.3f ms of processor time a second   (bound: %.0f ms)   %s\n",
              ms_a_second, kMostSilenceMs, Verdict(ms_a_second <= kMostSilenceMs));
  return true;
}

bool Lists() {
  for (int sink = kSinksBefore; sink < kSinks; ++sink) {
    ChildProcess(
        {"pactl", "load-module", "module-null-sink", "sink_name=bench_" + std::to_string(sink)})
        .AwaitEnd();
  }
  std::vector<double> own;
  std::vector<double> peer;
  ZevraDeviceList list{};
  for (int round = 0; round < kListRounds; ++round) {
    own.push_back(MillisecondsOf([&list] { ZevraGetDeviceList(&list); }));
    peer.push_back(MillisecondsOf([] {
      ChildProcess({"pactl", "list", "short", "sinks"}).AwaitEnd();
    }));
  }
  if (list.count != ZEVRA_DEVICE_LIST_ROWS) return false;
  std::printf(
      "list of endpoints, %d sinks: %.2f ms, `pactl list short sinks` %.2f ms, %.2f times\n",
      kSinks, Median(own), Median(peer), Median(own) / Median(peer));
  return true;
}

}  // namespace

int main() {
  bool good = ZevraInitialize() >= 0;
  if (HasBuiltinEndpoints())
    good = good && StartsAndStops("built-in");
  else
    good = good && StartsAndStops("sound server") && Silence() && Lists();
  ZevraUninitialize();
  if (!good)
    std::fprintf(stderr, "streams_bench: no sound server, or not the one of the project\n");
  return good ? 0 : 1;
}
