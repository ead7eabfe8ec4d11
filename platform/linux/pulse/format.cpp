#include "platform/linux/pulse/format.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/linux/speakers.h"

namespace zevra {
namespace {

// In the order of the speaker bits, from SPEAKER_FRONT_LEFT on.
constexpr std::array kPositions = {
    PA_CHANNEL_POSITION_FRONT_LEFT,
    PA_CHANNEL_POSITION_FRONT_RIGHT,
    PA_CHANNEL_POSITION_FRONT_CENTER,
    PA_CHANNEL_POSITION_LFE,
    PA_CHANNEL_POSITION_REAR_LEFT,
    PA_CHANNEL_POSITION_REAR_RIGHT,
    PA_CHANNEL_POSITION_FRONT_LEFT_OF_CENTER,
    PA_CHANNEL_POSITION_FRONT_RIGHT_OF_CENTER,
    PA_CHANNEL_POSITION_REAR_CENTER,
    PA_CHANNEL_POSITION_SIDE_LEFT,
    PA_CHANNEL_POSITION_SIDE_RIGHT,
    PA_CHANNEL_POSITION_TOP_CENTER,
    PA_CHANNEL_POSITION_TOP_FRONT_LEFT,
    PA_CHANNEL_POSITION_TOP_FRONT_CENTER,
    PA_CHANNEL_POSITION_TOP_FRONT_RIGHT,
    PA_CHANNEL_POSITION_TOP_REAR_LEFT,
    PA_CHANNEL_POSITION_TOP_REAR_CENTER,
    PA_CHANNEL_POSITION_TOP_REAR_RIGHT,
};

// Empty if the mask names a speaker beyond the table.
pa_channel_map MapOfMask(DWORD mask) {
  pa_channel_map map{};
  if (mask >> kPositions.size() != 0) return map;
  for (std::size_t bit = 0; bit < kPositions.size(); ++bit) {
    if ((mask >> bit & 1) == 0) continue;
    map.map[map.channels++] = kPositions[bit];
  }
  return map;
}

struct Layout {
  DWORD mask = 0;
  pa_channel_map map{};
};

// The channels of the mix format, in the order in which they are delivered.
Layout MixLayout(const PulseEndpoint& endpoint) {
  if (endpoint.channel_map.channels > kMaxStreamChannels) return {k7Point1, MapOfMask(k7Point1)};
  const DWORD mask = ChannelMask(endpoint.channel_map);
  // One channel stays the server's mono: as a centre it would be folded from what goes there only.
  if (mask == 0 || endpoint.channel_map.channels == 1) return {mask, endpoint.channel_map};
  return {mask, MapOfMask(mask)};
}

// The sample type of a format whose fields agree with each other, else PA_SAMPLE_INVALID.
pa_sample_format_t SampleFormat(const WAVEFORMATEX& format, const WAVEFORMATEXTENSIBLE* extended) {
  if (format.nBlockAlign != format.nChannels * format.wBitsPerSample / 8) return PA_SAMPLE_INVALID;
  // The block is packed, so its GUID may lie at an odd address.
  const GUID sub_format = extended != nullptr ? extended->SubFormat : GUID{};
  const bool is_float = extended != nullptr ? sub_format == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT
                                            : format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT;
  if (is_float) return format.wBitsPerSample == 32 ? PA_SAMPLE_FLOAT32LE : PA_SAMPLE_INVALID;
  const bool is_pcm = extended != nullptr ? sub_format == KSDATAFORMAT_SUBTYPE_PCM
                                          : format.wFormatTag == WAVE_FORMAT_PCM;
  if (!is_pcm) return PA_SAMPLE_INVALID;
  // Fewer valid bits than the container has stand at its top, so the container alone matters.
  switch (format.wBitsPerSample) {
    case 16:
      return PA_SAMPLE_S16LE;
    case 24:
      return PA_SAMPLE_S24LE;
    case 32:
      return PA_SAMPLE_S32LE;
    default:
      return PA_SAMPLE_INVALID;
  }
}

constexpr WORD kExtraBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);

}  // namespace

DWORD ChannelMask(const pa_channel_map& map) {
  if (map.channels == 1 && map.map[0] == PA_CHANNEL_POSITION_MONO) return SPEAKER_FRONT_CENTER;
  DWORD mask = 0;
  for (unsigned channel = 0; channel < map.channels; ++channel) {
    const auto* const position = std::find(kPositions.begin(), kPositions.end(), map.map[channel]);
    if (position == kPositions.end()) return 0;
    const DWORD bit = DWORD{1} << (position - kPositions.begin());
    if ((mask & bit) != 0) return 0;
    mask |= bit;
  }
  return mask;
}

WAVEFORMATEXTENSIBLE MixFormat(const PulseEndpoint& endpoint) {
  const Layout layout = MixLayout(endpoint);
  WAVEFORMATEXTENSIBLE mix{};
  mix.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
  mix.Format.nChannels = layout.map.channels;
  mix.Format.nSamplesPerSec = endpoint.sample_spec.rate;
  mix.Format.wBitsPerSample = 32;
  mix.Format.nBlockAlign = static_cast<WORD>(layout.map.channels * 4);
  mix.Format.nAvgBytesPerSec = mix.Format.nBlockAlign * mix.Format.nSamplesPerSec;
  mix.Format.cbSize = kExtraBytes;
  mix.Samples.wValidBitsPerSample = 32;
  mix.dwChannelMask = layout.mask;
  mix.SubFormat = KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  return mix;
}

std::optional<PulseFormat> StreamFormat(const WAVEFORMATEX& format, const PulseEndpoint& endpoint) {
  const bool is_extensible = format.wFormatTag == WAVE_FORMAT_EXTENSIBLE;
  if (is_extensible && format.cbSize < kExtraBytes) return std::nullopt;
  const auto* const extended =
      is_extensible ? reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(&format) : nullptr;

  const Layout mix = MixLayout(endpoint);
  if (format.nChannels != mix.map.channels) return std::nullopt;
  if (format.nSamplesPerSec != endpoint.sample_spec.rate) return std::nullopt;

  PulseFormat result;
  result.channel_map = mix.map;
  const DWORD mask = extended != nullptr ? extended->dwChannelMask : 0;
  if (mask != 0 && mask != mix.mask) result.channel_map = MapOfMask(mask);
  if (result.channel_map.channels != format.nChannels) return std::nullopt;
  result.sample_spec = {SampleFormat(format, extended), format.nSamplesPerSec,
                        result.channel_map.channels};
  if (!pa_sample_spec_valid(&result.sample_spec)) return std::nullopt;
  return result;
}

}  // namespace zevra
