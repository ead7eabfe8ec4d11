#include "endurance/tap.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include "endurance/calls.h"

namespace zevra::endurance {
namespace {

Tap* the_tap = nullptr;

// Read by nobody, so that every byte of a packet is.
std::atomic<unsigned> sum_of_bytes;

}  // namespace

Tap::Tap(HostBoard& orders) : orders_(orders) { the_tap = this; }

Tap::~Tap() { Close(); }

bool Tap::Open(const ZevraChar* name) {
  const std::lock_guard hold(handle_mutex_);
  if (handle_ != nullptr) return true;
  Make(Call::kOpen, [&] { return ZevraOpenDevice(&handle_, name, ZEVRA_FLOW_RENDER); });
  return handle_ != nullptr;
}

void Tap::Close() {
  const std::lock_guard hold(handle_mutex_);
  if (handle_ == nullptr) return;
  Make(Call::kClose, [&] { return ZevraCloseDevice(handle_); });
  handle_ = nullptr;
  if (!in_callback_) stopped_ = capture_.load();
  // Packets of a capture that was closed from inside may still come, beside those of the next one.
  if (in_callback_) ++capture_;
}

bool Tap::IsOpen() {
  const std::lock_guard hold(handle_mutex_);
  return handle_ != nullptr;
}

bool Tap::StartCapture(const ZevraAudioFormat& format) {
  const std::lock_guard hold(handle_mutex_);
  if (handle_ == nullptr || in_callback_) return false;
  // A capture whose callback has stopped it is joined first, so that its last packets are its own.
  StopCapture();
  ++capture_;
  frame_bytes_ = format.channels * format.bits_per_sample / 8U;
  ++orders_.starts;
  return Make(Call::kStartCapture,
              [&] { return ZevraStartCapture(handle_, &format, Deliver, nullptr); }) == 0;
}

void Tap::StopCapture() {
  const std::lock_guard hold(handle_mutex_);
  if (handle_ == nullptr) return;
  Make(Call::kStopCapture, [&] { return ZevraStopCapture(handle_); });
  if (!in_callback_) stopped_ = capture_.load();
}

bool Tap::StartPlay() {
  const std::lock_guard hold(handle_mutex_);
  return handle_ != nullptr && Make(Call::kStartPlay, [&] { return ZevraStartPlay(handle_); }) == 0;
}

void Tap::StopPlay() {
  const std::lock_guard hold(handle_mutex_);
  if (handle_ != nullptr) Make(Call::kStopPlay, [&] { return ZevraStopPlay(handle_); });
}

bool Tap::HasVolume() {
  const std::lock_guard hold(handle_mutex_);
  if (handle_ == nullptr) return false;
  float volume = -1;
  const bool good =
      Make(Call::kVolume, [&] { return ZevraGetVolume(handle_, &volume); }) == ZEVRA_OK;
  if (good ? !(volume >= 0 && volume <= 1) : volume != -1)
    Fail("ZevraGetVolume wrote %f", static_cast<double>(volume));
  return good;
}

void Tap::Keep(bool on) {
  const std::lock_guard hold(kept_mutex_);
  keeps_ = on;
  if (on)
    kept_.clear();
  else
    kept_ = std::vector<std::uint8_t>();  // {} would keep the memory
}

std::vector<std::uint8_t> Tap::Kept() {
  const std::lock_guard hold(kept_mutex_);
  return kept_;
}

void Tap::Deliver(void* reserved, std::uint32_t silent, const std::uint8_t* data,
                  std::uint32_t length) {
  // The capture that this thread belongs to.
  thread_local const unsigned mine = the_tap->capture_;
  if (mine == the_tap->stopped_) Fail("a callback ran after the stop of its capture");
  if (reserved != nullptr || silent > 1 || (data == nullptr) != (length == 0))
    Fail("a callback got %p, %u, %p, %u", reserved, silent, static_cast<const void*>(data), length);
  if (mine == the_tap->capture_) the_tap->Take(silent, data, length);
}

void Tap::Take(std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  if (length % frame_bytes_ != 0) Fail("a callback got %u bytes, which is no whole frame", length);
  ++orders_.packets;
  unsigned sum = 0;
  for (std::uint32_t at = 0; data != nullptr && at < length; ++at) sum += data[at];
  sum_of_bytes += sum;
  {
    const std::lock_guard hold(kept_mutex_);
    if (keeps_) kept_.insert(kept_.end(), data, data + length);
  }
  if (const int stall_ms = orders_.stall_ms.exchange(0); stall_ms > 0) Pause(stall_ms);
  if (!inside) return;
  const std::unique_lock hold(handle_mutex_, std::try_to_lock);
  // Another thread may be in a stop, which waits for this callback.
  if (!hold.owns_lock() || handle_ == nullptr) return;
  in_callback_ = true;
  inside(*this);
  in_callback_ = false;
}

std::vector<float> CheckRamp() {
  std::vector<float> ramp;
  for (int frame = 0; frame < 65'534; ++frame) {
    ramp.push_back(static_cast<float>(frame % 32'767 + 1) / 32'768);
    ramp.push_back(-ramp.back());
  }
  return ramp;
}

std::vector<float> SoundOf(const std::vector<float>& samples) {
  const auto sounds = [](float sample) { return sample != 0; };
  const auto first = std::find_if(samples.begin(), samples.end(), sounds);
  const auto last = std::find_if(samples.rbegin(), std::make_reverse_iterator(first), sounds);
  return {first, last.base()};
}

std::vector<float> SoundIn(const char* file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(stream), {});
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  return SoundOf(samples);
}

}  // namespace zevra::endurance
