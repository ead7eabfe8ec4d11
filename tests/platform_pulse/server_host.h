#ifndef ZEVRA_TESTS_PLATFORM_PULSE_SERVER_HOST_H
#define ZEVRA_TESTS_PLATFORM_PULSE_SERVER_HOST_H

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/com_object.h"
#include "platform/owners.h"
#include "support/eventually.h"
#include "support/linux/sound_server.h"

// What the tests on a real server share: the server's own tools beside the objects under test.
namespace zevra::test {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

inline constexpr DWORD kLoopback = AUDCLNT_STREAMFLAGS_LOOPBACK;
inline constexpr UINT32 kRate = 48'000;  // frames a second, of all the endpoints

// The last endpoint of that name; null, and a failed test, without one.
ComPtr<IMMDevice> Find(const std::u16string& name);

// A client with the endpoint's mix format and its service, if it has got that far.
struct Stream {
  explicit Stream(IMMDevice* device);
  HRESULT Initialize(DWORD flags, REFERENCE_TIME duration = 0);

  ComPtr<IAudioClient> client;
  WAVEFORMATEXTENSIBLE format{};
  ComPtr<IAudioCaptureClient> capture;
  ComPtr<IAudioRenderClient> render;
};

// The oldest packet, the host's until it is released. `result` is GetBuffer's.
struct Packet {
  explicit Packet(Stream& stream)
      : result(stream.capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr)) {}
  BYTE* data = nullptr;
  UINT32 frames = 0;
  DWORD flags = 0;
  HRESULT result;
};

// Initialises and starts a capture of float frames.
void StartCapture(Stream& stream, DWORD flags = kLoopback);
// Appends what has arrived to `samples`; fails the test at an error or a flagged packet.
void Drain(Stream& stream, std::vector<float>* samples);
// Drains every 5 ms for that long.
std::vector<float> Record(Stream& stream, milliseconds time);

// COM on the test's thread.
class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_GE(CoInitialize(nullptr), 0); }
  void TearDown() override { CoUninitialize(); }
};

}  // namespace zevra::test

#endif
