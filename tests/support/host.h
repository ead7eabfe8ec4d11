#ifndef ZEVRA_TESTS_SUPPORT_HOST_H
#define ZEVRA_TESTS_SUPPORT_HOST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/eventually.h"
#include "support/live_objects.h"
#include "support/log_capture.h"
#include "support/scripted_platform.h"
#include "zevra/zevra.h"

namespace zevra::test {

// 16-bit mono at 16 kHz, the usual wish of a speech recogniser.
inline ZevraAudioFormat SpeechFormat() { return {ZEVRA_SAMPLE_PCM, 1, 16, 16'000, 0, 16, 0}; }

// A scripted platform with a captured log, COM on the test's thread, and the promise that nothing
// is left of either when the test is over.
class ScriptedHost : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_GE(ZevraInitialize(), 0); }
  void TearDown() override {
    ZevraUninitialize();
    EXPECT_EQ(script.OpenHandles(), 0);
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

}  // namespace zevra::test

#endif
