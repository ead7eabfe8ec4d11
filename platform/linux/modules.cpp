#include "platform/modules.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace zevra {
namespace {

std::size_t Deliver(const std::string& path, char* buffer, std::size_t size) {
  if (size == 0) return 0;
  const bool fits = path.size() < size;
  std::memcpy(buffer, path.c_str(), fits ? path.size() + 1 : 1);
  if (!fits) buffer[0] = '\0';
  return fits ? path.size() : 0;
}

std::string ExecutablePath() {
  std::string path(4096, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return path;
}

// The loader keeps a library's name as it was asked for, which may be relative to a directory that
// the process has left since; the kernel's table always has the whole path.
std::string MappedPath(const void* address) {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream table("/proc/self/maps");
  std::string line;
  while (std::getline(table, line)) {
    unsigned long from = 0;
    unsigned long to = 0;
    if (std::sscanf(line.c_str(), "%lx-%lx", &from, &to) == 2 && wanted >= from && wanted < to) {
      const std::size_t path = line.find('/');
      return path == std::string::npos ? std::string() : line.substr(path);
    }
  }
  return {};
}

std::string PathAt(const void* address) {
  Dl_info info{};
  if (::dladdr(address, &info) != 0 && info.dli_fname != nullptr && info.dli_fname[0] == '/')
    return info.dli_fname;
  return MappedPath(address);
}

std::string PathOfModule(ModuleHandle module) {
  if (module == kExecutable) return ExecutablePath();
  if (module == kThisLibrary) return PathAt(reinterpret_cast<const void*>(&PathOfModule));
  const link_map* map = nullptr;
  if (::dlinfo(reinterpret_cast<void*>(module), RTLD_DI_LINKMAP, &map) != 0 || map == nullptr)
    return {};
  return map->l_name[0] == '\0' ? ExecutablePath() : PathAt(map->l_ld);
}

}  // namespace

std::size_t ModulePath(ModuleHandle module, char* buffer, std::size_t size) {
  return Deliver(PathOfModule(module), buffer, size);
}

std::size_t ModulePathOfAddress(const void* address, char* buffer, std::size_t size) {
  return Deliver(PathAt(address), buffer, size);
}

void KeepThisLibrary() {}

std::string FileVersionText(const char*) { return {}; }

}  // namespace zevra
