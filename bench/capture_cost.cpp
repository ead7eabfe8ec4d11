// What a capture costs: the processor time of a whole host process that takes what a sink plays, 48
// kHz float stereo, as 16 kHz 16-bit mono, next to the server's own recorder, which takes the
// stream as it is, and to ffmpeg, which converts it. They record from the same server, first all at
// the same time and then one after the other: a server hands sound over as often as the most
// demanding of its clients asks for, so that alone each has a server of its own kind.
//
//   capture_cost          the tables; needs a server (scripts/bench starts one)
//   capture_cost --host   the host that it measures, until it is ended

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "bench/child_process.h"
#include "bench/rows.h"
#include "zevra/zevra.h"

namespace {

using zevra::bench::ChildProcess;

// One for each of the orders that the programs start in.
constexpr int kRounds = 3;
// Enough to be the server's client before the next program is.
constexpr std::chrono::milliseconds kBetweenStarts{300};
constexpr std::chrono::seconds kWarmUp{2};
constexpr std::chrono::seconds kMeasured{8};
// Whole and steady. What the recorder does not pay for: loading libswresample and the libraries
// that it needs, its filter, and a processor that sleeps again when a packet goes back.
constexpr double kMostTimesRecorder = 1.9;
constexpr double kMostTimesFfmpeg = 0.35;

std::atomic<std::uint64_t> bytes_heard{0};

int Host() {
  ZevraHandle device = nullptr;
  ZevraAudioFormat format{};
  format.channels = 1;
  format.bits_per_sample = 16;
  format.valid_bits_per_sample = 16;
  format.samples_per_second = 16'000;
  const auto on_audio = [](void*, std::uint32_t, const std::uint8_t*, std::uint32_t length) {
    bytes_heard += length;
  };
  if (ZevraInitialize() < 0 || ZevraOpenDevice(&device, nullptr, ZEVRA_FLOW_RENDER) < 0 ||
      ZevraStartCapture(device, &format, on_audio, nullptr) != ZEVRA_OK)
    return 1;
  // A host that hears nothing must not pass for a cheap one.
  for (std::uint64_t heard = 0;; heard = bytes_heard) {
    std::this_thread::sleep_for(kWarmUp / 2);
    if (bytes_heard == heard) return 1;
  }
}

struct Program {
  const char* what;
  std::vector<std::string> command;
  // Times this program's cost that the host may have, from the first moment and steady; 0 for none.
  double whole_bound;
  double steady_bound;
  // Processor time in milliseconds for a second, round by round: of the process from its first
  // moment on, and of a time when it has long been running.
  std::vector<double> whole{};
  std::vector<double> steady{};
};

using Clock = std::chrono::steady_clock;

// Starts the programs in their order, and notes what each used. A server serves first who came
// first, and whoever it wakes first also pays for the waking of a processor.
void Measure(const std::vector<Program*>& programs) {
  std::vector<Clock::time_point> begun;
  std::vector<std::unique_ptr<ChildProcess>> children;
  begun.reserve(programs.size());
  children.reserve(programs.size());
  for (const Program* program : programs) {
    begun.push_back(Clock::now());
    children.push_back(std::make_unique<ChildProcess>(program->command));
    std::this_thread::sleep_for(kBetweenStarts);
  }
  std::this_thread::sleep_for(kWarmUp);
  const auto warm = Clock::now();
  std::vector<double> before;
  before.reserve(children.size());
  for (const auto& child : children) before.push_back(child->ProcessorMs());
  std::this_thread::sleep_for(kMeasured);
  const auto end = Clock::now();
  const auto seconds = [end](Clock::time_point since) {
    return std::chrono::duration<double>(end - since).count();
  };
  for (std::size_t i = 0; i < programs.size(); ++i) {
    programs[i]->steady.push_back((children[i]->ProcessorMs() - before[i]) / seconds(warm));
    programs[i]->whole.push_back(children[i]->End() / seconds(begun[i]));
  }
}

double Mean(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

void PrintTimes(double times, double bound) {
  std::printf(" %7.2fx", times);
  if (bound > 0)
    std::printf(" (bound: %.2fx) %s", bound, times <= bound ? "ok          " : "BOUND MISSED");
}

void Print(const char* title, const std::vector<Program>& programs, bool has_bounds) {
  const Program& own = programs.front();
  std::printf("%s; processor time in ms a second, and zevra's to it; means of %zu times %d s\n",
              title, own.whole.size(), static_cast<int>((kWarmUp + kMeasured).count()));
  for (const Program& program : programs) {
    const double whole = Mean(program.whole);
    const double steady = Mean(program.steady);
    const auto place = static_cast<double>(&program - programs.data());
    zevra::bench::WriteRow(std::string(title) + ", whole process", place, whole);
    zevra::bench::WriteRow(std::string(title) + ", steady", place, steady);
    std::printf("%-24s whole process %6.2f", program.what, whole);
    PrintTimes(Mean(own.whole) / whole, has_bounds ? program.whole_bound : 0);
    std::printf("   steady %6.2f", steady);
    PrintTimes(Mean(own.steady) / steady, has_bounds ? program.steady_bound : 0);
    std::printf("\n");
  }
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--host") == 0) return Host();
  const std::string monitor = "@DEFAULT_MONITOR@";
  const std::vector<Program> programs = {
      {"zevra, 16 kHz mono s16", {argv[0], "--host"}, 0, 0},
      {"parec, as it is",
       {"parec", "--raw", "-d", monitor, "--format=float32le", "--rate=48000", "--channels=2"},
       kMostTimesRecorder,
       kMostTimesRecorder},
      {"ffmpeg, 16 kHz mono s16",
       {"ffmpeg", "-nostdin", "-loglevel", "error", "-f", "pulse", "-i", monitor, "-ac", "1", "-ar",
        "16000", "-f", "s16le", "-y", "/dev/null"},
       kMostTimesFfmpeg,
       0},
  };
  // Something to hear.
  const ChildProcess noise({"pacat", "--playback", "--raw", "--format=s16le", "--rate=48000",
                            "--channels=2", "--volume=3000", "/dev/urandom"});
  std::vector<Program> together = programs;
  std::vector<Program> alone = programs;
  std::vector<Program*> order;
  order.reserve(together.size());
  for (Program& program : together) order.push_back(&program);
  for (int round = 0; round < kRounds; ++round) {
    Measure(order);
    std::rotate(order.begin(), order.begin() + 1, order.end());
    for (Program& program : alone) Measure({&program});
  }
  Print("At the same time", together, true);
  Print("One after the other", alone, false);
  std::puts("Alone parec asks for no latency, so the server hands it seconds of sound at once.");
  return 0;
}
