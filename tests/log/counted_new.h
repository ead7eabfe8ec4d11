#ifndef ZEVRA_TESTS_LOG_COUNTED_NEW_H
#define ZEVRA_TESTS_LOG_COUNTED_NEW_H

namespace zevra::test {

// Calls of operator new in the whole program so far; a program with this file counts them.
int Allocations();

}  // namespace zevra::test

#endif
