#include "support/counting_heap.h"

#include <cerrno>
#include <cstddef>

// The builtins, because the headers of std::atomic declare the allocator already.

namespace {

long allocations = 0;
// Counts down to the allocation that is to fail.
thread_local long left_to_failure = 0;
thread_local bool has_failed = false;

bool Fails() {
  if (left_to_failure == 0 || --left_to_failure > 0) return false;
  has_failed = true;
  errno = ENOMEM;
  return true;
}

void* Count(void* block) {
  __atomic_fetch_add(&allocations, 1, __ATOMIC_RELAXED);
  return block;
}

}  // namespace

extern "C" {
// The allocator's own names in the C library; the operators of C++ end in the ones below as well.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): its names
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);

#pragma GCC visibility push(default)
void* malloc(std::size_t bytes) { return Fails() ? nullptr : Count(__libc_malloc(bytes)); }
void* calloc(std::size_t count, std::size_t bytes) {
  return Fails() ? nullptr : Count(__libc_calloc(count, bytes));
}
void* realloc(void* block, std::size_t bytes) {
  return Fails() ? nullptr : Count(__libc_realloc(block, bytes));
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
  return Fails() ? nullptr : Count(__libc_memalign(alignment, bytes));
}
int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) {
  *block = aligned_alloc(alignment, bytes);
  return *block != nullptr ? 0 : ENOMEM;
}
#pragma GCC visibility pop
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
}

namespace zevra::test {

long Allocations() { return __atomic_load_n(&allocations, __ATOMIC_RELAXED); }

bool FailAllocation(long number) {
  left_to_failure = number;
  const bool failed = has_failed;
  has_failed = false;
  return failed;
}

}  // namespace zevra::test
