// How long after it is played a sound arrives: impulses go into the default sink, and both a host
// of the library and the server's own recorder, asked for the same latency, listen to its monitor.
// What is printed is the lead of the recorder, in milliseconds, and how evenly the callbacks come.
// Needs a server (scripts/bench starts one of each kind).

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <span>
#include <thread>
#include <vector>

#include "bench/rows.h"
#include "zevra/zevra.h"

namespace {

constexpr unsigned kRate = 48'000;
constexpr std::size_t kImpulses = 100;
// A prime number of milliseconds, so that impulses fall on every phase of a fragment of 20 ms.
constexpr unsigned kPeriodMs = 233;
constexpr std::chrono::seconds kSettle{2};

constexpr double kMostMedianBehindMs = 1;
constexpr double kMostCentileBehindMs = 3;
constexpr double kTogetherMs = 3;
constexpr double kMostSpreadMs = 1;
constexpr double kMostWakeUps = 60;

double NowMs() {
  return std::chrono::duration<double, std::milli>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// What reached one listener, by time of arrival. One thread until that has ended.
struct Arrivals {
  std::vector<double> packets_ms{};
  std::vector<double> impulses_ms{};
  long first_switches = -1;  // of the thread, each a time that it slept
  long last_switches = 0;

  void Take(std::span<const float> samples) {
    packets_ms.push_back(NowMs());
    if (std::any_of(samples.begin(), samples.end(), [](float sample) { return sample > 0.25F; }))
      impulses_ms.push_back(packets_ms.back());
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    if (first_switches < 0) first_switches = usage.ru_nvcsw;
    last_switches = usage.ru_nvcsw;
  }
};

Arrivals host;
Arrivals recorder;
std::atomic<bool> listening{false};

void OnAudio(void*, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  if (listening) host.Take({reinterpret_cast<const float*>(data), length / sizeof(float)});
}

// Ends with the pipe.
void Play(std::FILE* pipe, const std::atomic<bool>& done) {
  std::vector<float> period(std::size_t{kRate} * kPeriodMs / 1000 * 2);
  period[0] = period[1] = 0.5F;
  while (!done) std::fwrite(period.data(), sizeof(float), period.size(), pipe);
}

void Record(std::FILE* pipe, const std::atomic<bool>& done) {
  std::vector<float> samples(std::size_t{kRate} * 2);
  while (!done) {
    const ssize_t bytes = read(fileno(pipe), samples.data(), samples.size() * sizeof(float));
    if (bytes <= 0) return;
    if (listening) recorder.Take({samples.data(), static_cast<std::size_t>(bytes) / sizeof(float)});
  }
}

double Centile(std::vector<double> values, int centile) {
  std::sort(values.begin(), values.end());
  return values.at((values.size() - 1) * static_cast<std::size_t>(centile) / 100);
}

// By how much each impulse came later than in an even row that begins with `first_ms`.
std::vector<double> Lateness(const Arrivals& arrivals, double first_ms) {
  std::vector<double> late;
  for (const double arrival : arrivals.impulses_ms)
    late.push_back(std::remainder(arrival - first_ms, kPeriodMs));
  return late;
}

// A server cuts a fragment where two blocks of its player meet: packets that come together are one
// arrival.
std::vector<double> Gaps(const Arrivals& arrivals) {
  std::vector<double> gaps;
  double begin_ms = arrivals.packets_ms.front();
  for (const double packet_ms : arrivals.packets_ms) {
    if (packet_ms - begin_ms < kTogetherMs) continue;
    gaps.push_back(packet_ms - begin_ms);
    begin_ms = packet_ms;
  }
  return gaps;
}

void PrintRow(const char* what, double value, const char* bound, bool good) {
  std::printf("%-44s %8.2f   (bound: %s)   %s\n", what, value, bound, good ? "ok" : "BOUND MISSED");
}

void Print() {
  const std::vector<double> own = Lateness(host, recorder.impulses_ms.front());
  const std::vector<double> peer = Lateness(recorder, recorder.impulses_ms.front());
  std::printf("%zu impulses, all times in ms\n", own.size());
  for (int centile = 0; centile <= 100; ++centile) {
    zevra::bench::WriteRow("zevra", Centile(own, centile) - Centile(peer, 50), centile);
    zevra::bench::WriteRow("parec", Centile(peer, centile) - Centile(peer, 50), centile);
  }
  const double median = Centile(own, 50) - Centile(peer, 50);
  const double centile = Centile(own, 95) - Centile(peer, 95);
  PrintRow("arrival behind parec, medians", median, "1", median <= kMostMedianBehindMs);
  PrintRow("arrival behind parec, 95th centiles", centile, "3", centile <= kMostCentileBehindMs);

  double spreads[2] = {};
  for (const Arrivals* const listener : {&host, &recorder}) {
    const std::vector<double> gaps = Gaps(*listener);
    spreads[listener == &recorder] = Centile(gaps, 95) - Centile(gaps, 5);
    std::printf("%-44s %8.2f   5th centile %.2f, 95th %.2f, longest %.2f\n",
                listener == &host ? "gap between arrivals, median" : "the same of parec",
                Centile(gaps, 50), Centile(gaps, 5), Centile(gaps, 95), Centile(gaps, 100));
  }
  const double more = spreads[0] - spreads[1];
  PrintRow("spread of the gaps more than parec's", more, "1", more <= kMostSpreadMs);

  const double seconds = (host.packets_ms.back() - host.packets_ms.front()) / 1000;
  const double wake_ups = static_cast<double>(host.last_switches - host.first_switches) / seconds;
  PrintRow("wake-ups of the capture thread a second", wake_ups, "60", wake_ups <= kMostWakeUps);
}

// False if one of the listeners hears nothing.
bool Measure() {
  std::FILE* const player = popen(
      "exec pacat --raw --format=float32le --rate=48000 --channels=2 --latency-msec=1000"
      " --process-time-msec=100",
      "w");
  std::FILE* const parec = popen(
      "exec parec --raw --format=float32le --rate=48000 --channels=2 --latency-msec=20"
      " -d \"$(pactl get-default-sink).monitor\"",
      "r");
  const ZevraAudioFormat format = {ZEVRA_SAMPLE_FLOAT, 2, 32, kRate, 0, 32, 0};
  ZevraHandle device = nullptr;
  if (player == nullptr || parec == nullptr || ZevraInitialize() < 0 ||
      ZevraOpenDevice(&device, nullptr, ZEVRA_FLOW_RENDER) < 0 ||
      ZevraStartCapture(device, &format, OnAudio, nullptr) != ZEVRA_OK)
    return false;
  std::atomic<bool> done{false};
  std::thread playing([&] { Play(player, done); });
  std::thread recording([&] { Record(parec, done); });
  std::this_thread::sleep_for(kSettle);
  listening = true;
  std::this_thread::sleep_for(std::chrono::milliseconds(kPeriodMs) * kImpulses);
  listening = false;
  ZevraStopCapture(device);
  ZevraCloseDevice(device);
  ZevraUninitialize();
  done = true;
  playing.join();
  recording.join();
  pclose(player);
  pclose(parec);
  return host.impulses_ms.size() > kImpulses / 2 && recorder.impulses_ms.size() > kImpulses / 2;
}

}  // namespace

int main() {
  if (!Measure()) {
    std::fputs("latency: no sound server, or it delivers nothing\n", stderr);
    return 1;
  }
  Print();
  return 0;
}
