#include "stream/wave_format.h"

namespace zevra {
namespace {

WAVEFORMATEXTENSIBLE& Extension(WAVEFORMATEX& format) {
  return reinterpret_cast<WAVEFORMATEXTENSIBLE&>(format);
}

const WAVEFORMATEXTENSIBLE& Extension(const WAVEFORMATEX& format) {
  return reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format);
}

}  // namespace

bool IsExtensibleFloat(const WAVEFORMATEX& format) {
  if (format.wFormatTag != WAVE_FORMAT_EXTENSIBLE) return false;
  // The block is packed, so its GUID may lie at an odd address.
  const GUID sub_format = Extension(format).SubFormat;
  return IsEqualGUID(sub_format, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT);
}

HRESULT FillSourceFormat(const WAVEFORMATEX& format, ZevraAudioFormat& source) {
  const bool plain_float = format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT;
  if (!plain_float && format.wFormatTag != WAVE_FORMAT_EXTENSIBLE) return E_UNEXPECTED;
  const bool extensible_float = IsExtensibleFloat(format);
  if (!plain_float && !extensible_float) return S_OK;

  source.sample_kind = ZEVRA_SAMPLE_FLOAT;
  source.channels = format.nChannels;
  source.bits_per_sample = format.wBitsPerSample;
  source.valid_bits_per_sample = format.wBitsPerSample;
  source.samples_per_second = format.nSamplesPerSec;
  if (extensible_float) source.channel_mask = Extension(format).dwChannelMask;
  return S_OK;
}

void MakeSixteenBit(WAVEFORMATEX& format) {
  if (format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) {
    format.wFormatTag = WAVE_FORMAT_PCM;
  } else if (IsExtensibleFloat(format)) {
    Extension(format).SubFormat = KSDATAFORMAT_SUBTYPE_PCM;
    Extension(format).Samples.wValidBitsPerSample = 16;
  } else if (format.wFormatTag != WAVE_FORMAT_EXTENSIBLE) {
    return;
  }
  format.wBitsPerSample = 16;
  format.nBlockAlign = static_cast<WORD>(format.nChannels * 2);
  format.nAvgBytesPerSec = format.nBlockAlign * format.nSamplesPerSec;
}

}  // namespace zevra
