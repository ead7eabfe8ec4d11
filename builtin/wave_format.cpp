#include "builtin/wave_format.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zevra::builtin {
namespace {

// Bytes of an extensible format behind the plain one.
constexpr WORD kExtraBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
constexpr float kFullScale16 = 32768.0F;

}  // namespace

WAVEFORMATEX* NewMixFormat(const EndpointConfig& config) {
  auto* const block =
      static_cast<WAVEFORMATEXTENSIBLE*>(CoTaskMemAlloc(sizeof(WAVEFORMATEXTENSIBLE)));
  if (block == nullptr) return nullptr;
  *block = {};
  WAVEFORMATEX& format = block->Format;
  format.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
  format.nChannels = config.channels;
  format.nSamplesPerSec = config.rate;
  format.wBitsPerSample = 32;
  format.nBlockAlign = static_cast<WORD>(config.channels * 4);
  format.nAvgBytesPerSec = config.rate * format.nBlockAlign;
  if (config.channel_mask != 0) {
    format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    format.cbSize = kExtraBytes;
    block->Samples.wValidBitsPerSample = 32;
    block->dwChannelMask = config.channel_mask;
    block->SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  }
  return &format;
}

std::optional<SampleKind> Recognise(const EndpointConfig& config, const WAVEFORMATEX& format) {
  if (format.nChannels != config.channels || format.nSamplesPerSec != config.rate) return {};
  WORD tag = format.wFormatTag;
  if (tag == WAVE_FORMAT_EXTENSIBLE) {
    if (format.cbSize < kExtraBytes) return {};
    WAVEFORMATEXTENSIBLE extensible{};
    std::memcpy(&extensible, &format, sizeof(extensible));
    const GUID sub_format = extensible.SubFormat;  // the record is packed
    if (IsEqualGUID(sub_format, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT))
      tag = WAVE_FORMAT_IEEE_FLOAT;
    else if (IsEqualGUID(sub_format, KSDATAFORMAT_SUBTYPE_PCM))
      tag = WAVE_FORMAT_PCM;
  }
  std::optional<SampleKind> kind;
  if (tag == WAVE_FORMAT_IEEE_FLOAT && format.wBitsPerSample == 32) kind = SampleKind::kFloat32;
  if (tag == WAVE_FORMAT_PCM && format.wBitsPerSample == 16) kind = SampleKind::kInt16;
  if (kind && format.nBlockAlign != BytesOf(*kind) * config.channels) kind.reset();
  return kind;
}

void ToClient(SampleKind kind, std::span<const float> samples, BYTE* bytes) {
  if (kind == SampleKind::kFloat32) {
    std::memcpy(bytes, samples.data(), samples.size_bytes());
    return;
  }
  for (const float sample : samples) {
    const float scaled = std::clamp(sample * kFullScale16, -kFullScale16, kFullScale16 - 1);
    const auto rounded = static_cast<std::int16_t>(std::lrint(scaled));
    std::memcpy(bytes, &rounded, sizeof(rounded));
    bytes += sizeof(rounded);
  }
}

void FromClient(SampleKind kind, const BYTE* bytes, std::span<float> samples) {
  if (kind == SampleKind::kFloat32) {
    std::memcpy(samples.data(), bytes, samples.size_bytes());
    return;
  }
  for (float& sample : samples) {
    std::int16_t value = 0;
    std::memcpy(&value, bytes, sizeof(value));
    bytes += sizeof(value);
    sample = static_cast<float>(value) / kFullScale16;
  }
}

}  // namespace zevra::builtin
