#ifndef ZEVRA_TESTS_PLATFORM_LINUX_DESCRIPTORS_H
#define ZEVRA_TESTS_PLATFORM_LINUX_DESCRIPTORS_H

#include <cstddef>
#include <vector>

namespace zevra::test {

// The process's open descriptors and its threads, as the kernel lists them.
std::vector<int> OpenDescriptors();
std::size_t ThreadCount();

}  // namespace zevra::test

#endif
