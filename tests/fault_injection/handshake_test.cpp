// Starts, stops and closes in every order, from the host's threads and from inside the callback.

#include <algorithm>
#include <atomic>

#include "support/host.h"

namespace zevra::test {
namespace {

// What the callback does in the test at hand.
std::atomic<ZevraHandle> in_callback{nullptr};
std::atomic<int> callbacks{0};

void Count(void*, std::uint32_t, const std::uint8_t*, std::uint32_t) { ++callbacks; }

std::int32_t Start(ZevraHandle handle, ZevraCaptureCallback callback = Count) {
  const ZevraAudioFormat format = SpeechFormat();
  return ZevraStartCapture(handle, &format, callback, nullptr);
}

void StopFromInside(void*, std::uint32_t, const std::uint8_t*, std::uint32_t) {
  EXPECT_EQ(ZevraStopCapture(in_callback), 0);
  EXPECT_EQ(Start(in_callback), ZEVRA_E_NOT_STOPPED);
  ++callbacks;
}

void CloseFromInside(void*, std::uint32_t, const std::uint8_t*, std::uint32_t) {
  if (callbacks++ == 0) EXPECT_EQ(ZevraCloseDevice(in_callback), 0);
}

class Handshake : public CaptureHost {
 protected:
  Handshake() { callbacks = 0; }

  bool StreamEnds() {
    return Eventually([&] { return script.Counts()["stream:CoUninitialize"] == 1; });
  }
};

TEST_F(Handshake, RunningStreamRefusesASecondStart) {
  ZevraHandle const handle = OpenDefault();
  EXPECT_EQ(ZevraStopCapture(handle), 0);  // before any start
  EXPECT_EQ(ZevraStopPlay(handle), 0);
  ASSERT_EQ(Start(handle), 0);
  ASSERT_EQ(ZevraStartPlay(handle), 0);
  EXPECT_EQ(Start(handle), ZEVRA_E_NOT_STOPPED);
  EXPECT_EQ(ZevraStartPlay(handle), ZEVRA_E_NOT_STOPPED);
  EXPECT_TRUE(Eventually([] { return callbacks == 3; }));
  // Stops in the other order than the starts, and each twice.
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(ZevraStopCapture(handle), 0);
    EXPECT_EQ(ZevraStopPlay(handle), 0);
  }
  EXPECT_EQ(Start(handle), 0);
  EXPECT_EQ(ZevraStartPlay(handle), 0);
  EXPECT_EQ(ZevraCloseDevice(handle), 0);  // with both running
}

// A stream that failed or ended is started again without a stop in between.
TEST_F(Handshake, StartCleansUpWhatEnded) {
  ZevraHandle const handle = OpenDefault();
  script.Fail("stream:Activate", 1);
  EXPECT_EQ(Start(handle), ZEVRA_E_FAIL);
  script.Fail("stream:WaitForMultipleObjects", 1);
  EXPECT_EQ(Start(handle), 0);
  EXPECT_TRUE(StreamEnds());
  std::int32_t result = ZEVRA_E_NOT_STOPPED;  // until the thread is seen to have ended
  EXPECT_TRUE(Eventually([&] { return (result = Start(handle)) != ZEVRA_E_NOT_STOPPED; }));
  EXPECT_EQ(result, 0);
  EXPECT_EQ(ZevraStopCapture(handle), 0);
  EXPECT_EQ(ZevraCloseDevice(handle), 0);
}

TEST_F(Handshake, StopFromInsideTheCallback) {
  in_callback = OpenDefault();
  for (int round = 0; round < 3; ++round) {
    callbacks = 0;
    ASSERT_EQ(Start(in_callback, StopFromInside), 0);
    EXPECT_TRUE(Eventually([] { return callbacks == 3; }));
    // In turn the next start, a stop and the close give back what the stream held.
    if (round == 1) EXPECT_EQ(ZevraStopCapture(in_callback), 0);
  }
  EXPECT_EQ(ZevraCloseDevice(in_callback), 0);
}

TEST_F(Handshake, CloseFromInsideTheCallback) {
  LogCapture traces(0x80);
  for (int round = 0; round < 20; ++round) {
    in_callback = OpenDefault();
    ASSERT_EQ(ZevraStartPlay(in_callback), 0);
    callbacks = 0;
    traces.Clear();
    // The callback may be through before the start is.
    ASSERT_EQ(Start(in_callback, CloseFromInside), 0);
    // The object goes once its thread is done with it, and takes the silent stream along.
    EXPECT_TRUE(Eventually([&] {
      const auto lines = traces.Lines();
      return std::count(lines.begin(), lines.end(), "ZevraImpl::CloseDevice | leave.") == 1;
    }));
    EXPECT_EQ(script.open_handles, 0);
    // The capture's own, and one that holds COM until the endpoint is gone.
    const int held = 2 * (round + 1);
    EXPECT_TRUE(Eventually([&] { return script.Counts()["stream:CoUninitialize"] == held; }));
  }
}

TEST_F(Handshake, ExceptionFromTheCallbackEndsTheStream) {
  ZevraHandle const handle = OpenDefault();
  const auto thrower = [](void*, std::uint32_t, const std::uint8_t*, std::uint32_t) { throw 1; };
  ASSERT_EQ(Start(handle, thrower), 0);
  EXPECT_TRUE(StreamEnds());
  EXPECT_EQ(log.Lines().back(), "ZevraImpl::LoopBackCapture | error | callback 8000ffff");
  EXPECT_EQ(ZevraStopCapture(handle), 0);
  EXPECT_EQ(ZevraCloseDevice(handle), 0);
}

}  // namespace
}  // namespace zevra::test
