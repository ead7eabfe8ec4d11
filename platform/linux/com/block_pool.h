#ifndef ZEVRA_PLATFORM_LINUX_COM_BLOCK_POOL_H
#define ZEVRA_PLATFORM_LINUX_COM_BLOCK_POOL_H

#include <cstddef>

// Memory for objects that are made and released with every packet. Each thread keeps a few spare
// blocks of every size, so that in the steady state nothing comes from the heap and no lock is
// taken. A block may be freed on another thread than it was allocated on. The spare blocks go to
// the heap when their thread ends.

namespace zevra {

// Every block begins on a boundary that suits the widest vector instructions.
inline constexpr std::size_t kBlockAlignment = 64;

// At least `bytes` bytes, not set; null if there is no memory.
void* AllocateBlock(std::size_t bytes) noexcept;
// A block of AllocateBlock, or null.
void FreeBlock(void* block) noexcept;

// Gives the calling thread's spare blocks to the heap now.
void TrimBlocks() noexcept;

}  // namespace zevra

#endif
