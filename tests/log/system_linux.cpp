#include "log_test.h"

#include <cstdlib>

namespace zevra::test {

void UseUtc() { ::setenv("TZ", "UTC", 1); }  // NOLINT(concurrency-mt-unsafe): before any thread

std::string ProgramPath() { return std::filesystem::read_symlink("/proc/self/exe").string(); }

}  // namespace zevra::test
