#ifndef ZEVRA_BUILTIN_ENDPOINT_H
#define ZEVRA_BUILTIN_ENDPOINT_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>

#include "builtin/clock.h"
#include "builtin/endpoint_config.h"
#include "builtin/mixer.h"

namespace zevra::builtin {

// One endpoint, shared by its devices and streams. Its time is cut into packets, counted from 0 at
// the clock's beginning; which one runs follows from the clock alone, so that endpoints need no
// thread and streams that only listen share nothing that changes. Any thread.
class Endpoint {
 public:
  // std::invalid_argument for a configuration that describes no endpoint.
  Endpoint(EndpointConfig config, std::shared_ptr<const Clock> clock);
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  const EndpointConfig& config() const { return config_; }
  // What plays there of itself; empty for silence.
  const Loop& loop() const { return loop_; }
  // What the streams play there; only a render endpoint has any.
  Mixer& mixer() { return mixer_; }

  // The packet that runs now: all before it are complete.
  std::uint64_t CurrentPacket() const;
  // When a packet's first frame sounded, in the clock's time in 100-ns units.
  UINT64 PacketTime(std::uint64_t packet) const;
  // Length of a packet.
  REFERENCE_TIME Period() const;
  // The most packets that wait for a slow reader: `frames` rounded up.
  std::uint64_t PacketsOf(UINT32 frames) const;

  void Remove() { removed_.store(true, std::memory_order_relaxed); }
  bool Removed() const { return removed_.load(std::memory_order_relaxed); }
  void SetVolume(float volume) { volume_.store(volume, std::memory_order_relaxed); }
  float Volume() const { return volume_.load(std::memory_order_relaxed); }

 private:
  const EndpointConfig config_;
  const std::shared_ptr<const Clock> clock_;
  const Loop loop_;
  Mixer mixer_;
  std::atomic<bool> removed_{false};
  std::atomic<float> volume_;
};

// How long a stream keeps what nobody reads, at least.
inline constexpr std::chrono::seconds kHistory{2};

}  // namespace zevra::builtin

#endif
