#ifndef ZEVRA_TESTS_PLATFORM_LINUX_COUNTING_HEAP_H
#define ZEVRA_TESTS_PLATFORM_LINUX_COUNTING_HEAP_H

namespace zevra::test {

// What the whole process took from the heap so far, by whatever name, and how many blocks of it are
// still held. A program that links this has its C library's allocator behind the counts.
long Allocations();
long LiveBlocks();

}  // namespace zevra::test

#endif
