#ifndef ZEVRA_BENCH_ROWS_H
#define ZEVRA_BENCH_ROWS_H

#include <cstdlib>
#include <fstream>
#include <string>

namespace zevra::bench {

// Points of the plots of scripts/bench --report, which sets ZEVRA_BENCH_ROWS to the file that they
// go to: series, x and y, with tabs between them. One thread.

inline const char* RowsPath() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no benchmark changes its environment
  return std::getenv("ZEVRA_BENCH_ROWS");
}

// For what is measured only to be plotted.
inline bool WantsRows() { return RowsPath() != nullptr; }

// Does nothing where no report is made.
inline void WriteRow(const std::string& series, double x, double y) {
  if (!WantsRows()) return;
  static std::ofstream file(RowsPath());
  file << series << '\t' << x << '\t' << y << '\n';
}

}  // namespace zevra::bench

#endif
