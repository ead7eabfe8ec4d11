#ifndef ZEVRA_TOOLS_ZEVRA_SAMPLE_FORMAT_H
#define ZEVRA_TOOLS_ZEVRA_SAMPLE_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "zevra/zevra.h"

namespace zevra::command {

enum class SampleType { kU8, kS16, kS24, kS32, kF32 };

// As the user writes them.
const std::map<std::string, SampleType>& SampleTypeNames();
std::string NameOf(SampleType type);
// Bytes of one sample; 24-bit samples are packed.
std::size_t BytesOf(SampleType type);

// The audio that is asked for: interleaved, little-endian.
struct AudioFormat {
  SampleType type = SampleType::kS16;
  std::uint32_t rate = 48000;
  std::uint16_t channels = 2;

  std::size_t FrameBytes() const { return BytesOf(type) * channels; }
  // As the library wants it.
  ZevraAudioFormat Record() const;
  // As a person reads it.
  std::string Text() const;
};

// The usual speakers for 1 to 8 channels, and the label of the channel at a position among them.
std::uint32_t SpeakerMask(std::uint16_t channels);
std::string ChannelLabel(std::uint16_t channels, std::uint16_t channel);

// Samples on the scale of -1.0 to 1.0; `bytes` holds as many as `samples`.
void Decode(SampleType type, std::span<const std::uint8_t> bytes, std::span<float> samples);
// The whole frames at the beginning of `audio`, `most_frames` at most. `samples` gets their samples
// on the scale of -1.0 to 1.0, interleaved.
std::span<const std::uint8_t> TakeFrames(const AudioFormat& format,
                                         std::span<const std::uint8_t> audio,
                                         std::uint64_t most_frames, std::vector<float>& samples);
// 8- to 24-bit samples in the upper bits of 32.
void Widen(SampleType type, std::span<const std::uint8_t> bytes, std::span<std::int32_t> samples);

}  // namespace zevra::command

#endif
