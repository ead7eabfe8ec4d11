// Every platform call of the capture and of the render thread fails in turn: what the host gets,
// the exact lines in the log, and nothing left behind.

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <thread>

#include "support/host.h"

namespace zevra::test {
namespace {

const std::string kInfo =
    "ZevraImpl::LoopBackCapture | IsFormatSupported | info | 0 | nChannels is 2, nSamplesPerSec is "
    "48000, nBlockAlign is 8, nAvgBytesPerSec is 384000, wFormatTag is 65534, wBitsPerSample is 32";
constexpr std::int32_t kNoStart = ZEVRA_E_FAIL;
constexpr auto kNoEvent = static_cast<std::int32_t>(0x800705AA);

// What is to come of a call that fails.
struct Failure {
  std::string call;
  int occurrence;
  std::int32_t start;
  std::string line;  // ahead of the exported function's own, which tells the result
  std::size_t callbacks = 0;
};

class StreamSweep : public CaptureHost {
 protected:
  // Opens, plays until the buffer was filled so often or the thread has ended, stops and closes.
  std::int32_t Play(int fills) {
    ZevraHandle const handle = OpenDefault();
    log.Clear();
    const std::int32_t result = ZevraStartPlay(handle);
    if (result == 0)
      EXPECT_TRUE(Eventually([fills] {
        auto counts = CurrentScript().Counts();
        return counts["stream:RenderClient::ReleaseBuffer"] >= fills ||
               counts["stream:CloseHandle"] > 0;
      }));
    EXPECT_EQ(ZevraStopPlay(handle), 0);
    EXPECT_EQ(ZevraCloseDevice(handle), 0);
    return result;
  }

  // Gives what comes behind them.
  static Lines ExpectInOrder(const Lines& calls, const Lines& some) {
    auto next = calls.begin();
    for (const std::string& call : some) {
      next = std::find(next, calls.end(), call);
      EXPECT_NE(next, calls.end()) << call;
      if (next == calls.end()) return {};
    }
    return {next + 1, calls.end()};
  }

  // `member` is the start's name in its message; that of a capture tells negative results only.
  void ExpectOutcome(const Failure& failure, std::int32_t result, const char* member) const {
    EXPECT_EQ(result, failure.start);
    Lines expected;
    if (!failure.line.empty()) expected.push_back(failure.line);
    if (failure.start < 0 || (failure.start > 0 && std::string(member) == "StartPlay")) {
      std::ostringstream exported;
      exported << "::ZevraStartCapture | error | " << member << ' ' << std::hex << failure.start;
      expected.push_back(exported.str());
    }
    Lines lines = log.Lines();
    std::erase(lines, kInfo);
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(CurrentScript().open_handles, 0);
    auto counts = CurrentScript().Counts();
    EXPECT_EQ(counts["stream:CoInitialize"] - (failure.call == "stream:CoInitialize" ? 1 : 0),
              counts["stream:CoUninitialize"]);
    EXPECT_EQ(counts["stream:Start"] - (failure.call == "stream:Start" ? 1 : 0),
              counts["stream:Stop"]);
  }
};

// The formats and the filter are set before the stream starts, the starter is released once it
// runs, the packet is held while the callback has it, and the stop event wins over the timer.
TEST_F(StreamSweep, OrdersThatMatterInACapture) {
  script.packets.resize(1);
  EXPECT_EQ(Capture(), 0);
  EXPECT_EQ(log.Lines(), Lines{kInfo});
  const Lines calls = script.Journal("stream:");
  EXPECT_EQ(
      ExpectInOrder(calls, {"Initialize 0 131072 0 0 tag 65534 bits 32 block 8 rate 48000",
                            "SetWaitableTimer -50000 5", "SetInputType", "SetOutputType",
                            "SetHalfFilterLength 60", "ProcessMessage 0",
                            "ProcessMessage 268435456", "ProcessMessage 268435459", "Start",
                            "SetEvent", "CaptureClient::GetBuffer", "MFCreateMemoryBuffer 3840",
                            "SetCurrentLength 3840", "MFCreateMemoryBuffer 352", "callback",
                            "CaptureClient::ReleaseBuffer 480", "WaitForMultipleObjects", "Stop"}),
      (Lines{"MFShutdown", "CancelWaitableTimer", "CloseHandle", "CoUninitialize"}));
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetEvent"), 1);
}

std::string Line(const std::string& stream, const std::string& operation,
                 const std::string& code = "88890004") {
  return "ZevraImpl::LoopBack" + stream + " | error | " + operation + " " + code;
}

// What streams of both kinds call before they run.
std::vector<Failure> StartFailures(const std::string& stream) {
  return {
      {"host:CreateEventW", 1, kNoEvent, ""},
      {"host:CreateEventW", 2, kNoEvent, ""},
      {"host:CreateThread", 1, 1450, "ZevraImpl::Start" + stream + " | error | CreateThread 1450"},
      {"stream:Activate", 1, kNoStart, Line(stream, "Activate")},
      {"stream:GetMixFormat", 1, kNoStart, Line(stream, "GetMixFormat")},
      {"stream:CreateWaitableTimerW", 1, kNoStart, Line(stream, "CreateWaitableTimer", "5aa")},
      {"stream:Initialize", 1, kNoStart, Line(stream, "audio_client_ptr->Initialize")},
      {"stream:GetBufferSize", 1, kNoStart, Line(stream, "audio_client_ptr->GetBufferSize")},
      {"stream:GetService", 1, kNoStart, Line(stream, "audio_client_ptr->GetService")},
      {"stream:Start", 1, kNoStart, Line(stream, "audio_client_ptr->Start()")},
  };
}

std::vector<Failure> CaptureFailures() {
  const auto line = [](const std::string& operation, const std::string& code = "88890004") {
    return Line("Capture", operation, code);
  };
  std::vector<Failure> failures = StartFailures("Capture");
  failures.insert(
      failures.end(),
      {{"stream:GetDevicePeriod", 1, kNoStart, line("GetDevicePeriod")},
       {"stream:IsFormatSupported", 1, kNoStart,
        "ZevraImpl::LoopBackCapture | IsFormatSupported | error | 88890004 | nChannels is 2, "
        "nSamplesPerSec is 48000, nBlockAlign is 8, nAvgBytesPerSec is 384000, wFormatTag is "
        "65534"},
       {"stream:CoInitialize", 1, kNoStart,
        "ZevraImpl::LoopBackCapture | ZevraInitialize | error | 88890004"},
       {"stream:AvSetMmThreadCharacteristicsW", 1, kNoStart,
        line("AvSetMmThreadCharacteristics", "5aa")},
       {"stream:SetWaitableTimer", 1, kNoStart, line("SetWaitableTimer", "5aa")},
       // The running stream: it ends, the host only sees that no callback comes any more.
       {"stream:GetNextPacketSize", 4, 0, "", 3},
       {"stream:WaitForMultipleObjects", 1, 0, line("wakeup", "error"), 3},
       {"stream:Stop", 1, 0, line("audio_client_ptr->Stop"), 3}});
  for (int packet = 1; packet <= 3; ++packet) {
    const auto before = static_cast<std::size_t>(packet - 1);
    failures.push_back({"stream:GetNextPacketSize", packet, 0, "", before});
    failures.push_back({"stream:CaptureClient::GetBuffer", packet, 0,
                        line("audio_capture_ptr->GetBuffer"), before});
    failures.push_back({"stream:CaptureClient::ReleaseBuffer", packet, 0,
                        line("audio_capture_ptr->ReleaseBuffer"), before + 1});
  }
  return failures;
}

// Results that nobody looks at.
const std::set<std::string> kIgnored = {"stream:callback",    "stream:SetEvent",
                                        "stream:CloseHandle", "stream:CancelWaitableTimer",
                                        "stream:MFShutdown",  "stream:CoUninitialize"};

TEST_F(StreamSweep, EveryCallOfACaptureFailsInTurn) {
  ASSERT_EQ(Capture(), 0);
  std::vector<Failure> failures = CaptureFailures();
  std::set<std::string> listed = kIgnored;
  for (const Failure& failure : failures) listed.insert(failure.call);
  // The others are the conversion's: none ends the stream, writes a line or keeps a callback away.
  for (const auto& [call, count] : script.Counts())
    for (int n = 1; call.starts_with("stream:") && !listed.contains(call) && n <= count; ++n)
      failures.push_back({call, n, 0, "", 3});
  EXPECT_GT(failures.size(), 100U);
  const std::vector<std::uint8_t> whole = {1, 2, 3, 4, 5, 6};
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.call + " " + std::to_string(failure.occurrence));
    ScriptedPlatform failing;
    failing.Fail(failure.call, failure.occurrence);
    ExpectOutcome(failure, Capture(), "StartCapture");
    EXPECT_EQ(deliveries.size(), failure.callbacks);
    for (const Delivery& delivery : deliveries) {
      // What is lost is lost at the end of a packet, and nothing is null but an empty one.
      EXPECT_TRUE(std::equal(delivery.bytes.begin(), delivery.bytes.end(), whole.begin()));
      EXPECT_EQ(delivery.null_data, delivery.bytes.empty());
    }
  }
}

// One thing that an endpoint has of its own, and a call that follows from it.
TEST_F(StreamSweep, AStreamFollowsItsEndpoint) {
  script.closest_format.Format.nChannels = 1;
  script.closest_format.Format.nBlockAlign = 4;
  script.closest_format.Format.nSamplesPerSec = 44'100;
  const auto no_mix_format = [](Script& other) { other.mix_format_is_supported = false; };
  const struct {
    bool plays;
    void (*change)(Script& script);
    std::string call;
  } traits[] = {
      {true, [](Script&) {}, "Initialize 0 0 10000000 0 tag 65534 bits 16 block 4 rate 48000"},
      {true, [](Script& other) { other.mix_format.SubFormat = KSDATAFORMAT_SUBTYPE_PCM; },
       "Initialize 0 0 10000000 0 tag 65534 bits 16 block 4 rate 48000"},
      {true, [](Script& other) { other.mix_format.Format.wFormatTag = WAVE_FORMAT_IEEE_FLOAT; },
       "Initialize 0 0 10000000 0 tag 1 bits 16 block 4 rate 48000"},
      {true, [](Script& other) { other.mix_format.Format.wFormatTag = WAVE_FORMAT_PCM; },
       "Initialize 0 0 10000000 0 tag 1 bits 32 block 8 rate 48000"},
      {true, [](Script& other) { other.buffer_frames = 47'999; }, "Sleep 499"},
      {true, [](Script& other) { other.buffer_frames = 10; }, "Sleep 1"},
      {false, [](Script& other) { other.device_period = 33'333; }, "SetWaitableTimer -16666 1"},
      {false, [](Script& other) { other.device_period = -5; }, "SetWaitableTimer -1 1"},
      {false, no_mix_format, "SetUINT32 " + Attribute(MF_MT_AUDIO_SAMPLES_PER_SECOND, 44'100)},
      {false, no_mix_format, "Initialize 0 131072 0 0 tag 65534 bits 32 block 4 rate 44100"},
  };
  for (const auto& [plays, change, call] : traits) {
    ScriptedPlatform other;
    change(other);
    EXPECT_EQ(plays ? Play(2) : Capture(), 0);
    EXPECT_THAT(other.Journal("stream:"), ::testing::Contains(call));
  }
  EXPECT_EQ(log.Lines(), (Lines{kInfo,
                                "ZevraImpl::LoopBackCapture | IsFormatSupported | error | 1, "
                                "change closest format"}));
}

// The buffer is full before the stream starts, the starter is released once it runs, and the last
// fill of all is the one marked silent.
TEST_F(StreamSweep, OrdersThatMatterInAStreamOfSilence) {
  script.paddings = {24'000, 48'000, 0};  // half empty, full, and run dry
  EXPECT_EQ(Play(4), 0);
  EXPECT_EQ(log.Lines(), Lines{});
  EXPECT_EQ(ExpectInOrder(script.Journal("stream:"),
                          {"RenderClient::ReleaseBuffer 48000 0", "Start", "SetEvent", "Sleep 500",
                           "GetCurrentPadding", "RenderClient::GetBuffer 24000",
                           "RenderClient::ReleaseBuffer 24000 0", "RenderClient::GetBuffer 0",
                           "RenderClient::ReleaseBuffer 0 0", "RenderClient::GetBuffer 48000",
                           "RenderClient::ReleaseBuffer 48000 2"}),
            (Lines{"WaitForMultipleObjects", "Stop", "CloseHandle"}));
}

TEST_F(StreamSweep, EveryCallOfAStreamOfSilenceFailsInTurn) {
  const std::string padding = Line("Play", "audio_client_ptr->GetCurrentPadding");
  const std::string get = Line("Play", "pRenderClient->GetBuffer");
  const std::string release = Line("Play", "pRenderClient->ReleaseBuffer");
  std::vector<Failure> failures = StartFailures("Play");
  failures.insert(failures.end(),
                  {{"host:WaitForMultipleObjects", 1, kNoStart, ""},
                   {"stream:RenderClient::GetBuffer", 1, kNoStart, get},
                   {"stream:RenderClient::ReleaseBuffer", 1, kNoStart, release},
                   {"stream:GetCurrentPadding", 2, 0, padding},
                   {"stream:RenderClient::GetBuffer", 2, 0, get},
                   {"stream:RenderClient::ReleaseBuffer", 3, 0, release},
                   {"stream:WaitForMultipleObjects", 1, 0, Line("Play", "wakeup", "error")}});
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.call + " " + std::to_string(failure.occurrence));
    ScriptedPlatform failing;
    failing.Fail(failure.call, failure.occurrence);
    ExpectOutcome(failure, Play(4), "StartPlay");
  }
}

// A stop on one handle ends the filling of the other, which stands until its own stop; a start
// clears the flag for all, and the one that waits still stops.
TEST_F(StreamSweep, AStopEndsTheFillingOfOtherHandles) {
  ZevraHandle const first = OpenDefault(), second = OpenDefault();
  ASSERT_EQ(ZevraStartPlay(first), 0);
  ASSERT_EQ(ZevraStartPlay(second), 0);
  EXPECT_EQ(ZevraStopPlay(first), 0);
  EXPECT_TRUE(Eventually([&] { return script.Counts()["stream:WaitForMultipleObjects"] == 2; }));
  EXPECT_EQ(ZevraStartPlay(first), 0);
  for (ZevraHandle const handle : {second, first}) {
    EXPECT_EQ(ZevraStopPlay(handle), 0);
    EXPECT_EQ(ZevraCloseDevice(handle), 0);
  }
}

// A start elsewhere clears the flag while a stream that was told to stop still sleeps; the stop
// must end all the same.
TEST_F(StreamSweep, AStartElsewhereDoesNotSwallowAStop) {
  script.sleep_for_real = true;
  script.buffer_frames = 9'600;  // sleeps of 100 ms
  ZevraHandle const first = OpenDefault(), second = OpenDefault();
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
