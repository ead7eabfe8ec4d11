#include "tools/zevra/library_copies.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>

namespace zevra::command {
namespace {

constexpr std::string_view kName = "libzevra.so.1";

// The loader's list of what is installed; it is asked for, since no interface of the system gives
// it.
std::vector<std::string> ReadLoaderCache() {
  struct Close {
    void operator()(std::FILE* pipe) const { pclose(pipe); }
  };
  const std::unique_ptr<std::FILE, Close> pipe(popen("/sbin/ldconfig -p 2>/dev/null", "re"));
  std::vector<std::string> files;
  std::array<char, 4096> buffer{};
  while (pipe && std::fgets(buffer.data(), buffer.size(), pipe.get()) != nullptr) {
    const std::string_view line(buffer.data());
    const std::size_t arrow = line.find(" => ");
    // "<tab>libzevra.so.1 (libc6,x86-64) => /usr/lib/x86_64-linux-gnu/libzevra.so.1"
    const std::size_t name = line.find_first_not_of(" \t");
    if (arrow == std::string_view::npos || line.substr(name, kName.size() + 1) != "libzevra.so.1 ")
      continue;
    files.emplace_back(line.substr(arrow + 4, line.find('\n') - arrow - 4));
  }
  return files;
}

// The folders of LD_LIBRARY_PATH, an empty one for the current folder.
std::vector<std::string> FoldersOfEnvironment() {
  const char* const path = std::getenv("LD_LIBRARY_PATH");  // NOLINT(concurrency-mt-unsafe)
  std::vector<std::string> folders;
  if (path == nullptr || *path == '\0') return folders;
  std::string_view rest(path);
  for (;;) {
    const std::size_t end = std::min(rest.find_first_of(":;"), rest.size());
    folders.emplace_back(end == 0 ? "." : rest.substr(0, end));
    if (end == rest.size()) return folders;
    rest.remove_prefix(end + 1);
  }
}

}  // namespace

std::vector<std::string> FindLibraryCopies() {
  namespace fs = std::filesystem;
  std::vector<fs::path> candidates;
  for (const std::string& folder : FoldersOfEnvironment())
    candidates.push_back(fs::path(folder) / kName);
  for (const std::string& file : ReadLoaderCache()) candidates.emplace_back(file);
  for (const char* const folder : {"/lib", "/usr/lib"})
    candidates.push_back(fs::path(folder) / kName);
  std::vector<std::string> files;
  for (const fs::path& candidate : candidates) {
    std::error_code error;
    const std::string file = fs::canonical(candidate, error).string();
    if (!error && std::find(files.begin(), files.end(), file) == files.end()) files.push_back(file);
  }
  return files;
}

}  // namespace zevra::command
