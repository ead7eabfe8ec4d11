// What the capture thread's conversion asks of the transform and makes of its answers.

#include "stream/wave_format.h"
#include "support/host.h"

namespace zevra::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class Conversion : public CaptureHost {};

// All that the transform gives for a packet goes out in one piece; a pull that gives nothing is
// neither a failure nor the end. One that is full gets no input.
TEST_F(Conversion, PullsAreJoined) {
  const struct {
    std::vector<Bytes> pulls;
    Bytes whole;
    DWORD input_status = MFT_INPUT_STATUS_ACCEPT_DATA;
  } cases[] = {
      {{{1, 2, 3, 4}, {5, 6}}, {1, 2, 3, 4, 5, 6}},
      {{{}, {1, 2, 3, 4}, {}, {5, 6}, {}}, {1, 2, 3, 4, 5, 6}},
      {{{}}, {}},
      {{{1, 2}}, {}, 0},
  };
  for (const auto& [pulls, whole, input_status] : cases) {
    ScriptedPlatform other;
    other.pulls = pulls;
    other.input_status = input_status;
    EXPECT_EQ(Capture(), 0);
    const bool none = whole.empty();
    EXPECT_EQ(deliveries,
              (std::vector<Delivery>{{0, whole, none}, {1, whole, none}, {0, whole, none}}));
    EXPECT_EQ(other.Counts().contains("stream:ProcessInput"), input_status != 0);
    EXPECT_EQ(log.Lines().size(), 1U);
  }
}

// Where a packet's conversion fails decides what of that packet is delivered; the others are whole.
TEST_F(Conversion, WhatAFailedConversionDelivers) {
  const struct {
    const char* call;
    int occurrence;
    Bytes first;
  } cases[] = {
      {"MFCreateMemoryBuffer", 1, {}},    {"Lock", 1, {}},
      {"SetCurrentLength", 1, {}},        {"AddBuffer", 1, {}},
      {"GetInputStatus", 1, {}},          {"ProcessInput", 1, {}},
      {"ProcessOutput", 1, {}},           {"Unlock", 2, {}},
      {"ProcessOutput", 2, {1, 2, 3, 4}}, {"GetCurrentLength", 2, {1, 2, 3, 4}},
      {"Unlock", 3, {1, 2, 3, 4}},        {"ProcessOutput", 3, {1, 2, 3, 4, 5, 6}},
  };
  const Bytes whole = {1, 2, 3, 4, 5, 6};
  for (const auto& failure : cases) {
    SCOPED_TRACE(failure.call);
    ScriptedPlatform failing;
    failing.Fail(std::string("stream:") + failure.call, failure.occurrence);
    EXPECT_EQ(Capture(), 0);
    EXPECT_EQ(deliveries, (std::vector<Delivery>{{0, failure.first, failure.first.empty()},
                                                 {1, whole, false},
                                                 {0, whole, false}}));
  }
}

Lines TypeOf(REFGUID subtype, UINT32 channels, UINT32 rate, UINT32 bits) {
  const UINT32 block = channels * bits / 8;
  return {Attribute(MF_MT_MAJOR_TYPE, MFMediaType_Audio),
          Attribute(MF_MT_SUBTYPE, subtype),
          Attribute(MF_MT_AUDIO_NUM_CHANNELS, channels),
          Attribute(MF_MT_AUDIO_SAMPLES_PER_SECOND, rate),
          Attribute(MF_MT_AUDIO_BLOCK_ALIGNMENT, block),
          Attribute(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, block * rate),
          Attribute(MF_MT_AUDIO_BITS_PER_SAMPLE, bits),
          Attribute(MF_MT_ALL_SAMPLES_INDEPENDENT, UINT32{1})};
}
Lines Mask(UINT32 mask) { return {Attribute(MF_MT_AUDIO_CHANNEL_MASK, mask)}; }
Lines Valid(UINT32 bits) { return {Attribute(MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, bits)}; }

Lines operator+(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

// Formats that the platform or the host brings, and how they are described to the transform.
TEST_F(Conversion, FormatsOfTheStream) {
  const GUID ieee_float = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  const ZevraAudioFormat speech = SpeechFormat();
  const ZevraAudioFormat odd = {ZEVRA_SAMPLE_PCM, 2, 32, 8'000, 0x30, 24, 0};
  const ZevraAudioFormat no_valid_bits = {ZEVRA_SAMPLE_FLOAT, 1, 32, 8'000, 0, 0, 0};
  const Lines mixed = TypeOf(MFAudioFormat_Float, 2, 48'000, 32);
  const Lines undescribed = TypeOf(MFAudioFormat_Float, 0, 0, 0);
  const Lines spoken = TypeOf(MFAudioFormat_PCM, 1, 16'000, 16);
  const struct {
    WORD tag;
    GUID sub_format;
    ZevraAudioFormat target;
    Lines types;  // none if the stream does not start
  } cases[] = {
      {0xFFFE, ieee_float, speech, mixed + Mask(3) + spoken},
      {3, {}, speech, mixed + spoken},
      {0xFFFE, KSDATAFORMAT_SUBTYPE_PCM, speech, undescribed + spoken},
      {1, {}, speech, {}},
      {0xFFFE, ieee_float, odd,
       mixed + Mask(3) + TypeOf(MFAudioFormat_PCM, 2, 8'000, 32) + Mask(0x30) + Valid(24)},
      {0xFFFE, ieee_float, no_valid_bits,
       mixed + Mask(3) + TypeOf(MFAudioFormat_Float, 1, 8'000, 32) + Valid(0)},
  };
  for (const auto& format : cases) {
    SCOPED_TRACE(&format - cases);
    ScriptedPlatform other;
    other.mix_format.Format.wFormatTag = format.tag;
    other.mix_format.SubFormat = format.sub_format;
    EXPECT_EQ(Capture(format.target), format.types.empty() ? ZEVRA_E_FAIL : 0);
    Lines attributes;
    for (const std::string& call : other.Journal("stream:"))
      if (call.starts_with("SetGUID ") || call.starts_with("SetUINT32 "))
        attributes.push_back(call.substr(call.find(' ') + 1));
    EXPECT_EQ(attributes, format.types);
    // A stream without a description gives empty packets.
    const bool described = format.types != undescribed + spoken;
    for (const Delivery& delivery : deliveries) EXPECT_EQ(delivery.null_data, !described);
  }
}

// The capacity at its edges; the wrap to 32 bits is part of it.
TEST(ConversionArithmetic, Capacity) {
  const auto format = [](std::uint16_t channels, std::uint16_t bits, std::uint32_t rate) {
    return ZevraAudioFormat{ZEVRA_SAMPLE_PCM, channels, bits, rate, 0, 0, 0};
  };
  const ZevraAudioFormat stereo = format(2, 32, 48'000);
  const struct {
    ZevraAudioFormat source, target;
    std::uint32_t bytes, capacity;
  } cases[] = {
      {stereo, format(1, 16, 16'000), 3840, 352},
      {stereo, format(2, 32, 44'100), 3840, 3528 + 128},
      {stereo, format(1, 24, 44'100), 8, 3 + 48},  // 2.75 bytes become one block
      // 1,536,000 bytes for each byte: 2^32 and 1,224,704 more.
      {format(1, 8, 8), format(8, 32, 384'000), 2'797, 1'224'704 + 512},
  };
  for (const auto& item : cases) {
    EXPECT_TRUE(CanConvert(item.source, item.target));
    EXPECT_EQ(OutputCapacity(item.source, item.target, item.bytes), item.capacity);
  }
  for (const ZevraAudioFormat& bad :
       {format(0, 16, 48'000), format(2, 0, 48'000), format(2, 16, 0), format(1, 4, 8'000)}) {
    EXPECT_FALSE(CanConvert(stereo, bad));
    EXPECT_FALSE(CanConvert(bad, stereo));
  }
  // Block and rate are not 0, their product is.
  EXPECT_FALSE(CanConvert(format(2, 32, 0x20000000), stereo));
}

}  // namespace
}  // namespace zevra::test
