// What the capture thread's conversion asks of the transform and makes of its answers.

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "fault_injection/capture_host.h"
#include "stream/conversion_arithmetic.h"

namespace zevra::test {
namespace {

class Conversion : public CaptureHost {};

// All that the transform gives for a packet goes out in one piece; a pull that gives nothing is
// neither a failure nor the end.
TEST_F(Conversion, PullsAreJoined) {
  const std::vector<std::pair<std::vector<std::vector<BYTE>>, std::vector<std::uint8_t>>> cases = {
      {{{1, 2, 3, 4}, {5, 6}}, {1, 2, 3, 4, 5, 6}},
      {{{}, {1, 2, 3, 4}, {}, {5, 6}, {}}, {1, 2, 3, 4, 5, 6}},
      {{{}}, {}},
      {{}, {}},
  };
  for (const auto& [pulls, whole] : cases) {
    ScriptedPlatform other;
    other.packets = script.packets;
    other.pulls = pulls;
    EXPECT_EQ(Capture(), 0);
    const bool none = whole.empty();
    EXPECT_EQ(deliveries,
              (std::vector<Delivery>{{0, whole, none}, {1, whole, none}, {0, whole, none}}));
  }
  EXPECT_EQ(log.Lines(), Lines{kInfo});
}

TEST_F(Conversion, ATransformThatIsFullGetsNoInput) {
  script.input_status = 0;
  EXPECT_EQ(Capture(), 0);
  EXPECT_EQ(deliveries, (std::vector<Delivery>{{0, {}, true}, {1, {}, true}, {0, {}, true}}));
  EXPECT_EQ(script.Counts().count("stream:ProcessInput"), 0U);
}

// Where a packet's conversion fails decides what of that packet is delivered; the others are whole.
TEST_F(Conversion, WhatAFailedConversionDelivers) {
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
    EXPECT_EQ(Capture(), 0);
    ASSERT_EQ(deliveries.size(), 3U);
    EXPECT_EQ(deliveries[0].bytes, failure.first);
    EXPECT_EQ(deliveries[1].bytes, whole);
    EXPECT_EQ(deliveries[2].bytes, whole);
  }
}

Lines TypeOf(const char* subtype, int channels, int rate, int bits, const Lines& more = {}) {
  const int block = channels * bits / 8;
  Lines lines = {"SetGUID major=audio",
                 std::string("SetGUID subtype=") + subtype,
                 "SetUINT32 channels=" + std::to_string(channels),
                 "SetUINT32 rate=" + std::to_string(rate),
                 "SetUINT32 block=" + std::to_string(block),
                 "SetUINT32 bytes/s=" + std::to_string(block * rate),
                 "SetUINT32 bits=" + std::to_string(bits),
                 "SetUINT32 independent=1"};
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

// Formats that the platform or the host brings, and how they are described to the transform.
TEST_F(Conversion, FormatsOfTheStream) {
  struct Case {
    const char* what;
    WORD tag;
    GUID sub_format;
    ZevraAudioFormat target;
    Lines source_type;  // none if the stream does not start
    Lines target_type;
  };
  const GUID ieee_float = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  const ZevraAudioFormat speech = SpeechFormat();
  const ZevraAudioFormat odd = {ZEVRA_SAMPLE_PCM, 2, 32, 8'000, 0x30, 24, 0};
  const ZevraAudioFormat no_valid_bits = {ZEVRA_SAMPLE_FLOAT, 1, 32, 8'000, 0, 0, 0};
  const Lines mixed = TypeOf("float", 2, 48'000, 32, {"SetUINT32 mask=3"});
  const Lines spoken = TypeOf("pcm", 1, 16'000, 16);
  const std::vector<Case> cases = {
      {"extensible float", 0xFFFE, ieee_float, speech, mixed, spoken},
      {"plain float", 3, {}, speech, TypeOf("float", 2, 48'000, 32), spoken},
      {"undescribed", 0xFFFE, KSDATAFORMAT_SUBTYPE_PCM, speech, TypeOf("float", 0, 0, 0), spoken},
      {"plain integer", 1, {}, speech, {}, {}},
      {"valid bits and mask", 0xFFFE, ieee_float, odd, mixed,
       TypeOf("pcm", 2, 8'000, 32, {"SetUINT32 mask=48", "SetUINT32 valid=24"})},
      {"no valid bits", 0xFFFE, ieee_float, no_valid_bits, mixed,
       TypeOf("float", 1, 8'000, 32, {"SetUINT32 valid=0"})},
  };
  for (const Case& format : cases) {
    SCOPED_TRACE(format.what);
    ScriptedPlatform other;
    other.packets = script.packets;
    other.pulls = script.pulls;
    other.mix_format.Format.wFormatTag = format.tag;
    other.mix_format.SubFormat = format.sub_format;
    const bool starts = !format.source_type.empty();
    EXPECT_EQ(Capture(format.target), starts ? 0 : ZEVRA_E_FAIL);
    Lines attributes = format.source_type;
    attributes.insert(attributes.end(), format.target_type.begin(), format.target_type.end());
    Lines calls = other.Journal("stream:");
    std::erase_if(calls, [](const std::string& call) {
      return !call.starts_with("Set") || call.find('=') == std::string::npos;
    });
    EXPECT_EQ(calls, attributes);
    // A stream without a description gives empty packets.
    const bool described = std::string(format.what) != "undescribed";
    for (const Delivery& delivery : deliveries) EXPECT_EQ(delivery.null_data, !described);
    EXPECT_EQ(log.Lines().back() == kStartFailed, !starts);
  }
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
