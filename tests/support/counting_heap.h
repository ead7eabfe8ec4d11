#ifndef ZEVRA_TESTS_SUPPORT_COUNTING_HEAP_H
#define ZEVRA_TESTS_SUPPORT_COUNTING_HEAP_H

namespace zevra::test {

// How often the whole process took from the heap so far, by whatever name. A program that links
// this has its C library's allocator behind the count.
long Allocations();

// Has the `number`-th allocation of the calling thread from here on fail, once; 0 for none. Tells
// whether the one that was chosen before has failed.
bool FailAllocation(long number);

}  // namespace zevra::test

#endif
