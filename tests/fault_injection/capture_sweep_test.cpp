// Every platform call of the capture thread fails in turn: what the host gets, the exact lines in
// the log, and nothing left behind.

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "fault_injection/capture_host.h"

namespace zevra::test {
namespace {

class CaptureSweep : public CaptureHost {};

std::string ErrorLine(const std::string& operation, const std::string& code = "88890004") {
  return "ZevraImpl::LoopBackCapture | error | " + operation + " " + code;
}

// The formats and the filter are set before the stream starts, the starter is released once it
// runs, the packet is held while the callback has it, and the stop event wins over the timer.
TEST_F(CaptureSweep, OrdersThatMatter) {
  script.packets.resize(1);
  EXPECT_EQ(Capture(), 0);
  const Lines calls = script.Journal("stream:");
  auto next = calls.begin();
  for (const char* call :
       {"Initialize 0 131072 0 0 tag=65534 bits=32 block=8 rate=48000", "SetWaitableTimer -50000 5",
        "SetInputType", "SetOutputType", "SetHalfFilterLength 60", "ProcessMessage 0",
        "ProcessMessage 268435456", "ProcessMessage 268435459", "Start", "SetEvent",
        "CaptureClient::GetBuffer", "MFCreateMemoryBuffer 3840", "SetCurrentLength 3840",
        "MFCreateMemoryBuffer 352", "callback", "CaptureClient::ReleaseBuffer 480",
        "WaitForMultipleObjects CreateEventW CreateWaitableTimerW", "Stop"}) {
    next = std::find(next, calls.end(), call);
    ASSERT_NE(next, calls.end()) << call;
  }
  EXPECT_EQ(Lines(next, calls.end()),
            (Lines{"Stop", "MFShutdown", "CancelWaitableTimer", "CloseHandle", "CoUninitialize"}));
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetEvent"), 1);
  EXPECT_THAT(script.Journal("host:"),
              ::testing::Contains("WaitForMultipleObjects CreateEventW CreateThread"));
}

// What is to come of a call that fails.
struct Outcome {
  std::int32_t start = 0;
  Lines lines;  // all of them, in order
  std::size_t callbacks = 0;
};

Outcome FailsToStart(Lines lines) {
  lines.push_back(kStartFailed);
  return {ZEVRA_E_FAIL, std::move(lines), 0};
}

Outcome EndsAfter(std::size_t callbacks, const char* operation) {
  return {0, {kInfo, ErrorLine(operation)}, callbacks};
}

const std::string kErrorCode = "5aa";  // kFailureError
const Outcome kCarriesOn = {0, {kInfo}, 3};

// By call, with the occurrence where it matters. A call that is not here fails the test.
const std::map<std::string, Outcome>& Outcomes() {
  static const std::map<std::string, Outcome> outcomes = {
      // The start, on the host's thread.
      {"host:CreateEventW",
       {static_cast<std::int32_t>(0x800705AA),
        {"::ZevraStartCapture | error | StartCapture 800705aa"},
        0}},
      {"host:CreateThread", {1450, {"ZevraImpl::StartCapture | error | CreateThread 1450"}, 0}},
      // The start, on the stream's thread.
      {"stream:Activate", FailsToStart({ErrorLine("Activate")})},
      {"stream:GetDevicePeriod", FailsToStart({ErrorLine("GetDevicePeriod")})},
      {"stream:GetMixFormat", FailsToStart({ErrorLine("GetMixFormat")})},
      {"stream:IsFormatSupported",
       FailsToStart({kInfo,
                     "ZevraImpl::LoopBackCapture | IsFormatSupported | error | 88890004 | "
                     "nChannels is 2, nSamplesPerSec is 48000, nBlockAlign is 8, nAvgBytesPerSec "
                     "is 384000, wFormatTag is 65534"})},
      {"stream:CreateWaitableTimerW",
       FailsToStart({kInfo, ErrorLine("CreateWaitableTimer", kErrorCode)})},
      {"stream:CoInitialize",
       FailsToStart({kInfo, "ZevraImpl::LoopBackCapture | ZevraInitialize | error | 88890004"})},
      {"stream:Initialize", FailsToStart({kInfo, ErrorLine("audio_client_ptr->Initialize")})},
      {"stream:GetBufferSize", FailsToStart({kInfo, ErrorLine("audio_client_ptr->GetBufferSize")})},
      {"stream:GetService", FailsToStart({kInfo, ErrorLine("audio_client_ptr->GetService")})},
      {"stream:AvSetMmThreadCharacteristicsW",
       FailsToStart({kInfo, ErrorLine("AvSetMmThreadCharacteristics", kErrorCode)})},
      {"stream:SetWaitableTimer", FailsToStart({kInfo, ErrorLine("SetWaitableTimer", kErrorCode)})},
      {"stream:Start", FailsToStart({kInfo, ErrorLine("audio_client_ptr->Start()")})},
      // The running stream: it ends, the host only sees that no callback comes any more.
      {"stream:GetNextPacketSize 1", {0, {kInfo}, 0}},
      {"stream:GetNextPacketSize 2", {0, {kInfo}, 1}},
      {"stream:GetNextPacketSize 3", {0, {kInfo}, 2}},
      {"stream:GetNextPacketSize 4", {0, {kInfo}, 3}},
      {"stream:CaptureClient::GetBuffer 1", EndsAfter(0, "audio_capture_ptr->GetBuffer")},
      {"stream:CaptureClient::GetBuffer 2", EndsAfter(1, "audio_capture_ptr->GetBuffer")},
      {"stream:CaptureClient::GetBuffer 3", EndsAfter(2, "audio_capture_ptr->GetBuffer")},
      {"stream:CaptureClient::ReleaseBuffer 1", EndsAfter(1, "audio_capture_ptr->ReleaseBuffer")},
      {"stream:CaptureClient::ReleaseBuffer 2", EndsAfter(2, "audio_capture_ptr->ReleaseBuffer")},
      {"stream:CaptureClient::ReleaseBuffer 3", EndsAfter(3, "audio_capture_ptr->ReleaseBuffer")},
      {"stream:WaitForMultipleObjects 1",
       {0, {kInfo, "ZevraImpl::LoopBackCapture | error | wakeup error"}, 3}},
      {"stream:Stop", EndsAfter(3, "audio_client_ptr->Stop")},
  };
  return outcomes;
}

// The conversion's own calls: none ends the stream, writes a line or keeps a callback away.
const std::string kConversion =
    " MFStartup CoCreateInstance(resampler) QueryInterface(IMFTransform) QueryInterface(props)"
    " MFCreateMediaType SetGUID SetUINT32 SetInputType SetOutputType SetHalfFilterLength"
    " ProcessMessage MFCreateMemoryBuffer Lock Unlock SetCurrentLength MFCreateSample AddBuffer"
    " GetInputStatus ProcessInput ProcessOutput ConvertToContiguousBuffer GetCurrentLength ";
// Results that nobody looks at, and calls of the open, which have their own sweep.
const std::string kLeftOut =
    " host:CoInitialize host:CoCreateInstance(enumerator) host:GetDefaultAudioEndpoint"
    " host:OpenPropertyStore host:GetValue host:SetEvent host:WaitForSingleObject host:CloseHandle"
    " host:WaitForMultipleObjects stream:callback stream:SetEvent stream:CancelWaitableTimer "
    "stream:CloseHandle"
    " stream:CoUninitialize stream:MFShutdown ";

bool Names(const std::string& calls, const std::string& call) {
  return calls.find(" " + call + " ") != std::string::npos;
}

const Outcome* Expected(const std::string& call, int occurrence) {
  const auto& outcomes = Outcomes();
  for (const std::string& key : {call + " " + std::to_string(occurrence), call})
    if (const auto found = outcomes.find(key); found != outcomes.end()) return &found->second;
  return call.starts_with("stream:") && Names(kConversion, call.substr(7)) ? &kCarriesOn : nullptr;
}

TEST_F(CaptureSweep, EveryCallFailsInTurn) {
  ASSERT_EQ(Capture(), 0);
  std::map<std::string, int> counts = script.Counts();
  counts["stream:WaitForMultipleObjects"] = 1;  // later ones depend on the clock
  counts["stream:GetNextPacketSize"] = 4;
  const std::vector<std::uint8_t> whole = {1, 2, 3, 4, 5, 6};
  int swept = 0;
  for (const auto& [call, count] : counts) {
    for (int occurrence = 1; occurrence <= count && !Names(kLeftOut, call); ++occurrence) {
      SCOPED_TRACE(call + " " + std::to_string(occurrence));
      const Outcome* const expected = Expected(call, occurrence);
      ASSERT_NE(expected, nullptr);
      ScriptedPlatform failing;
      failing.packets = script.packets;
      failing.pulls = script.pulls;
      failing.Fail(call, occurrence);
      EXPECT_EQ(Capture(), expected->start);
      EXPECT_EQ(log.Lines(), expected->lines);
      EXPECT_EQ(deliveries.size(), expected->callbacks);
      EXPECT_EQ(failing.OpenHandles(), 0);
      EXPECT_EQ(failing.Counts()["stream:CoInitialize"] - (call == "stream:CoInitialize" ? 1 : 0),
                failing.Counts()["stream:CoUninitialize"]);
      for (const Delivery& delivery : deliveries) {
        // What is lost is lost at the end of a packet, and nothing is null but an empty one.
        EXPECT_TRUE(std::equal(delivery.bytes.begin(), delivery.bytes.end(), whole.begin()));
        EXPECT_EQ(delivery.null_data, delivery.bytes.empty());
      }
      ++swept;
    }
  }
  EXPECT_GT(swept, 100);
}

TEST_F(CaptureSweep, ClosestFormatTakesThePlaceOfTheMixFormat) {
  script.mix_format_is_supported = false;
  script.closest_format.Format.nChannels = 1;
  script.closest_format.Format.nBlockAlign = 4;
  script.closest_format.Format.nSamplesPerSec = 44'100;
  EXPECT_EQ(Capture(), 0);
  const Lines calls = script.Journal("stream:");
  for (const char* call : {"Initialize 0 131072 0 0 tag=65534 bits=32 block=4 rate=44100",
                           "SetUINT32 rate=44100", "MFCreateMemoryBuffer 1920"})
    EXPECT_THAT(calls, ::testing::Contains(call));
  ASSERT_EQ(log.Lines().size(), 2U);
  EXPECT_EQ(log.Lines()[1],
            "ZevraImpl::LoopBackCapture | IsFormatSupported | error | 1, change closest format");
}

TEST_F(CaptureSweep, WakeUpTimerFollowsThePeriod) {
  const std::vector<std::pair<REFERENCE_TIME, std::string>> cases = {
      {100'000, "SetWaitableTimer -50000 5"}, {33'333, "SetWaitableTimer -16666 1"},
      {20'000, "SetWaitableTimer -10000 1"},  {10'000, "SetWaitableTimer -5000 1"},
      {0, "SetWaitableTimer -1 1"},           {-5, "SetWaitableTimer -1 1"},
  };
  for (const auto& [period, call] : cases) {
    ScriptedPlatform other;
    other.device_period = period;
    EXPECT_EQ(Capture(), 0);
    EXPECT_THAT(other.Journal("stream:"), ::testing::Contains(call));
  }
}

TEST_F(CaptureSweep, NullCallbackStillTakesThePackets) {
  ZevraHandle const handle = OpenDefault();
  const ZevraAudioFormat format = SpeechFormat();
  EXPECT_EQ(ZevraStartCapture(handle, &format, nullptr, nullptr), 0);
  EXPECT_TRUE(
      Eventually([&] { return script.Counts()["stream:CaptureClient::ReleaseBuffer"] == 3; }));
  EXPECT_EQ(ZevraStopCapture(handle), 0);
  EXPECT_EQ(ZevraCloseDevice(handle), 0);
}

}  // namespace
}  // namespace zevra::test
