#include "platform/linux/block_cache.h"

#include <array>
#include <bit>
#include <cstdint>
#include <new>

namespace zevra::platform {
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

class Cache {
 public:
  Cache() = default;
  ~Cache();
  Cache(const Cache&) = delete;
  Cache& operator=(const Cache&) = delete;

  Header* Take(std::size_t bin) {
    Header* const block = first_[bin];
    if (block == nullptr) return nullptr;
    first_[bin] = block->next;
    --count_[bin];
    return block;
  }
  bool Keep(Header* block) {
    if (count_[block->bin] == kSpareBlocksInBin) return false;
    block->next = first_[block->bin];
    first_[block->bin] = block;
    ++count_[block->bin];
    return true;
  }
  void Trim() {
    for (std::size_t bin = 0; bin < kBins; ++bin) {
      while (Header* const block = Take(bin)) DeleteBlock(block);
    }
  }

 private:
  std::array<Header*, kBins> first_{};
  std::array<std::uint32_t, kBins> count_{};
};

// Objects may still be released by destructors that run behind the cache's own at a thread's end.
thread_local bool cache_gone = false;
thread_local Cache cache;

Cache::~Cache() {
  Trim();
  cache_gone = true;
}

}  // namespace

void* TakeBlock(std::size_t bytes) noexcept {
  if (bytes > SIZE_MAX / 2) return nullptr;
  const std::size_t whole = bytes + sizeof(Header);
  const auto shift = static_cast<std::size_t>(std::bit_width(whole - 1));
  const std::size_t bin = shift <= kSmallestShift ? 0 : shift - kSmallestShift;
  if (bin >= kBins) {
    Header* const block = NewBlock(whole, kBins);
    return block != nullptr ? block + 1 : nullptr;
  }
  Header* block = cache_gone ? nullptr : cache.Take(bin);
  if (block == nullptr) block = NewBlock(std::size_t{1} << (kSmallestShift + bin), bin);
  return block != nullptr ? block + 1 : nullptr;
}

void GiveBlock(void* block) noexcept {
  if (block == nullptr) return;
  Header* const header = static_cast<Header*>(block) - 1;
  if (header->bin == kBins || cache_gone || !cache.Keep(header)) DeleteBlock(header);
}

void TrimBlocks() noexcept {
  if (!cache_gone) cache.Trim();
}

}  // namespace zevra::platform
