// Counts the calls of operator new in the whole program. In a file of its own: a compiler that sees
// both sides of new and free takes them for a mismatch.

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<int> allocations{0};
}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace zevra::test {
int Allocations();
int Allocations() { return allocations; }
}  // namespace zevra::test
