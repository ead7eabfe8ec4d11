// Every platform call of the capture thread fails in turn: what the host gets, the exact lines in
// the log, and nothing left behind.

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "stream/conversion_arithmetic.h"
#include "support/host.h"

namespace zevra::test {
namespace {

using Lines = std::vector<std::string>;

struct Delivery {
  std::uint32_t silent;
  std::vector<std::uint8_t> bytes;
  bool null_data;
  bool operator==(const Delivery&) const = default;
};

std::mutex deliveries_mutex;
std::vector<Delivery> deliveries;

void Collect(void* reserved, std::uint32_t silent, const std::uint8_t* data, std::uint32_t length) {
  EXPECT_EQ(reserved, nullptr);
  const std::lock_guard hold(deliveries_mutex);
  deliveries.push_back({silent, {data, data + length}, data == nullptr});
}

const std::string kInfo =
    "ZevraImpl::LoopBackCapture | IsFormatSupported | info | 0 | nChannels is 2, nSamplesPerSec is "
    "48000, nBlockAlign is 8, nAvgBytesPerSec is 384000, wFormatTag is 65534, wBitsPerSample is 32";
const std::string kStartFailed = "::ZevraStartCapture | error | StartCapture 80004005";

std::string ErrorLine(const std::string& operation, const std::string& code = "88890004") {
  return "ZevraImpl::LoopBackCapture | error | " + operation + " " + code;
}

class CaptureSweep : public ScriptedHost {
 protected:
  CaptureSweep() {
    deliveries.clear();
    for (const DWORD flags : {DWORD{0}, DWORD{AUDCLNT_BUFFERFLAGS_SILENT}, DWORD{1}})
      script.packets.push_back({480, flags, std::vector<BYTE>(3840, 0x11)});
    script.pulls = {{1, 2, 3, 4}, {5, 6}};
  }

  // Opens, captures until all packets are taken or the thread has ended, stops and closes.
  std::int32_t Capture() {
    ZevraHandle const handle = OpenDefault();
    log.Clear();
    const ZevraAudioFormat format = SpeechFormat();
    const std::int32_t result = ZevraStartCapture(handle, &format, Collect, this);
    if (result == 0) EXPECT_TRUE(Eventually(Parked));
    EXPECT_EQ(ZevraStopCapture(handle), 0);
    EXPECT_EQ(ZevraCloseDevice(handle), 0);
    return result;
  }

  // The stream's thread waits for the timer or has left.
  static bool Parked() {
    const auto counts = CurrentScript().Counts();
    return counts.count("stream:WaitForMultipleObjects") + counts.count("stream:CoUninitialize") >
           0;
  }
};

TEST_F(CaptureSweep, LifeOfAStreamInOrder) {
  script.packets.resize(1);
  EXPECT_EQ(Capture(), 0);
  EXPECT_EQ(log.Lines(), Lines{kInfo});
  EXPECT_EQ(deliveries, (std::vector<Delivery>{{0, {1, 2, 3, 4, 5, 6}, false}}));

  Lines calls = script.Journal("stream:");
  // Further wake-ups come and go between the first wait and the stop.
  const auto wait = std::find(calls.begin(), calls.end(), "WaitForMultipleObjects");
  calls.erase(wait, std::find(wait, calls.end(), "Stop"));
  const Lines expected = {
      "Activate", "GetDevicePeriod", "GetMixFormat", "IsFormatSupported", "CreateWaitableTimerW",
      "CoInitialize", "Initialize 0 131072 0 0 tag=65534 bits=32 block=8 rate=48000",
      "GetBufferSize", "GetService", "AvSetMmThreadCharacteristicsW", "SetWaitableTimer -50000 5",
      "MFStartup", "CoCreateInstance(resampler)", "QueryInterface(IMFTransform)",
      // The source type.
      "MFCreateMediaType", "SetGUID major=audio", "SetGUID subtype=float", "SetUINT32 channels=2",
      "SetUINT32 rate=48000", "SetUINT32 block=8", "SetUINT32 bytes/s=384000", "SetUINT32 bits=32",
      "SetUINT32 independent=1", "SetUINT32 mask=3", "SetInputType",
      // The target type: no mask, and all bits valid.
      "MFCreateMediaType", "SetGUID major=audio", "SetGUID subtype=pcm", "SetUINT32 channels=1",
      "SetUINT32 rate=16000", "SetUINT32 block=2", "SetUINT32 bytes/s=32000", "SetUINT32 bits=16",
      "SetUINT32 independent=1", "SetOutputType", "QueryInterface(props)", "SetHalfFilterLength 60",
      "ProcessMessage 0", "ProcessMessage 268435456", "ProcessMessage 268435459", "Start",
      "SetEvent",
      // One packet.
      "GetNextPacketSize", "CaptureClient::GetBuffer", "MFCreateMemoryBuffer 3840", "Lock",
      "Unlock", "SetCurrentLength 3840", "MFCreateSample", "AddBuffer", "GetInputStatus",
      "ProcessInput",
      // Two pulls that deliver, one that asks for more.
      "MFCreateSample", "MFCreateMemoryBuffer 352", "AddBuffer", "ProcessOutput",
      "ConvertToContiguousBuffer", "GetCurrentLength", "Lock", "Unlock",  //
      "MFCreateSample", "MFCreateMemoryBuffer 352", "AddBuffer", "ProcessOutput",
      "ConvertToContiguousBuffer", "GetCurrentLength", "Lock", "Unlock",  //
      "MFCreateSample", "MFCreateMemoryBuffer 352", "AddBuffer", "ProcessOutput",
      "CaptureClient::ReleaseBuffer 480", "GetNextPacketSize",
      // The stop.
      "Stop", "MFShutdown", "CancelWaitableTimer", "CloseHandle", "CoUninitialize"};
  EXPECT_EQ(calls, expected);
  EXPECT_EQ(script.Journal("host:"),
            (Lines{"CoInitialize", "CoCreateInstance(enumerator)", "GetDefaultAudioEndpoint 0 0",
                   "OpenPropertyStore", "GetValue", "CreateEventW", "CreateEventW", "CreateThread",
                   "WaitForMultipleObjects", "SetEvent", "WaitForSingleObject", "CloseHandle",
                   "CloseHandle", "CloseHandle"}));
}

TEST_F(CaptureSweep, PacketsReachTheCallbackInOrder) {
  EXPECT_EQ(Capture(), 0);
  const std::vector<std::uint8_t> joined = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(deliveries,
            (std::vector<Delivery>{{0, joined, false}, {1, joined, false}, {0, joined, false}}));
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
    " host:WaitForMultipleObjects stream:SetEvent stream:CancelWaitableTimer stream:CloseHandle"
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
      deliveries.clear();
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

// Where a packet's conversion fails decides what of that packet is delivered; the others are whole.
TEST_F(CaptureSweep, WhatAFailedConversionDelivers) {
  struct Case {
    const char* call;
    int occurrence;
    std::vector<std::uint8_t> first;
  };
  const std::vector<Case> cases = {
      {"MFCreateMemoryBuffer", 1, {}},    {"Lock", 1, {}},
      {"SetCurrentLength", 1, {}},        {"AddBuffer", 1, {}},
      {"GetInputStatus", 1, {}},          {"ProcessInput", 1, {}},
      {"ProcessOutput", 1, {}},           {"Unlock", 2, {}},
      {"ProcessOutput", 2, {1, 2, 3, 4}}, {"GetCurrentLength", 2, {1, 2, 3, 4}},
      {"Unlock", 3, {1, 2, 3, 4}},        {"ProcessOutput", 3, {1, 2, 3, 4, 5, 6}},
  };
  const std::vector<std::uint8_t> whole = {1, 2, 3, 4, 5, 6};
  for (const Case& failure : cases) {
    SCOPED_TRACE(failure.call);
    ScriptedPlatform failing;
    failing.packets = script.packets;
    failing.pulls = script.pulls;
    failing.Fail(std::string("stream:") + failure.call, failure.occurrence);
    deliveries.clear();
    EXPECT_EQ(Capture(), 0);
    ASSERT_EQ(deliveries.size(), 3U);
    EXPECT_EQ(deliveries[0].bytes, failure.first);
    EXPECT_EQ(deliveries[1].bytes, whole);
    EXPECT_EQ(deliveries[2].bytes, whole);
  }
}

// Formats that the platform or the host brings, and what the stream makes of them.
TEST_F(CaptureSweep, FormatsOfTheStream) {
  struct Case {
    const char* what;
    WORD tag;
    GUID sub_format;
    std::int32_t start;
    const char* source_mask;  // how the source type's mask was set, or null
    const char* source_channels;
  };
  const std::vector<Case> cases = {
      {"extensible float", 0xFFFE, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT, 0, "SetUINT32 mask=3",
       "SetUINT32 channels=2"},
      {"plain float", 3, {}, 0, nullptr, "SetUINT32 channels=2"},
      {"extensible integer", 0xFFFE, KSDATAFORMAT_SUBTYPE_PCM, 0, nullptr, "SetUINT32 channels=0"},
      {"plain integer", 1, {}, ZEVRA_E_FAIL, nullptr, nullptr},
  };
  for (const Case& format : cases) {
    SCOPED_TRACE(format.what);
    ScriptedPlatform other;
    other.packets = script.packets;
    other.pulls = script.pulls;
    other.mix_format.Format.wFormatTag = format.tag;
    other.mix_format.SubFormat = format.sub_format;
    deliveries.clear();
    EXPECT_EQ(Capture(), format.start);
    const Lines calls = other.Journal("stream:");
    const auto has = [&](const char* call) {
      return std::find(calls.begin(), calls.end(), call) != calls.end();
    };
    EXPECT_EQ(has("SetUINT32 mask=3"), format.source_mask != nullptr);
    EXPECT_EQ(format.source_channels != nullptr && has(format.source_channels),
              format.source_channels != nullptr);
    // A stream without a description gives empty packets.
    const bool described = std::string(format.what) != "extensible integer";
    for (const Delivery& delivery : deliveries) EXPECT_EQ(delivery.null_data, !described);
    EXPECT_EQ(log.Lines().back() == kStartFailed, format.start != 0);
  }
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

// The capacity at its edges; the wrap to 32 bits is part of it.
TEST(ConversionArithmetic, Capacity) {
  const auto format = [](std::uint16_t channels, std::uint16_t bits, std::uint32_t rate) {
    return ZevraAudioFormat{ZEVRA_SAMPLE_PCM, channels, bits, rate, 0, 0, 0};
  };
  const ZevraAudioFormat stereo = format(2, 32, 48'000);
  struct Case {
    ZevraAudioFormat source;
    ZevraAudioFormat target;
    std::uint32_t bytes;
    std::uint32_t capacity;
  };
  const std::vector<Case> cases = {
      {stereo, format(1, 16, 16'000), 3840, 352},
      {stereo, format(1, 16, 16'000), 0, 32},
      {stereo, format(2, 32, 44'100), 3840, 3528 + 128},
      {stereo, format(6, 24, 192'000), 8, 72 + 288},
      {stereo, format(1, 24, 44'100), 8, 3 + 48},  // 2.75 bytes become one block
      {format(1, 8, 4'000), format(8, 32, 384'000), 4'000, 12'288'000 + 512},
      // 1,536,000 bytes for each byte: 2^32 and 1,224,704 more.
      {format(1, 8, 8), format(8, 32, 384'000), 2'797, 1'224'704 + 512},
  };
  for (const Case& item : cases) {
    const bool can_convert = CanConvert(item.source, item.target);
    EXPECT_EQ(can_convert ? OutputCapacity(item.source, item.target, item.bytes) : 0,
              item.capacity);
  }
  for (const ZevraAudioFormat& bad :
       {format(0, 16, 48'000), format(2, 0, 48'000), format(2, 16, 0), format(1, 4, 8'000)}) {
    EXPECT_FALSE(CanConvert(stereo, bad));
    EXPECT_FALSE(CanConvert(bad, stereo));
  }
  // Block and rate stand, their product does not.
  EXPECT_FALSE(CanConvert(format(2, 32, 0x20000000), stereo));
}

}  // namespace
}  // namespace zevra::test
