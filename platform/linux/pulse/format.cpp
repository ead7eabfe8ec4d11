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

// The most channels that a stream carries.
constexpr unsigned kMaxStreamChannels = 8;

pa_channel_map MapOfMask(DWORD mask) {
  pa_channel_map map{};
  for (std::size_t bit = 0; bit < kPositions.size(); ++bit) {
    if ((mask >> bit & 1) == 0) continue;
    map.map[map.channels++] = kPositions[bit];
  }
  return map;
}

// Speaker bits of a channel map, or 0 where it has none: a position without a bit of its own, or
// one that occurs twice. A single channel of no position is the centre.
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

struct Layout {
  DWORD mask = 0;
  pa_channel_map map{};
};

bool HasPosition(pa_channel_position_t channel) {
  return std::find(kPositions.begin(), kPositions.end(), channel) != kPositions.end();
}

// The channels of the mix format, in the order in which they are delivered.
Layout MixLayout(const PulseEndpoint& endpoint) {
  pa_channel_map map = endpoint.channel_map;
  if (map.channels > kMaxStreamChannels) {
    if (std::any_of(map.map, map.map + map.channels, HasPosition))
      return {k7Point1, MapOfMask(k7Point1)};
    // A server folds by position, so that nothing would come through.
    map.channels = kMaxStreamChannels;
  }
  const DWORD mask = ChannelMask(map);
  // One channel stays the server's mono: as a centre it would be folded from what goes there only.
  if (mask == 0 || map.channels == 1) return {mask, map};
  return {mask, MapOfMask(mask)};
}

// Of the mix format, and of the PCM that takes its place; PA_SAMPLE_INVALID for any other.
pa_sample_format_t SampleFormat(const WAVEFORMATEXTENSIBLE& format) {
  // The block is packed, so its GUID may lie at an odd address.
  const GUID sub_format = format.SubFormat;
  const WORD bits = format.Format.wBitsPerSample;
  if (sub_format == KSDATAFORMAT_SUBTYPE_IEEE_FLOAT && bits == 32) return PA_SAMPLE_FLOAT32LE;
  if (sub_format == KSDATAFORMAT_SUBTYPE_PCM && bits == 16) return PA_SAMPLE_S16LE;
  return PA_SAMPLE_INVALID;
}

constexpr WORD kExtraBytes = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);

}  // namespace

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
  if (format.wFormatTag != WAVE_FORMAT_EXTENSIBLE || format.cbSize < kExtraBytes)
    return std::nullopt;
  const auto& extended = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format);
  const Layout mix = MixLayout(endpoint);
  if (format.nChannels != mix.map.channels || extended.dwChannelMask != mix.mask ||
      format.nSamplesPerSec != endpoint.sample_spec.rate)
    return std::nullopt;
  const PulseFormat result{{SampleFormat(extended), format.nSamplesPerSec, mix.map.channels},
                           mix.map};
  if (!pa_sample_spec_valid(&result.sample_spec)) return std::nullopt;
  if (format.nBlockAlign != pa_frame_size(&result.sample_spec)) return std::nullopt;
  return result;
}

}  // namespace zevra
