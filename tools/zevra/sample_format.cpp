#include "tools/zevra/sample_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

constexpr std::uint32_t kFrontLeft = 0x1;
constexpr std::uint32_t kFrontRight = 0x2;
constexpr std::uint32_t kFrontCenter = 0x4;
constexpr std::uint32_t kLowFrequency = 0x8;
constexpr std::uint32_t kBackLeft = 0x10;
constexpr std::uint32_t kBackRight = 0x20;
constexpr std::uint32_t kBackCenter = 0x100;
constexpr std::uint32_t kSideLeft = 0x200;
constexpr std::uint32_t kSideRight = 0x400;
constexpr std::uint32_t kStereo = kFrontLeft | kFrontRight;
constexpr std::uint32_t kQuad = kStereo | kBackLeft | kBackRight;
constexpr std::uint32_t k51 = kQuad | kFrontCenter | kLowFrequency;
constexpr std::uint32_t kSides = kSideLeft | kSideRight;

// Mono, stereo, 3.0, quad, 5.0, 5.1, 6.1, 7.1.
constexpr std::uint32_t kMasks[] = {
    kFrontCenter,
    kStereo,
    kStereo | kFrontCenter,
    kQuad,
    kQuad | kFrontCenter,
    k51,
    kStereo | kFrontCenter | kLowFrequency | kBackCenter | kSides,
    k51 | kSides,
};

const char* SpeakerLabel(std::uint32_t speaker) {
  switch (speaker) {
    case kFrontLeft:
      return "L";
    case kFrontRight:
      return "R";
    case kFrontCenter:
      return "C";
    case kLowFrequency:
      return "LFE";
    case kBackLeft:
      return "BL";
    case kBackRight:
      return "BR";
    case kBackCenter:
      return "BC";
    case kSideLeft:
      return "SL";
    default:
      return "SR";
  }
}

// The library runs on little-endian machines only, so a sample's bytes stand as in memory.
static_assert(std::endian::native == std::endian::little);

}  // namespace

const std::map<std::string, SampleType>& SampleTypeNames() {
  static const std::map<std::string, SampleType> names = {
      {"u8", SampleType::kU8},   {"s16", SampleType::kS16}, {"s24", SampleType::kS24},
      {"s32", SampleType::kS32}, {"f32", SampleType::kF32},
  };
  return names;
}

std::string NameOf(SampleType type) {
  for (const auto& [name, named] : SampleTypeNames())
    if (named == type) return name;
  return {};
}

std::size_t BytesOf(SampleType type) {
  switch (type) {
    case SampleType::kU8:
      return 1;
    case SampleType::kS16:
      return 2;
    case SampleType::kS24:
      return 3;
    default:
      return 4;
  }
}

ZevraAudioFormat AudioFormat::Record() const {
  ZevraAudioFormat record{};
  record.sample_kind = type == SampleType::kF32 ? ZEVRA_SAMPLE_FLOAT : ZEVRA_SAMPLE_PCM;
  record.channels = channels;
  record.bits_per_sample = static_cast<std::uint16_t>(BytesOf(type) * 8);
  record.valid_bits_per_sample = record.bits_per_sample;
  record.samples_per_second = rate;
  record.channel_mask = SpeakerMask(channels);
  return record;
}

std::string AudioFormat::Text() const {
  const std::string layout = channels == 1   ? "mono"
                             : channels == 2 ? "stereo"
                                             : fmt::format("{} channels", channels);
  return fmt::format("{}, {} Hz, {}", NameOf(type), rate, layout);
}

std::uint32_t SpeakerMask(std::uint16_t channels) { return kMasks[channels - 1]; }

std::string ChannelLabel(std::uint16_t channels, std::uint16_t channel) {
  if (channels == 1) return "M";
  std::uint32_t mask = SpeakerMask(channels);
  for (; channel > 0; --channel) mask &= mask - 1;
  return SpeakerLabel(mask & ~(mask - 1));
}

void Decode(SampleType type, std::span<const std::uint8_t> bytes, std::span<float> samples) {
  if (samples.empty()) return;  // memcpy takes no null, whatever the length
  if (type == SampleType::kF32) {
    std::memcpy(samples.data(), bytes.data(), samples.size_bytes());
    return;
  }
  constexpr float kScale = 1.0F / 2147483648.0F;
  const std::size_t step = BytesOf(type);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    std::int32_t value = 0;
    Widen(type, bytes.subspan(i * step, step), {&value, 1});
    samples[i] = static_cast<float>(value) * kScale;
  }
}

std::span<const std::uint8_t> TakeFrames(const AudioFormat& format,
                                         std::span<const std::uint8_t> audio,
                                         std::uint64_t most_frames, std::vector<float>& samples) {
  const auto frames = std::min<std::uint64_t>(audio.size() / format.FrameBytes(), most_frames);
  audio = audio.first(frames * format.FrameBytes());
  samples.resize(frames * format.channels);
  Decode(format.type, audio, samples);
  return audio;
}

void Widen(SampleType type, std::span<const std::uint8_t> bytes, std::span<std::int32_t> samples) {
  const std::size_t step = BytesOf(type);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    std::uint32_t bits = 0;
    std::memcpy(reinterpret_cast<std::uint8_t*>(&bits) + (4 - step), &bytes[i * step], step);
    // Unsigned samples have their zero in the middle.
    if (type == SampleType::kU8) bits ^= 0x80000000U;
    samples[i] = static_cast<std::int32_t>(bits);
  }
}

}  // namespace zevra::command
