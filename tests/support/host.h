#ifndef ZEVRA_TESTS_SUPPORT_HOST_H
#define ZEVRA_TESTS_SUPPORT_HOST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/eventually.h"
#include "support/log_capture.h"
#include "support/scripted_platform.h"
#include "zevra/zevra.h"

namespace zevra::test {

using Lines = std::vector<std::string>;

// 16-bit mono at 16 kHz, the usual wish of a speech recogniser.
inline ZevraAudioFormat SpeechFormat() { return {ZEVRA_SAMPLE_PCM, 1, 16, 16'000, 0, 16, 0}; }

// A scripted platform with a captured log, COM on the test's thread, and the promise that nothing
// is left of either when the test is over.
class ScriptedHost : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_GE(ZevraInitialize(), 0); }
  void TearDown() override {
    ZevraUninitialize();
    EXPECT_EQ(script.open_handles, 0);
    EXPECT_EQ(live_objects.load(), objects_before_);
  }

  ZevraHandle OpenDefault() {
    ZevraHandle handle = nullptr;
    EXPECT_EQ(ZevraOpenDevice(&handle, nullptr, ZEVRA_FLOW_RENDER), 0);
    return handle;
  }

 private:
  const long objects_before_ = live_objects.load();

 protected:
  LogCapture log;
  ScriptedPlatform script;
};

struct Delivery {
  std::uint32_t silent;
  std::vector<std::uint8_t> bytes;
  bool null_data;
  bool operator==(const Delivery&) const = default;
};

// What the callback was given; read it when no capture runs.
inline std::vector<Delivery> deliveries;

// A host that captures three packets of the script.
class CaptureHost : public ScriptedHost {
 protected:
  CaptureHost() {
    script.packets = {0, AUDCLNT_BUFFERFLAGS_SILENT, AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY};
    script.pulls = {{1, 2, 3, 4}, {5, 6}};
  }

  // Opens, captures until the stream's thread waits for the timer or has left, stops and closes.
  std::int32_t Capture(const ZevraAudioFormat& format = SpeechFormat()) {
    ZevraHandle const handle = OpenDefault();
    log.Clear();
    deliveries.clear();
    const std::int32_t result = ZevraStartCapture(handle, &format, Collect, this);
    if (result == 0)
      EXPECT_TRUE(Eventually([] {
        const auto counts = CurrentScript().Counts();
        return counts.contains("stream:WaitForMultipleObjects") ||
               counts.contains("stream:CoUninitialize");
      }));
    EXPECT_EQ(ZevraStopCapture(handle), 0);
    EXPECT_EQ(CurrentScript().open_handles, 0);
    EXPECT_EQ(ZevraCloseDevice(handle), 0);
    return result;
  }

 private:
  static void Collect(void* reserved, std::uint32_t silent, const std::uint8_t* data,
                      std::uint32_t length) {
    EXPECT_EQ(reserved, nullptr);
    CurrentScript().Fails("callback");
    deliveries.push_back({silent, {data, data + length}, data == nullptr});
  }
};

}  // namespace zevra::test

#endif
