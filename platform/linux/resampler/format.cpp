#include "platform/linux/resampler/format.h"

#include <array>
#include <bit>

#include "platform/api.h"

namespace zevra {
namespace {

constexpr UINT32 kMinRate = 4'000;
constexpr UINT32 kMaxRate = 384'000;
constexpr UINT32 kMaxChannels = 8;

constexpr DWORD kQuad =
    SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT | SPEAKER_BACK_LEFT | SPEAKER_BACK_RIGHT;
constexpr DWORD k5Point1 = kQuad | SPEAKER_FRONT_CENTER | SPEAKER_LOW_FREQUENCY;

// The layouts that Windows assumes for a bare channel count.
constexpr std::array<DWORD, kMaxChannels + 1> kStandardMasks = {
    0,
    SPEAKER_FRONT_CENTER,
    SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT,
    SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT | SPEAKER_FRONT_CENTER,
    kQuad,
    kQuad | SPEAKER_FRONT_CENTER,
    k5Point1,
    k5Point1 | SPEAKER_BACK_CENTER,
    k5Point1 | SPEAKER_SIDE_LEFT | SPEAKER_SIDE_RIGHT,
};

constexpr DWORD kKnownPositions = (SPEAKER_TOP_BACK_RIGHT << 1) - 1;

// What the attribute holds, or `absent` where it is not set.
UINT32 NumberOr(IMFMediaType& type, REFGUID key, UINT32 absent) {
  UINT32 value = 0;
  return SUCCEEDED(type.GetUINT32(key, &value)) ? value : absent;
}

bool HasGuid(IMFMediaType& type, REFGUID key, REFGUID expected) {
  GUID value{};
  return SUCCEEDED(type.GetGUID(key, &value)) && value == expected;
}

bool ReadSampleWidth(IMFMediaType& type, ResamplerFormat* format) {
  format->is_float = HasGuid(type, MF_MT_SUBTYPE, MFAudioFormat_Float);
  if (!format->is_float && !HasGuid(type, MF_MT_SUBTYPE, MFAudioFormat_PCM)) return false;
  format->bits = NumberOr(type, MF_MT_AUDIO_BITS_PER_SAMPLE, 0);
  const bool known = format->is_float
                         ? format->bits == 32
                         : format->bits >= 8 && format->bits <= 32 && format->bits % 8 == 0;
  if (!known) return false;
  format->valid_bits = NumberOr(type, MF_MT_AUDIO_VALID_BITS_PER_SAMPLE, 0);
  if (format->valid_bits == 0) format->valid_bits = format->bits;
  return format->valid_bits <= format->bits &&
         (!format->is_float || format->valid_bits == format->bits);
}

bool ReadChannels(IMFMediaType& type, ResamplerFormat* format) {
  format->channels = NumberOr(type, MF_MT_AUDIO_NUM_CHANNELS, 0);
  if (format->channels < 1 || format->channels > kMaxChannels) return false;
  format->channel_mask = NumberOr(type, MF_MT_AUDIO_CHANNEL_MASK, 0);
  if (format->channel_mask == 0) format->channel_mask = kStandardMasks[format->channels];
  return (format->channel_mask & ~kKnownPositions) == 0 &&
         static_cast<UINT32>(std::popcount(format->channel_mask)) == format->channels;
}

}  // namespace

HRESULT ReadResamplerFormat(IMFMediaType& type, ResamplerFormat* format) {
  ResamplerFormat read;
  if (!HasGuid(type, MF_MT_MAJOR_TYPE, MFMediaType_Audio)) return MF_E_INVALIDMEDIATYPE;
  if (!ReadSampleWidth(type, &read) || !ReadChannels(type, &read)) return MF_E_INVALIDMEDIATYPE;
  read.samples_per_second = NumberOr(type, MF_MT_AUDIO_SAMPLES_PER_SECOND, 0);
  if (read.samples_per_second < kMinRate || read.samples_per_second > kMaxRate)
    return MF_E_INVALIDMEDIATYPE;
  // The average rate only restates the others, so it is not looked at; a wrong block size would
  // put every frame behind the first in a wrong place.
  if (NumberOr(type, MF_MT_AUDIO_BLOCK_ALIGNMENT, 0) != read.BlockBytes())
    return MF_E_INVALIDMEDIATYPE;
  *format = read;
  return S_OK;
}

}  // namespace zevra
