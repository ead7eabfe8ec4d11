#include "platform/linux/com/block_pool.h"

#include <array>
#include <bit>
#include <cstdint>
#include <new>

namespace zevra {
namespace {

// Sizes are powers of two from 512 bytes to 2 MiB, beyond which a block is never kept. A packet
// has at most three blocks of one size alive at a time.
constexpr std::size_t kBins = 13;
constexpr std::size_t kSmallestShift = 9;
constexpr std::uint32_t kSpareBlocksInBin = 4;

// Stands in front of each block and keeps its alignment.
struct alignas(kBlockAlignment) Header {
  Header* next;
  std::size_t bin;  // kBins for a block that is not kept
};
static_assert(sizeof(Header) == kBlockAlignment);

Header* NewBlock(std::size_t bytes, std::size_t bin) {
  void* const memory = ::operator new (bytes, std::align_val_t{kBlockAlignment}, std::nothrow);
  return memory != nullptr ? new (memory) Header{nullptr, bin} : nullptr;
}

void DeleteBlock(Header* block) {
  ::operator delete (block, std::align_val_t{kBlockAlignment}, std::nothrow);
}

// What a thread has. Plain data, so that reaching it asks for no construction first: these are the
// most frequent calls of the whole packet path.
struct Thread {
  std::array<Header*, kBins> first;
  std::array<std::uint32_t, kBins> count;
  bool end_is_watched;
  bool has_ended;
};
constinit thread_local Thread thread{};

void Trim() {
  for (std::size_t bin = 0; bin < kBins; ++bin) {
    while (Header* const block = thread.first[bin]) {
      thread.first[bin] = block->next;
      DeleteBlock(block);
    }
    thread.count[bin] = 0;
  }
}

// Objects may still be released by destructors that run behind this one at a thread's end.
struct ThreadEnd {
  ~ThreadEnd() {
    Trim();
    thread.has_ended = true;
  }
};

// Sees to the thread's end. To be called before the thread has anything.
void WatchForEnd() {
  if (thread.end_is_watched) return;
  thread.end_is_watched = true;
  thread_local const ThreadEnd end;
}

Header* TakeSpare(std::size_t bin) {
  Header* const block = thread.first[bin];
  if (block == nullptr) return nullptr;
  thread.first[bin] = block->next;
  --thread.count[bin];
  return block;
}

// False if the thread has enough of that size.
bool Keep(Header* block) {
  if (thread.has_ended || thread.count[block->bin] == kSpareBlocksInBin) return false;
  block->next = thread.first[block->bin];
  thread.first[block->bin] = block;
  ++thread.count[block->bin];
  return true;
}

}  // namespace

void* AllocateBlock(std::size_t bytes) noexcept {
  if (bytes > SIZE_MAX / 2) return nullptr;
  const std::size_t whole = bytes + sizeof(Header);
  const auto shift = static_cast<std::size_t>(std::bit_width(whole - 1));
  const std::size_t bin = shift <= kSmallestShift ? 0 : shift - kSmallestShift;
  Header* block = bin < kBins ? TakeSpare(bin) : nullptr;
  if (block == nullptr) {
    WatchForEnd();
    block = bin < kBins ? NewBlock(std::size_t{1} << (kSmallestShift + bin), bin)
                        : NewBlock(whole, kBins);
    if (block == nullptr) return nullptr;
  }
  return block + 1;
}

void FreeBlock(void* block) noexcept {
  if (block == nullptr) return;
  WatchForEnd();
  Header* const header = static_cast<Header*>(block) - 1;
  if (header->bin == kBins || !Keep(header)) DeleteBlock(header);
}

void TrimBlocks() noexcept { Trim(); }

}  // namespace zevra
