#ifndef ZEVRA_STREAM_WAVE_FORMAT_H
#define ZEVRA_STREAM_WAVE_FORMAT_H

#include "platform/api.h"
#include "zevra/zevra.h"

namespace zevra {

// True if `format` is extensible with IEEE float samples.
bool IsExtensibleFloat(const WAVEFORMATEX& format);

// Describes the packets of a capture stream of `format` in `source`, which keeps the values it has
// where an extensible format is not float. E_UNEXPECTED for a format that is neither float nor
// extensible.
HRESULT FillSourceFormat(const WAVEFORMATEX& format, ZevraAudioFormat& source);

// Changes a float or extensible mix format in place to 16-bit integer samples at its own rate and
// channel count; any other format stays as it is.
void MakeSixteenBit(WAVEFORMATEX& format);

}  // namespace zevra

#endif
