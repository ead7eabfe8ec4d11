#ifndef ZEVRA_TOOLS_ZEVRA_PACKET_RING_H
#define ZEVRA_TOOLS_ZEVRA_PACKET_RING_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zevra::command {

// Carries audio from the capture thread to the main thread, which does all slow work. One thread
// pushes, one takes; neither waits, locks or allocates.
class PacketRing {
 public:
  explicit PacketRing(std::size_t capacity_bytes) : bytes_(capacity_bytes) {}

  // Whole or not at all: false if there is no room for `packet`.
  bool Push(std::span<const std::uint8_t> packet);
  // Moves what waits into `out`, as much as fits, and gives the number of bytes.
  std::size_t Take(std::span<std::uint8_t> out);

 private:
  std::vector<std::uint8_t> bytes_;
  // Bytes since the beginning, each written by one side.
  std::atomic<std::uint64_t> pushed_{0};
  std::atomic<std::uint64_t> taken_{0};
};

}  // namespace zevra::command

#endif
