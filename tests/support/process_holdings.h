#ifndef ZEVRA_TESTS_SUPPORT_PROCESS_HOLDINGS_H
#define ZEVRA_TESTS_SUPPORT_PROCESS_HOLDINGS_H

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <filesystem>
#include <iterator>

#include "support/eventually.h"

namespace zevra::test {

// What this process holds of the system, on Linux. Sanitizers do not tell of the heap.
class ProcessHoldings {
 public:
  // Fails the test if more is held now than when the object was made.
  void ExpectNoMoreNow() const {
    EXPECT_EQ(Entries("/proc/self/fd"), descriptors_);
    // A thread that has been joined may still be on its way out of the list.
    EXPECT_TRUE(Eventually([this] { return Entries("/proc/self/task") == threads_; }));
    EXPECT_LE(mallinfo2().uordblks, heap_bytes_ + kSlackBytes);
  }

 private:
  // Arenas and caches of the allocator, which come with threads. A thousand rounds that lose the
  // smallest block exceed it twice.
  static constexpr std::size_t kSlackBytes = 16 << 10;

  static std::size_t Entries(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
  }

  std::size_t descriptors_ = Entries("/proc/self/fd");
  std::size_t threads_ = Entries("/proc/self/task");
  std::size_t heap_bytes_ = mallinfo2().uordblks;
};

}  // namespace zevra::test

#endif
