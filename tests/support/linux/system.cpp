#include "support/system.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>

namespace zevra::test {

void UseUtc() { ::setenv("TZ", "UTC", 1); }  // NOLINT(concurrency-mt-unsafe): before any thread

Library::Library() : handle_(::dlopen("libm.so.6", RTLD_NOW)) {}

Library::~Library() { ::dlclose(handle_); }

std::string Library::Path() const {
  const link_map* map = nullptr;
  return ::dlinfo(handle_, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "";
}

std::string ProgramPath() { return std::filesystem::read_symlink("/proc/self/exe").string(); }

}  // namespace zevra::test
