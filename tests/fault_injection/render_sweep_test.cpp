// The silent render stream: its life in order, every platform call failing in turn, and the flag
// that all of them share.

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/host.h"

namespace zevra::test {
namespace {

using Lines = std::vector<std::string>;

class RenderSweep : public ScriptedHost {
 protected:
  void SetUp() override {
    ScriptedHost::SetUp();
    script.paddings = {24'000, 48'000, 0};
  }

  static bool FilledTimes(ScriptedPlatform& platform, int fills) {
    return platform.Counts()["stream:RenderClient::ReleaseBuffer"] >= fills ||
           platform.Counts()["stream:CloseHandle"] > 0;
  }

  std::int32_t Play(ScriptedPlatform& platform, int fills) {
    ZevraHandle const handle = OpenDefault();
    log.Clear();
    const std::int32_t result = ZevraStartPlay(handle);
    if (result == 0) EXPECT_TRUE(Eventually([&] { return FilledTimes(platform, fills); }));
    EXPECT_EQ(ZevraStopPlay(handle), 0);
    EXPECT_EQ(ZevraCloseDevice(handle), 0);
    return result;
  }
};

// The buffer is full before the stream starts, the starter is released once it runs, and the last
// fill of all is the one marked silent.
TEST_F(RenderSweep, OrdersThatMatter) {
  EXPECT_EQ(Play(script, 4), 0);
  EXPECT_TRUE(log.Lines().empty());
  const Lines calls = script.Journal("stream:");
  auto next = calls.begin();
  for (const char* call :
       {"RenderClient::ReleaseBuffer 48000 0", "Start", "SetEvent", "Sleep 500",
        // Half empty, full, and run dry.
        "GetCurrentPadding", "RenderClient::GetBuffer 24000", "RenderClient::ReleaseBuffer 24000 0",
        "RenderClient::GetBuffer 0", "RenderClient::ReleaseBuffer 0 0",
        "RenderClient::GetBuffer 48000", "RenderClient::ReleaseBuffer 48000 2"}) {
    next = std::find(next, calls.end(), call);
    ASSERT_NE(next, calls.end()) << call;
  }
  EXPECT_EQ(
      Lines(next + 1, calls.end()),
      (Lines{"WaitForMultipleObjects CreateEventW CreateWaitableTimerW", "Stop", "CloseHandle"}));
}

TEST_F(RenderSweep, EveryCallFailsInTurn) {
  const auto line = [](const std::string& operation, const std::string& code = "88890004") {
    return "ZevraImpl::LoopBackPlay | error | " + operation + " " + code;
  };
  constexpr std::int32_t kNoStart = ZEVRA_E_FAIL;
  constexpr auto kNoEvent = static_cast<std::int32_t>(0x800705AA);
  struct Case {
    const char* call;
    int occurrence;
    std::int32_t start;
    std::string line;  // ahead of the exported function's own, which tells the result
  };
  const std::vector<Case> cases = {
      {"host:CreateEventW", 1, kNoEvent, ""},
      {"host:CreateEventW", 2, kNoEvent, ""},
      {"host:CreateThread", 1, 1450, "ZevraImpl::StartPlay | error | CreateThread 1450"},
      {"host:WaitForMultipleObjects", 1, kNoStart, ""},
      {"stream:Activate", 1, kNoStart, line("Activate")},
      {"stream:GetMixFormat", 1, kNoStart, line("GetMixFormat")},
      {"stream:CreateWaitableTimerW", 1, kNoStart, line("CreateWaitableTimer", "5aa")},
      {"stream:Initialize", 1, kNoStart, line("audio_client_ptr->Initialize")},
      {"stream:GetBufferSize", 1, kNoStart, line("audio_client_ptr->GetBufferSize")},
      {"stream:GetService", 1, kNoStart, line("audio_client_ptr->GetService")},
      {"stream:RenderClient::GetBuffer", 1, kNoStart, line("pRenderClient->GetBuffer")},
      {"stream:RenderClient::ReleaseBuffer", 1, kNoStart, line("pRenderClient->ReleaseBuffer")},
      {"stream:Start", 1, kNoStart, line("audio_client_ptr->Start()")},
      {"stream:GetCurrentPadding", 2, 0, line("audio_client_ptr->GetCurrentPadding")},
      {"stream:RenderClient::GetBuffer", 2, 0, line("pRenderClient->GetBuffer")},
      {"stream:RenderClient::ReleaseBuffer", 3, 0, line("pRenderClient->ReleaseBuffer")},
      {"stream:WaitForMultipleObjects", 1, 0, "ZevraImpl::LoopBackPlay | error | wakeup error"},
  };
  ASSERT_EQ(Play(script, 4), 0);
  std::set<std::string> left;  // results that nobody looks at, and calls of the open
  for (const auto& [call, count] : script.Counts()) left.insert(call);
  for (const char* call :
       {"host:CoInitialize", "host:CoCreateInstance(enumerator)", "host:GetDefaultAudioEndpoint",
        "host:OpenPropertyStore", "host:GetValue", "host:SetEvent", "host:WaitForSingleObject",
        "host:CloseHandle", "stream:SetEvent", "stream:Sleep", "stream:Stop", "stream:CloseHandle"})
    left.erase(call);
  for (const Case& failure : cases) {
    SCOPED_TRACE(failure.call);
    ScriptedPlatform failing;
    failing.Fail(failure.call, failure.occurrence);
    EXPECT_EQ(Play(failing, 4), failure.start);
    Lines expected;
    if (!failure.line.empty()) expected.push_back(failure.line);
    if (failure.start != 0) {
      std::ostringstream exported;
      exported << "::ZevraStartCapture | error | StartPlay " << std::hex << failure.start;
      expected.push_back(exported.str());
    }
    EXPECT_EQ(log.Lines(), expected);
    EXPECT_EQ(failing.OpenHandles(), 0);
    left.erase(failure.call);
  }
  EXPECT_EQ(left, std::set<std::string>{}) << "calls without a case";
}

TEST_F(RenderSweep, MixFormatBecomesSixteenBit) {
  struct Case {
    WORD tag;
    GUID sub_format;
    const char* initialize;
  };
  const std::vector<Case> cases = {
      {0xFFFE, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, "tag=65534 bits=16 block=4"},
      {3, {}, "tag=1 bits=16 block=4"},
      {0xFFFE, KSDATAFORMAT_SUBTYPE_PCM, "tag=65534 bits=16 block=4"},
      {1, {}, "tag=1 bits=32 block=8"},
  };
  for (const Case& format : cases) {
    ScriptedPlatform other;
    other.mix_format.Format.wFormatTag = format.tag;
    other.mix_format.SubFormat = format.sub_format;
    EXPECT_EQ(Play(other, 2), 0);
    EXPECT_THAT(other.Journal("stream:"),
                ::testing::Contains(std::string("Initialize 0 0 10000000 0 ") + format.initialize +
                                    " rate=48000"));
  }
}

TEST_F(RenderSweep, PauseIsHalfTheBuffer) {
  const std::vector<std::pair<UINT32, std::string>> cases = {
      {48'000, "Sleep 500"}, {47'999, "Sleep 499"}, {480, "Sleep 5"}, {10, "Sleep 1"}};
  for (const auto& [frames, call] : cases) {
    ScriptedPlatform other;
    other.buffer_frames = frames;
    EXPECT_EQ(Play(other, 2), 0);
    EXPECT_THAT(other.Journal("stream:"), ::testing::Contains(call));
  }
}

// A stop on one handle ends the filling of the others, which stand until their own stop.
TEST_F(RenderSweep, StopEndsTheFillingOfOtherHandles) {
  ZevraHandle const first = OpenDefault();
  ZevraHandle const second = OpenDefault();
  ASSERT_EQ(ZevraStartPlay(first), 0);
  ASSERT_EQ(ZevraStartPlay(second), 0);
  EXPECT_EQ(ZevraStopPlay(first), 0);
  // Both have left their loops for the wait.
  EXPECT_TRUE(Eventually([&] { return script.Counts()["stream:WaitForMultipleObjects"] == 2; }));
  // A start clears the flag for all; the waiting stream stays where it is and still stops.
  EXPECT_EQ(ZevraStartPlay(first), 0);
  EXPECT_EQ(ZevraStopPlay(second), 0);
  EXPECT_EQ(ZevraStopPlay(first), 0);
  EXPECT_EQ(ZevraCloseDevice(second), 0);
  EXPECT_EQ(ZevraCloseDevice(first), 0);
}

// A start elsewhere clears the flag while a stream that was told to stop still sleeps; the stop
// must end all the same.
TEST_F(RenderSweep, StartElsewhereDoesNotSwallowAStop) {
  script.sleep_for_real = true;
  script.buffer_frames = 9'600;  // sleeps of 100 ms
  ZevraHandle const first = OpenDefault();
  ZevraHandle const second = OpenDefault();
  ASSERT_EQ(ZevraStartPlay(first), 0);
  std::thread stopper([&] { EXPECT_EQ(ZevraStopPlay(first), 0); });
  // The first stream's ready event, then the stop's own, behind the flag.
  EXPECT_TRUE(Eventually([&] { return script.Counts()["stream:SetEvent"] >= 2; }));
  EXPECT_EQ(ZevraStartPlay(second), 0);
  stopper.join();
  EXPECT_EQ(ZevraStopPlay(second), 0);
  EXPECT_EQ(ZevraCloseDevice(second), 0);
  EXPECT_EQ(ZevraCloseDevice(first), 0);
}

}  // namespace
}  // namespace zevra::test
