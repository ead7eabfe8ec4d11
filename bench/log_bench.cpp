// What a log message costs, next to spdlog in the same run: stopped at the gate, and written to the
// file with and without a flush of each line, from one thread to eight.

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "bench/medians.h"
#include "bench/rows.h"
#include "log/log.h"

namespace {

namespace fs = std::filesystem;

constexpr int kMostThreads = 8;

const fs::path kDirectory = fs::temp_directory_path() / "zevra_log_bench";

// Loggers last for the whole run: their files grow, as a log does, and nothing is reopened.
zevra::Process_Logger& ZevraLogger(const std::string& name, bool flush, std::uint32_t level) {
  static std::map<std::string, std::unique_ptr<zevra::Process_Logger>> loggers;
  std::unique_ptr<zevra::Process_Logger>& logger = loggers[name];
  if (logger == nullptr) {
    zevra::Log_Settings settings;
    settings.values.file = (kDirectory / name).string();
    settings.values.flush = flush;
    settings.values.level = level;
    settings.values.maxsize = std::uint64_t{1} << 40;
    logger = std::make_unique<zevra::Process_Logger>();
    logger->open(&settings, nullptr, 0);
  }
  return *logger;
}

spdlog::logger& Peer(const std::string& name, bool flush) {
  static std::map<std::string, std::shared_ptr<spdlog::logger>> loggers;
  std::shared_ptr<spdlog::logger>& logger = loggers[name];
  if (logger == nullptr) {
    logger = std::make_shared<spdlog::logger>(
        name,
        std::make_shared<spdlog::sinks::basic_file_sink_mt>((kDirectory / name).string(), true));
    logger->flush_on(flush ? spdlog::level::trace : spdlog::level::off);
  }
  return *logger;
}

void GateWithoutLogger(benchmark::State& state) {
  zevra::process_logger = nullptr;
  for ([[maybe_unused]] auto _ : state) {
    ZEVRA_LOG_TRACE("%s | enter.", "::ZevraGetVolume");
    benchmark::ClobberMemory();
  }
}
BENCHMARK(GateWithoutLogger);

void GateLevelOff(benchmark::State& state) {
  zevra::process_logger = &ZevraLogger("off.log", false, 7);
  for ([[maybe_unused]] auto _ : state) {
    ZEVRA_LOG_TRACE("%s | enter.", "::ZevraGetVolume");
    benchmark::ClobberMemory();
  }
}
BENCHMARK(GateLevelOff);

void SpdlogLevelOff(benchmark::State& state) {
  spdlog::logger& logger = Peer("spdlog_off.log", false);
  logger.set_level(spdlog::level::info);
  for ([[maybe_unused]] auto _ : state) {
    logger.trace("{} | enter.", "::ZevraGetVolume");
    benchmark::ClobberMemory();
  }
}
BENCHMARK(SpdlogLevelOff);

void WriteZevra(benchmark::State& state, bool flush) {
  if (state.thread_index() == 0)
    zevra::process_logger = &ZevraLogger(flush ? "flush.log" : "plain.log", flush, 0xFF);
  unsigned value = 0;
  for ([[maybe_unused]] auto _ : state)
    ZEVRA_LOG_VERBOSE("ZevraImpl::LoopBackCapture | error | GetDevicePeriod %x", value++);
}

void WriteSpdlog(benchmark::State& state, bool flush) {
  static spdlog::logger* logger = nullptr;
  if (state.thread_index() == 0)
    logger = &Peer(flush ? "spdlog_flush.log" : "spdlog_plain.log", flush);
  unsigned value = 0;
  for ([[maybe_unused]] auto _ : state)
    logger->info("ZevraImpl::LoopBackCapture | error | GetDevicePeriod {:x}", value++);
}

BENCHMARK_CAPTURE(WriteZevra, plain, false)->UseRealTime()->ThreadRange(1, kMostThreads);
BENCHMARK_CAPTURE(WriteZevra, flush, true)->UseRealTime()->ThreadRange(1, kMostThreads);
BENCHMARK_CAPTURE(WriteSpdlog, plain, false)->UseRealTime()->ThreadRange(1, kMostThreads);
BENCHMARK_CAPTURE(WriteSpdlog, flush, true)->UseRealTime()->ThreadRange(1, kMostThreads);

void PrintRatio(const zevra::bench::Medians& medians, const char* what, const char* ours,
                const char* peer, const char* goal) {
  const double own = medians.Of(ours).real;
  const double other = medians.Of(peer).real;
  if (own > 0 && other > 0) {
    std::printf("%-44s %9.2f ns / %8.2f ns = %5.2f   (goal: %s)\n", what, own, other, own / other,
                goal);
  }
}

}  // namespace

int main(int argc, char** argv) {
  fs::create_directories(kDirectory);
  const zevra::bench::Medians medians = zevra::bench::RunForMedians(argc, argv);

  PrintRatio(medians, "stopped, no logger", "GateWithoutLogger", "SpdlogLevelOff", "1 ns at most");
  PrintRatio(medians, "stopped, level off", "GateLevelOff", "SpdlogLevelOff", "1 ns at most");
  // The peer flushes each line in all four.
  PrintRatio(medians, "flushed line, one thread", "WriteZevra/flush/real_time/threads:1",
             "WriteSpdlog/flush/real_time/threads:1", "1.3 at most");
  PrintRatio(medians, "unflushed line, one thread", "WriteZevra/plain/real_time/threads:1",
             "WriteSpdlog/flush/real_time/threads:1", "below 1");
  PrintRatio(medians, "flushed line, four threads", "WriteZevra/flush/real_time/threads:4",
             "WriteSpdlog/flush/real_time/threads:4", "1.3 at most");
  PrintRatio(medians, "unflushed line, four threads", "WriteZevra/plain/real_time/threads:4",
             "WriteSpdlog/flush/real_time/threads:4", "below 1");
  for (int threads = 1; threads <= kMostThreads; threads *= 2) {
    for (const std::string way :
         {"WriteZevra/plain", "WriteZevra/flush", "WriteSpdlog/plain", "WriteSpdlog/flush"})
      zevra::bench::WriteRow(
          way, threads, medians.Of(way + "/real_time/threads:" + std::to_string(threads)).real);
  }
  zevra::process_logger = nullptr;
  fs::remove_all(kDirectory);
  return 0;
}
