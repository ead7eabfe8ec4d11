#ifndef ZEVRA_TESTS_SUPPORT_PROCESS_HOLDINGS_H
#define ZEVRA_TESTS_SUPPORT_PROCESS_HOLDINGS_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <vector>

#include "support/eventually.h"

// What this process holds of the system, on Linux.

namespace zevra::test {

// Lowest first.
inline std::vector<int> OpenDescriptors() {
  std::vector<int> open;
  for (int descriptor = 0; descriptor < 1024; ++descriptor)
    if (fcntl(descriptor, F_GETFD) >= 0) open.push_back(descriptor);
  return open;
}

// Fails the test if a child would inherit a descriptor that was opened since `before`. Gives how
// many there are.
inline std::size_t ExpectNewOnesCloseOnExec(const std::vector<int>& before) {
  std::size_t opened = 0;
  for (const int descriptor : OpenDescriptors()) {
    if (std::binary_search(before.begin(), before.end(), descriptor)) continue;
    ++opened;
    EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC)
        << std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
  }
  return opened;
}

// What the process holds when the object is made. Sanitizers do not tell of the heap.
class ProcessHoldings {
 public:
  // Fails the test if it is more now.
  void ExpectNoMoreNow() const {
    // Arenas and caches of the allocator, which come with threads. A thousand rounds that lose the
    // smallest block exceed it twice.
    constexpr std::size_t kSlackBytes = 16 << 10;
    EXPECT_EQ(OpenDescriptors(), descriptors_);
    // A thread that has been joined may still be on its way out of the list.
    EXPECT_TRUE(Eventually([this] { return Threads() == threads_; }));
    EXPECT_LE(mallinfo2().uordblks, heap_bytes_ + kSlackBytes);
  }

 private:
  static std::ptrdiff_t Threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  }

  const std::vector<int> descriptors_ = OpenDescriptors();
  const std::ptrdiff_t threads_ = Threads();
  const std::size_t heap_bytes_ = mallinfo2().uordblks;
};

}  // namespace zevra::test

#endif
