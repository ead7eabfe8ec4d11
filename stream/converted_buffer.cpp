#include "stream/converted_buffer.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <utility>

#include "platform/thread_object.h"

namespace zevra {
namespace {

// Stands in front of every block, and keeps the alignment that malloc gave.
struct alignas(std::max_align_t) BlockHeader {
  std::size_t capacity_bytes;
};

BlockHeader* HeaderOf(std::uint8_t* block) { return reinterpret_cast<BlockHeader*>(block) - 1; }

// Two blocks are in use at once while a packet's output is joined, so three freed ones are enough.
// Larger blocks than a packet's go back to the heap.
class BlockCache {
 public:
  static constexpr std::size_t kKeptBytes = 1 << 20;

  ~BlockCache() {
    for (BlockHeader* header : kept_) std::free(header);
  }

  BlockHeader* Take(std::size_t bytes) noexcept {
    for (BlockHeader*& header : kept_)
      if (header != nullptr && header->capacity_bytes >= bytes)
        return std::exchange(header, nullptr);
    return nullptr;
  }

  void Give(BlockHeader* header) noexcept {
    if (header->capacity_bytes <= kKeptBytes) {
      for (BlockHeader*& place : kept_) {
        if (place == nullptr || place->capacity_bytes < header->capacity_bytes) {
          std::swap(place, header);
          if (header == nullptr) return;
        }
      }
    }
    std::free(header);
  }

 private:
  std::array<BlockHeader*, 3> kept_{};
};

BlockCache* ThreadCache() noexcept { return ThreadObject<BlockCache>(); }

}  // namespace

ConvertedBlock AllocateConvertedBlock(std::uint32_t bytes) noexcept {
  BlockCache* const cache = ThreadCache();
  BlockHeader* header = cache != nullptr ? cache->Take(bytes) : nullptr;
  if (header == nullptr) {
    // Powers of two, so that packets of varying length share blocks.
    const std::size_t capacity = std::bit_ceil(static_cast<std::size_t>(bytes < 256 ? 256 : bytes));
    header = static_cast<BlockHeader*>(std::malloc(sizeof(BlockHeader) + capacity));
    if (header == nullptr) return nullptr;
    header->capacity_bytes = capacity;
  }
  return ConvertedBlock(reinterpret_cast<std::uint8_t*>(header + 1));
}

void ConvertedBlockDeleter::operator()(std::uint8_t* block) const noexcept {
  BlockHeader* const header = HeaderOf(block);
  if (BlockCache* const cache = ThreadCache())
    cache->Give(header);
  else
    std::free(header);
}

}  // namespace zevra
