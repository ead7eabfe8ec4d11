#ifndef ZEVRA_TOOLS_ZEVRA_CAPTURE_H
#define ZEVRA_TOOLS_ZEVRA_CAPTURE_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "tools/zevra/device.h"
#include "tools/zevra/own_log.h"
#include "tools/zevra/sample_format.h"
#include "tools/zevra/text.h"

namespace zevra::command {

// Carries audio from the capture thread to the main thread, which does all slow work. One thread
// pushes, one takes; neither waits, locks or allocates.
class PacketRing {
 public:
  explicit PacketRing(std::size_t capacity_bytes)
      : size_(capacity_bytes), bytes_(new std::uint8_t[capacity_bytes]) {}

  // Whole or not at all: false if `packet` does not fit.
  bool Push(std::span<const std::uint8_t> packet);
  // Moves what waits into `out`, as much as fits, and gives the number of bytes.
  std::size_t Take(std::span<std::uint8_t> out);

 private:
  // Left as it is, so that it takes memory only where something has been.
  const std::size_t size_;
  const std::unique_ptr<std::uint8_t[]> bytes_;
  // Bytes since the beginning, each written by one side.
  std::atomic<std::uint64_t> pushed_{0};
  std::atomic<std::uint64_t> taken_{0};
};

// Silence that plays on a render endpoint as long as this lives, so that the endpoint has packets
// also while nothing else plays.
class KeepAlive {
 public:
  // Look at result() for whether it plays.
  explicit KeepAlive(const Device& device)
      : device_(device), result_(device.functions().StartPlay(device.handle())) {}
  // Takes up to half a second.
  ~KeepAlive() { device_.functions().StopPlay(device_.handle()); }
  KeepAlive(const KeepAlive&) = delete;
  KeepAlive& operator=(const KeepAlive&) = delete;

  // Of the start: 0 if the silence plays.
  std::int32_t result() const { return result_; }
  std::string ResultText() const { return call_.ResultText(result_); }
  // False once the stream has ended by itself.
  bool StillPlays() const;

 private:
  const Device& device_;
  const LoggedCall call_;
  const std::int32_t result_;
};

// The endpoint went away while it was captured from.
class EndpointGone : public Failure {
 public:
  using Failure::Failure;
};

// A capture whose audio is taken on the main thread. The library passes nothing of the host's to
// its callback, so there is a function for each, and at most two at a time in the process.
class Capture {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Starts. Failure where it cannot.
  Capture(const Device& device, const AudioFormat& format);
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  // What has arrived since the last call, whole frames, valid until the next. EndpointGone once the
  // stream has ended by itself: the library gives no notice of that, so a stream from which nothing
  // comes is asked about once a second.
  std::span<const std::uint8_t> Take();
  // Whether the last call took all there was.
  bool IsDrained() const { return drained_; }

  // When the last of the audio arrived; it may be a packet newer than what was taken.
  Time arrived() const { return Time(Time::duration(arrived_.load(std::memory_order_relaxed))); }

  std::uint64_t packets() const { return packets_.load(std::memory_order_relaxed); }
  std::uint64_t silent_packets() const { return silent_.load(std::memory_order_relaxed); }
  // Audio that came faster than it was taken, for longer than the ring could hold it.
  std::uint64_t lost_bytes() const { return lost_.load(std::memory_order_relaxed); }

 private:
  template <std::size_t kSlot>
  static void OnPacket(void* reserved, std::uint32_t silent, const std::uint8_t* data,
                       std::uint32_t length);
  void Add(std::uint32_t silent, const std::uint8_t* data, std::uint32_t length);
  std::int32_t Start();
  void CheckThatItRuns();

  const Device& device_;
  const LoggedCall call_;
  const AudioFormat format_;
  PacketRing ring_;
  std::atomic<Time::rep> arrived_{0};
  std::atomic<std::uint64_t> packets_{0};
  std::atomic<std::uint64_t> silent_{0};
  std::atomic<std::uint64_t> lost_{0};
  std::vector<std::uint8_t> taken_;
  std::size_t slot_ = 0;
  bool drained_ = true;
  std::uint64_t packets_seen_ = 0;
  std::uint64_t bytes_seen_ = 0;
  Time quiet_since_;
};

}  // namespace zevra::command

#endif
