#include "builtin/mixer.h"

#include <algorithm>

namespace zevra::builtin {

Mixer::Mixer(std::uint32_t packet_frames, std::uint32_t channels, std::uint64_t history)
    : packet_frames_(packet_frames), channels_(channels), slots_(history + 1) {}

void Mixer::Prepare() {
  const std::lock_guard hold(mutex_);
  samples_.resize(slots_.size() * packet_frames_ * channels_);
  in_use_.store(true, std::memory_order_release);
}

void Mixer::Join(RenderQueue& queue, std::uint64_t now) {
  const std::lock_guard hold(mutex_);
  BringUpTo(now);
  playing_.push_back(&queue);
}

void Mixer::Leave(RenderQueue& queue, std::uint64_t now) {
  const std::lock_guard hold(mutex_);
  BringUpTo(now);
  std::erase(playing_, &queue);
}

std::uint32_t Mixer::Padding(const RenderQueue& queue, std::uint64_t now) {
  const std::lock_guard hold(mutex_);
  BringUpTo(now);
  return static_cast<std::uint32_t>(queue.written - queue.played);
}

void Mixer::Write(RenderQueue& queue, std::span<const float> samples, bool silent,
                  std::uint64_t now) {
  const std::lock_guard hold(mutex_);
  BringUpTo(now);
  const std::size_t at = queue.written % queue.capacity * channels_;
  const std::size_t first = std::min(samples.size(), queue.ring.size() - at);
  float* const ring = queue.ring.data();
  if (silent) {
    std::fill_n(ring + at, first, 0.0F);
    std::fill_n(ring, samples.size() - first, 0.0F);
  } else {
    std::copy_n(samples.data(), first, ring + at);
    std::copy_n(samples.data() + first, samples.size() - first, ring);
  }
  queue.written += samples.size() / channels_;
  if (!silent) queue.audible_end = queue.written;
}

PacketMix Mixer::AddTo(float* out, std::uint64_t packet, std::uint64_t now) {
  const std::lock_guard hold(mutex_);
  BringUpTo(now);
  const HistorySlot& slot = slots_[packet % slots_.size()];
  if (slot.packet != packet) return PacketMix::kNothing;
  if (slot.mix == PacketMix::kSound) {
    const float* const mix = SamplesOf(packet);
    const std::size_t count = std::size_t{packet_frames_} * channels_;
    for (std::size_t i = 0; i < count; ++i) out[i] += mix[i];
  }
  return slot.mix;
}

void Mixer::BringUpTo(std::uint64_t now) {
  if (next_packet_ > now) return;
  if (playing_.empty()) {
    next_packet_ = now + 1;
    return;
  }
  // After a long time without a look only what the history holds is worth mixing.
  const std::uint64_t behind = now + 1 - next_packet_;
  if (behind > slots_.size()) {
    const std::uint64_t skipped = behind - slots_.size();
    for (RenderQueue* const queue : playing_) Play(*queue, skipped * packet_frames_, nullptr);
    next_packet_ += skipped;
  }
  for (; next_packet_ <= now; ++next_packet_) MixPacket(next_packet_);
}

void Mixer::MixPacket(std::uint64_t packet) {
  float* const out = SamplesOf(packet);
  std::fill_n(out, std::size_t{packet_frames_} * channels_, 0.0F);
  bool sound = false;
  for (RenderQueue* const queue : playing_) sound |= Play(*queue, packet_frames_, out);
  slots_[packet % slots_.size()] = {packet, sound ? PacketMix::kSound : PacketMix::kSilence};
}

bool Mixer::Play(RenderQueue& queue, std::uint64_t frames, float* out) const {
  const std::uint64_t taken = std::min(frames, queue.written - queue.played);
  const bool sound = taken > 0 && queue.played < queue.audible_end;
  if (out != nullptr && sound) {
    std::size_t at = queue.played % queue.capacity * channels_;
    for (std::uint64_t left = taken * channels_; left > 0; --left) {
      *out++ += queue.ring[at];
      if (++at == queue.ring.size()) at = 0;
    }
  }
  queue.played += taken;
  return sound;
}

float* Mixer::SamplesOf(std::uint64_t packet) {
  return samples_.data() + packet % slots_.size() * packet_frames_ * channels_;
}

}  // namespace zevra::builtin
