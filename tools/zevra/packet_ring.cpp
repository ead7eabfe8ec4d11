#include "tools/zevra/packet_ring.h"

#include <algorithm>

namespace zevra::command {

bool PacketRing::Push(std::span<const std::uint8_t> packet) {
  const std::uint64_t pushed = pushed_.load(std::memory_order_relaxed);
  const std::uint64_t waiting = pushed - taken_.load(std::memory_order_acquire);
  if (packet.size() > bytes_.size() - waiting) return false;
  const std::size_t at = pushed % bytes_.size();
  const std::size_t first = std::min(packet.size(), bytes_.size() - at);
  std::copy_n(packet.data(), first, bytes_.data() + at);
  std::copy_n(packet.data() + first, packet.size() - first, bytes_.data());
  pushed_.store(pushed + packet.size(), std::memory_order_release);
  return true;
}

std::size_t PacketRing::Take(std::span<std::uint8_t> out) {
  const std::uint64_t taken = taken_.load(std::memory_order_relaxed);
  const std::uint64_t waiting = pushed_.load(std::memory_order_acquire) - taken;
  const std::size_t count = std::min<std::size_t>(out.size(), waiting);
  const std::size_t at = taken % bytes_.size();
  const std::size_t first = std::min(count, bytes_.size() - at);
  std::copy_n(bytes_.data() + at, first, out.data());
  std::copy_n(bytes_.data(), count - first, out.data() + first);
  taken_.store(taken + count, std::memory_order_release);
  return count;
}

}  // namespace zevra::command
