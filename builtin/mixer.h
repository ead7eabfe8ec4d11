#ifndef ZEVRA_BUILTIN_MIXER_H
#define ZEVRA_BUILTIN_MIXER_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

namespace zevra::builtin {

// The frames that one render stream has queued: interleaved float, in the endpoint's channels.
// Guarded by the mixer's lock once it has joined.
struct RenderQueue {
  RenderQueue(std::uint32_t capacity_frames, std::uint32_t channels)
      : ring(std::size_t{capacity_frames} * channels), capacity(capacity_frames) {}

  std::vector<float> ring;
  std::uint32_t capacity;
  // Frames since the stream was made; their difference is what is still queued.
  std::uint64_t written = 0;
  std::uint64_t played = 0;
  // Up to here there are frames that were not flagged silent.
  std::uint64_t audible_end = 0;
};

// What the streams played in a packet.
enum class PacketMix { kNothing, kSilence, kSound };

// Adds up what the streams of one render endpoint play, packet by packet, and keeps the latest
// packets for loopback streams that read later. It has no thread: every operation is given the
// packet that is running, `now`, and first mixes all packets up to it. A packet takes the frames
// that are queued when it begins.
//
// The lock is needed because streams write what other streams read. A loopback stream takes no lock
// while no render stream has ever been made on the endpoint.
class Mixer {
 public:
  // `history` is the number of complete packets that can be taken late.
  Mixer(std::uint32_t packet_frames, std::uint32_t channels, std::uint64_t history);

  // Allocates the history. Called when a render stream is made, before it joins.
  void Prepare();
  // The queue is played from the packet after `now` on, and no longer after Leave. What is queued
  // then stays queued. A queue that runs dry plays silence.
  void Join(RenderQueue& queue, std::uint64_t now);
  void Leave(RenderQueue& queue, std::uint64_t now);

  // Frames that still wait in a queue.
  std::uint32_t Padding(const RenderQueue& queue, std::uint64_t now);
  // Appends whole frames, which must fit into the ring. `silent` plays zeros in place of `samples`.
  void Write(RenderQueue& queue, std::span<const float> samples, bool silent, std::uint64_t now);

  // True once a render stream has been made. A false that is read after the clock holds for every
  // packet before `now`: a stream made later joins later, and is heard from a later packet on.
  bool InUse() const { return in_use_.load(std::memory_order_acquire); }
  // Adds a complete packet's sound to the frames at `out`.
  PacketMix AddTo(float* out, std::uint64_t packet, std::uint64_t now);

 private:
  struct HistorySlot {
    std::uint64_t packet = 0;
    PacketMix mix = PacketMix::kNothing;
  };

  void BringUpTo(std::uint64_t now);
  void MixPacket(std::uint64_t packet);
  // Takes up to `frames` frames off the queue, adding them to `out` if it is not null. True if any
  // of them may be heard.
  bool Play(RenderQueue& queue, std::uint64_t frames, float* out) const;
  float* SamplesOf(std::uint64_t packet);

  const std::uint32_t packet_frames_;
  const std::uint32_t channels_;
  std::atomic<bool> in_use_{false};
  std::mutex mutex_;
  // All below are guarded by mutex_.
  std::vector<HistorySlot> slots_;
  std::vector<float> samples_;
  std::vector<RenderQueue*> playing_;
  // The first packet that has not been mixed.
  std::uint64_t next_packet_ = 0;
};

}  // namespace zevra::builtin

#endif
