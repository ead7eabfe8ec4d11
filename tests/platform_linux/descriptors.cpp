#include "descriptors.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>

namespace zevra::test {

namespace fs = std::filesystem;

std::vector<int> OpenDescriptors() {
  std::vector<int> found;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    found.push_back(std::stoi(entry.path().filename()));
  }
  // The one that the listing itself held is gone again.
  std::erase_if(found, [](int descriptor) {
    return !fs::exists(fs::symlink_status("/proc/self/fd/" + std::to_string(descriptor)));
  });
  std::sort(found.begin(), found.end());
  return found;
}

std::size_t ThreadCount() {
  const fs::directory_iterator tasks("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

}  // namespace zevra::test
