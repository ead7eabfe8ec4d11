#include "pulse/server_host.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>

#include "support/eventually.h"

namespace zevra::test {
namespace {

std::array<std::atomic<Recording*>, 16> slots;

template <std::size_t slot>
void Deliver(void* reserved, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  EXPECT_EQ(reserved, nullptr);
  slots[slot].load()->Take(data, length);
}

template <std::size_t... slot>
constexpr auto Functions(std::index_sequence<slot...>) {
  return std::array<ZevraCaptureCallback, sizeof...(slot)>{&Deliver<slot>...};
}

}  // namespace

ZevraAudioFormat MakeFormat(std::int32_t kind, std::uint16_t bits, std::uint32_t rate,
                            std::uint16_t channels) {
  constexpr std::uint32_t kFivePointOne = 0x3F;
  return {kind, channels, bits, rate, channels == 6 ? kFivePointOne : 0, bits, 0};
}

Names NamesIn(std::int32_t (*list_function)(ZevraDeviceList*)) {
  ZevraDeviceList list{};
  EXPECT_EQ(list_function(&list), 0);
  Names names;
  for (std::uint32_t row = 0; row < list.count; ++row)
    names.push_back(std::filesystem::path(list.names[row]).string());
  return names;
}

Recording::Recording(std::size_t most_bytes) : most_bytes_(most_bytes) {
  bytes_.reserve(most_bytes);
  for (Recording* taken = nullptr; !slots.at(slot_).compare_exchange_strong(taken, this); ++slot_)
    taken = nullptr;
}

Recording::~Recording() { slots[slot_] = nullptr; }

ZevraCaptureCallback Recording::Callback() const {
  return Functions(std::make_index_sequence<slots.size()>())[slot_];
}

void Recording::Take(const std::uint8_t* data, std::uint32_t length) {
  if (on_packet) on_packet();
  {
    const std::lock_guard hold(mutex_);
    bytes_.insert(bytes_.end(), data,
                  data + std::min<std::size_t>(length, most_bytes_ - bytes_.size()));
    size_ = bytes_.size();
  }
  ++packets_;
}

std::vector<std::uint8_t> Recording::Bytes() const {
  const std::lock_guard hold(mutex_);
  return bytes_;
}

std::vector<float> Recording::Floats() const {
  const std::vector<std::uint8_t> bytes = Bytes();
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  return samples;
}

bool Recording::Goes(unsigned count) const {
  const unsigned wanted = packets_ + count;
  return Eventually([&] { return packets_ >= wanted; });
}

bool Recording::Sounds() const {
  return Eventually([this] {
    const std::lock_guard hold(mutex_);
    float last = 0;
    if (bytes_.size() >= sizeof last) std::memcpy(&last, &*bytes_.end() - sizeof last, sizeof last);
    return last != 0;
  });
}

void Recording::WaitUntilQuiet() const {
  unsigned before = 0;
  do {
    before = packets_;
    std::this_thread::sleep_for(std::chrono::milliseconds(333));
  } while (packets_ != before);
}

}  // namespace zevra::test
