#ifndef ZEVRA_BENCH_MEDIANS_H
#define ZEVRA_BENCH_MEDIANS_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace zevra::bench {

// Prints the medians and keeps them for the ratios below the table.
class Medians : public benchmark::ConsoleReporter {
 public:
  struct Nanoseconds {
    double real = 0;
    double cpu = 0;
  };

  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<Run> shown;
    for (const Run& run : runs) {
      if (run.aggregate_name == "median") {
        medians_[run.run_name.str()] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
        shown.push_back(run);
      } else if (run.error_occurred) {
        shown.push_back(run);
      }
    }
    if (!shown.empty()) ConsoleReporter::ReportRuns(shown);
  }
  // Zeros for a benchmark that did not run.
  Nanoseconds Of(const std::string& name) const {
    const auto found = medians_.find(name);
    return found == medians_.end() ? Nanoseconds{} : found->second;
  }

 private:
  std::map<std::string, Nanoseconds> medians_;
};

// Runs what the command line chooses, each benchmark several times and in turns with the others, so
// that a machine which grows slower meanwhile does so for all of them.
inline Medians RunForMedians(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  char repetitions[] = "--benchmark_repetitions=7";
  char interleaving[] = "--benchmark_enable_random_interleaving=true";
  char aggregates[] = "--benchmark_report_aggregates_only=true";
  char time[] = "--benchmark_min_time=0.1";
  arguments.insert(arguments.begin() + 1, {repetitions, interleaving, aggregates, time});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  Medians medians;
  benchmark::RunSpecifiedBenchmarks(&medians);
  return medians;
}

}  // namespace zevra::bench

#endif
