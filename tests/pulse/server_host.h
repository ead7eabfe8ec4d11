#ifndef ZEVRA_TESTS_PULSE_SERVER_HOST_H
#define ZEVRA_TESTS_PULSE_SERVER_HOST_H

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "zevra/zevra.h"

// A host program beside a real sound server. It knows the public header and the shared library,
// nothing of what is behind them.

namespace zevra::test {

ZevraAudioFormat MakeFormat(std::int32_t kind, std::uint16_t bits, std::uint32_t rate,
                            std::uint16_t channels);

// Of a speech recogniser.
inline const ZevraAudioFormat kSpeech = MakeFormat(ZEVRA_SAMPLE_PCM, 16, 16'000, 1);

// What one callback receives. The library passes nothing through to it, so each recording has a
// function of its own; there are at most 16 at a time.
class Recording {
 public:
  // Keeps the first `most_bytes` bytes.
  explicit Recording(std::size_t most_bytes = 0);
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  ZevraCaptureCallback Callback() const;
  unsigned Packets() const { return packets_; }
  std::size_t Size() const { return size_; }
  bool IsFull() const { return Size() == most_bytes_; }
  std::vector<std::uint8_t> Bytes() const;
  std::vector<float> Floats() const;
  // Waits for `count` further packets.
  bool Goes(unsigned count = 3) const;
  // Waits until the last float sample is none of silence.
  bool Sounds() const;
  // Waits until no packet has come for a third of a second.
  void WaitUntilQuiet() const;

  // Runs inside the callback; set it before the start.
  std::function<void()> on_packet;

  void Take(const std::uint8_t* data, std::uint32_t length);

 private:
  std::size_t slot_ = 0;
  const std::size_t most_bytes_;
  std::atomic<unsigned> packets_{0};
  std::atomic<std::size_t> size_{0};
  mutable std::mutex mutex_;
  std::vector<std::uint8_t> bytes_;
};

using Names = std::vector<std::string>;

// What one of the list functions gives, in UTF-8 where the system has that.
Names NamesIn(std::int32_t (*list_function)(ZevraDeviceList*));

// An open handle, null after a failure.
class Device {
 public:
  explicit Device(const ZevraChar* name = nullptr, std::uint32_t flow = ZEVRA_FLOW_RENDER)
      : result_(ZevraOpenDevice(&handle_, name, flow)) {}
  ~Device() { EXPECT_EQ(ZevraCloseDevice(handle_), 0); }
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  std::int32_t Result() const { return result_; }
  operator ZevraHandle() const { return handle_; }  // NOLINT(google-explicit-constructor)
  std::int32_t Start(const Recording& recording, const ZevraAudioFormat& format = kSpeech) const {
    return ZevraStartCapture(handle_, &format, recording.Callback(), nullptr);
  }

 private:
  ZevraHandle handle_ = nullptr;
  std::int32_t result_;
};

class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_GE(ZevraInitialize(), 0); }
  void TearDown() override { ZevraUninitialize(); }
};

}  // namespace zevra::test

#endif
