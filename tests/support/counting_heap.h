#ifndef ZEVRA_TESTS_SUPPORT_COUNTING_HEAP_H
#define ZEVRA_TESTS_SUPPORT_COUNTING_HEAP_H

namespace zevra::test {

// What the whole process took from the heap so far, by whatever name, and how many blocks of it are
// still held. A program that links this has its C library's allocator behind the counts.
long Allocations();
long LiveBlocks();

// Has the `number`-th allocation of the calling thread from here on fail, once; 0 for none. Tells
// whether the one that was chosen before has failed.
bool FailAllocation(long number);

}  // namespace zevra::test

#endif
