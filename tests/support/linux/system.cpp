#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>

#include <cstdlib>

#include "support/system.h"

namespace zevra::test {

namespace fs = std::filesystem;

fs::path MakeTemporaryFolder() {
  std::string name = (fs::temp_directory_path() / "zevra_XXXXXX").string();
  return ::mkdtemp(name.data());
}

void UseUtc() { ::setenv("TZ", "UTC", 1); }  // NOLINT(concurrency-mt-unsafe): before any thread

void SetModifiedTime(const fs::path& path, std::int64_t seconds) {
  const timespec times[2] = {{0, 0}, {seconds, 0}};
  ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

std::string FromTextMode(const std::string& bytes) { return bytes; }

std::size_t TextModeBytes(const std::string& text) { return text.size(); }

bool NarrowTextIsUtf8() { return true; }

bool MakeFolderLink(const fs::path& folder, const fs::path& link) {
  fs::create_directory_symlink(folder, link);
  return true;
}

Library::Library() : handle_(::dlopen("libm.so.6", RTLD_NOW)) {}

Library::~Library() { ::dlclose(handle_); }

std::string Library::Path() const {
  const link_map* map = nullptr;
  return ::dlinfo(handle_, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "";
}

std::string ProgramPath() { return fs::read_symlink("/proc/self/exe").string(); }

}  // namespace zevra::test
