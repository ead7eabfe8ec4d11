// What many captures at once cost: processor time of the whole process for a stream and a second of
// sound, and whether every frame came. The endpoints are the built-in ones, so nothing but the
// library itself is measured; it runs in real time.

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <thread>
#include <vector>

#include "bench/rows.h"
#include "tests/support/builtin_endpoints.h"
#include "zevra/zevra.h"

namespace {

constexpr std::size_t kMostStreams = 64;
constexpr std::chrono::seconds kListening{5};
constexpr std::uint32_t kRate = 48000;
// 10 ms that the stop cuts off, and what the converter holds back.
constexpr std::uint64_t kFramesInFlight = 2 * kRate / 100;

constexpr double kMostTimesOne = 1.2;

// Processor time of a stream for a second of sound, in milliseconds, by the number of streams.
std::map<std::size_t, double> ms_by_streams;
std::uint64_t lost = 0;

// What one capture thread has seen of a ramp that counts up by one each frame.
struct alignas(64) Heard {
  std::uint64_t frames = 0;
  std::uint64_t breaks = 0;
  std::int16_t next = 0;
};

std::array<Heard, kMostStreams> heard;
std::atomic<std::size_t> streams_heard{0};

// A callback is given nothing of the host's; each capture thread finds its place by itself.
void OnAudio(void* /*reserved*/, std::uint32_t /*silent*/, const std::uint8_t* data,
             std::uint32_t length) {
  thread_local Heard& mine = heard.at(streams_heard.fetch_add(1));
  for (std::uint32_t at = 0; at < length; at += sizeof(std::int16_t)) {
    std::int16_t sample = 0;
    std::memcpy(&sample, data + at, sizeof(sample));
    if (mine.frames > 0 && sample != mine.next) ++mine.breaks;
    mine.next = static_cast<std::int16_t>(sample + 1);
    ++mine.frames;
  }
}

double ProcessorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

std::vector<zevra::builtin::EndpointConfig> Ramp() {
  zevra::builtin::EndpointConfig endpoint;
  endpoint.name = u"ramp";
  endpoint.rate = kRate;
  endpoint.channels = 1;
  endpoint.channel_mask = SPEAKER_FRONT_CENTER;
  endpoint.signal = zevra::test::Ramp();
  return {endpoint};
}

void Captures(benchmark::State& state) {
  const auto streams = static_cast<std::size_t>(state.range(0));
  const zevra::builtin::BuiltinAudio audio(Ramp());
  const auto registration = zevra::test::RegisterEndpoints(audio);
  ZevraInitialize();
  ZevraAudioFormat format{};
  format.channels = 1;
  format.bits_per_sample = 16;
  format.valid_bits_per_sample = 16;
  format.samples_per_second = kRate;

  for ([[maybe_unused]] auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    heard = {};
    streams_heard = 0;
    std::vector<ZevraHandle> handles(streams);
    for (ZevraHandle& handle : handles) {
      ZevraOpenDevice(&handle, nullptr, ZEVRA_FLOW_RENDER);
      if (ZevraStartCapture(handle, &format, OnAudio, nullptr) != ZEVRA_OK)
        state.SkipWithError("a capture does not start");
    }
    const double before = ProcessorSeconds();
    std::this_thread::sleep_for(kListening);
    const double used = ProcessorSeconds() - before;
    for (const ZevraHandle handle : handles) {
      ZevraStopCapture(handle);
      ZevraCloseDevice(handle);
    }
    std::uint64_t breaks = 0;
    std::uint64_t short_streams = 0;
    for (std::size_t i = 0; i < streams; ++i) {
      breaks += heard.at(i).breaks;
      const auto expected = static_cast<std::uint64_t>(kListening.count()) * kRate;
      if (heard.at(i).frames + kFramesInFlight < expected) ++short_streams;
    }
    const double stream_seconds = static_cast<double>(streams) * kListening.count();
    ms_by_streams[streams] = used * 1000 / stream_seconds;
    zevra::bench::WriteRow("zevra", static_cast<double>(streams), ms_by_streams[streams]);
    lost += breaks + short_streams;
    state.counters["ms_per_stream_second"] = ms_by_streams[streams];
    state.counters["breaks"] = static_cast<double>(breaks);
    state.counters["short_streams"] = static_cast<double>(short_streams);
  }
  ZevraUninitialize();
}
BENCHMARK(Captures)->Arg(1)->Arg(2)->Arg(4)->Arg(8)->Arg(16)->Arg(32)->Arg(64)->Iterations(1)->Unit(
    benchmark::kSecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  if (!ms_by_streams.contains(1) || !ms_by_streams.contains(kMostStreams)) return 0;
  const double ratio = ms_by_streams[kMostStreams] / ms_by_streams[1];
  std::printf("a stream of %zu next to one alone: %.2f times   (bound: %.1f at most)   %s\n",
              kMostStreams, ratio, kMostTimesOne, ratio <= kMostTimesOne ? "ok" : "BOUND MISSED");
  std::printf("streams cut short and breaks in their sound: %llu   (bound: 0)   %s\n",
              static_cast<unsigned long long>(lost), lost == 0 ? "ok" : "BOUND MISSED");
  return 0;
}
