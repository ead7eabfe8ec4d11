#ifndef ZEVRA_TOOLS_ZEVRA_CAPTURE_H
#define ZEVRA_TOOLS_ZEVRA_CAPTURE_H

#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/zevra/device.h"
#include "tools/zevra/packet_ring.h"
#include "tools/zevra/sample_format.h"

namespace zevra::command {

// A capture whose audio is taken on the main thread. The library passes nothing of the host's to
// its callback, so there is one at a time in the process.
class Capture {
 public:
  // Starts. Failure where it cannot.
  Capture(const Device& device, const AudioFormat& format);
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  // What has arrived since the last call, whole frames, valid until the next. Failure once the
  // stream has ended by itself: the library gives no notice of that, so a stream from which nothing
  // comes is asked about once a second.
  std::span<const std::uint8_t> Take();

  std::uint64_t packets() const { return packets_.load(std::memory_order_relaxed); }
  std::uint64_t silent_packets() const { return silent_.load(std::memory_order_relaxed); }
  // Audio that came faster than it was taken, for longer than the ring could hold it.
  std::uint64_t lost_bytes() const { return lost_.load(std::memory_order_relaxed); }

 private:
  using Time = std::chrono::steady_clock::time_point;

  static void OnPacket(void* reserved, std::uint32_t silent, const std::uint8_t* data,
                       std::uint32_t length);
  std::int32_t Start();
  void CheckThatItRuns();

  const Device& device_;
  const AudioFormat format_;
  PacketRing ring_;
  std::atomic<std::uint64_t> packets_{0};
  std::atomic<std::uint64_t> silent_{0};
  std::atomic<std::uint64_t> lost_{0};
  std::vector<std::uint8_t> taken_;
  std::uint64_t packets_seen_ = 0;
  std::uint64_t bytes_seen_ = 0;
  Time quiet_since_;
};

}  // namespace zevra::command

#endif
