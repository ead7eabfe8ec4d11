#include <windows.h>

#include "bench/processor_time.h"

namespace zevra::bench {
namespace {

// A file time counts steps of 100 ns.
double Milliseconds(const FILETIME& time) {
  return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) / 1e4;
}

}  // namespace

double ProcessorMs() {
  FILETIME created{};
  FILETIME ended{};
  FILETIME in_kernel{};
  FILETIME in_user{};
  ::GetProcessTimes(::GetCurrentProcess(), &created, &ended, &in_kernel, &in_user);
  return Milliseconds(in_kernel) + Milliseconds(in_user);
}

}  // namespace zevra::bench
