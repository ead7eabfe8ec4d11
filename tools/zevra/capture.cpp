#include "tools/zevra/capture.h"

#include <algorithm>

#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

// How long the disk or the terminal may stall before audio is lost.
constexpr std::size_t kRingSeconds = 30;
constexpr std::chrono::seconds kQuietBeforeCheck{1};
// Packets that bring no audio at all: more than any converter holds back.
constexpr std::uint64_t kPacketsWithoutAudio = 200;

std::atomic<Capture*> running_captures[2];

}  // namespace

bool PacketRing::Push(std::span<const std::uint8_t> packet) {
  const std::uint64_t pushed = pushed_.load(std::memory_order_relaxed);
  const std::uint64_t waiting = pushed - taken_.load(std::memory_order_acquire);
  if (packet.size() > size_ - waiting) return false;
  const std::size_t at = pushed % size_;
  const std::size_t first = std::min(packet.size(), size_ - at);
  std::copy_n(packet.data(), first, bytes_.get() + at);
  std::copy_n(packet.data() + first, packet.size() - first, bytes_.get());
  pushed_.store(pushed + packet.size(), std::memory_order_release);
  return true;
}

std::size_t PacketRing::Take(std::span<std::uint8_t> out) {
  const std::uint64_t taken = taken_.load(std::memory_order_relaxed);
  const std::uint64_t waiting = pushed_.load(std::memory_order_acquire) - taken;
  const std::size_t count = std::min<std::size_t>(out.size(), waiting);
  const std::size_t at = taken % size_;
  const std::size_t first = std::min(count, size_ - at);
  std::copy_n(bytes_.get() + at, first, out.data());
  std::copy_n(bytes_.get(), count - first, out.data() + first);
  taken_.store(taken + count, std::memory_order_release);
  return count;
}

bool KeepAlive::StillPlays() const {
  // A start leaves a running stream alone and says so.
  return device_.functions().StartPlay(device_.handle()) == ZEVRA_E_NOT_STOPPED;
}

Capture::Capture(const Device& device, const AudioFormat& format)
    : device_(device),
      format_(format),
      ring_(format.FrameBytes() * format.rate * kRingSeconds),
      taken_(format.FrameBytes() * format.rate / 2),
      quiet_since_(steady_clock::now()) {
  while (running_captures[slot_].load(std::memory_order_relaxed) != nullptr) ++slot_;
  running_captures[slot_].store(this, std::memory_order_release);
  if (const std::int32_t result = Start(); result != ZEVRA_OK) {
    device_.functions().StopCapture(device_.handle());
    running_captures[slot_].store(nullptr, std::memory_order_release);
    throw Failure("can't capture from " + device_.Text() + ": " + call_.ResultText(result));
  }
}

Capture::~Capture() {
  device_.functions().StopCapture(device_.handle());
  running_captures[slot_].store(nullptr, std::memory_order_release);
}

std::int32_t Capture::Start() {
  const ZevraAudioFormat record = format_.Record();
  return device_.functions().StartCapture(
      device_.handle(), &record, slot_ == 0 ? &Capture::OnPacket<0> : &Capture::OnPacket<1>,
      nullptr);
}

template <std::size_t kSlot>
void Capture::OnPacket(void* /*reserved*/, std::uint32_t silent, const std::uint8_t* data,
                       std::uint32_t length) {
  running_captures[kSlot].load(std::memory_order_acquire)->Add(silent, data, length);
}

void Capture::Add(std::uint32_t silent, const std::uint8_t* data, std::uint32_t length) {
  // Before the audio itself: who finds that must not take it for older than it is.
  arrived_.store(steady_clock::now().time_since_epoch().count(), std::memory_order_relaxed);
  packets_.fetch_add(1, std::memory_order_relaxed);
  silent_.fetch_add(silent, std::memory_order_relaxed);
  if (length > 0 && !ring_.Push({data, length})) lost_.fetch_add(length, std::memory_order_relaxed);
}

std::span<const std::uint8_t> Capture::Take() {
  const std::size_t taken = ring_.Take(taken_);
  bytes_seen_ += taken;
  drained_ = taken < taken_.size();
  const std::uint64_t packets_now = packets();
  if (packets_now != packets_seen_) {
    packets_seen_ = packets_now;
    quiet_since_ = steady_clock::now();
  }
  if (taken == 0) CheckThatItRuns();
  return {taken_.data(), taken};
}

void Capture::CheckThatItRuns() {
  if (packets_seen_ >= kPacketsWithoutAudio && bytes_seen_ == 0)
    throw Failure("the library can't convert to " + format_.Text());
  if (steady_clock::now() - quiet_since_ < kQuietBeforeCheck) return;
  quiet_since_ = steady_clock::now();
  // A start tells both apart: it leaves a running stream alone and says so.
  const std::int32_t start_result = Start();
  if (start_result == ZEVRA_E_NOT_STOPPED) return;
  device_.functions().StopCapture(device_.handle());
  float volume = 0;
  const std::int32_t reason = device_.functions().GetVolume(device_.handle(), &volume);
  throw EndpointGone(device_.Text() + " went away" +
                     (reason < 0 ? ": " + call_.ResultText(reason) : call_.Reason()));
}

}  // namespace zevra::command
