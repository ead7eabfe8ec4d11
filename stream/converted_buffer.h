#ifndef ZEVRA_STREAM_CONVERTED_BUFFER_H
#define ZEVRA_STREAM_CONVERTED_BUFFER_H

#include <cstdint>
#include <memory>

namespace zevra {

// Gives a block back to the cache of the thread that frees it.
struct ConvertedBlockDeleter {
  void operator()(std::uint8_t* block) const noexcept;
};
using ConvertedBlock = std::unique_ptr<std::uint8_t, ConvertedBlockDeleter>;

// A block of at least `bytes` bytes, contents not set; null if there is no memory. A thread keeps a
// few freed blocks, so that one packet after the other runs without the heap.
ConvertedBlock AllocateConvertedBlock(std::uint32_t bytes) noexcept;

// A block of converted audio: `length` bytes of whole frames. Length 0 goes with null.
struct ZevraConvertedBuffer {
  std::uint32_t length = 0;
  ConvertedBlock data;

  void Clear() {
    length = 0;
    data.reset();
  }
};

}  // namespace zevra

#endif
