#include "platform/linux/pulse/shared_memory.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace zevra {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

// The kernel shows a memory file by the name that its maker gave it.
constexpr std::string_view kPoolName = "/memfd:pulseaudio";

}  // namespace

void KeepSharedMemoryFromChildren() {
  const std::unique_ptr<DIR, CloseDirectory> descriptors(opendir("/proc/self/fd"));
  if (!descriptors) return;
  std::array<char, kPoolName.size()> target{};
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the directory stream is this call's own
  while (const dirent* const entry = readdir(descriptors.get())) {
    const ssize_t size =
        readlinkat(dirfd(descriptors.get()), entry->d_name, target.data(), target.size());
    if (size < 0 || std::string_view(target.data(), static_cast<std::size_t>(size)) != kPoolName)
      continue;
    const int descriptor = std::atoi(entry->d_name);
    const int flags = fcntl(descriptor, F_GETFD);
    if (flags >= 0) fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC);
  }
}

}  // namespace zevra
