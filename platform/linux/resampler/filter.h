#ifndef ZEVRA_PLATFORM_LINUX_RESAMPLER_FILTER_H
#define ZEVRA_PLATFORM_LINUX_RESAMPLER_FILTER_H

#include "platform/api.h"

namespace zevra {

// The options of libswresample's filter, named as it names them.
struct SwrFilter {
  int filter_size;
  double kaiser_beta;
  double cutoff;  // as a share of the lower rate's Nyquist frequency
  int phase_shift;
};

// The filter between two rates in Hz; `half_length` counts samples of the lower rate on each side.
SwrFilter FilterFor(UINT32 input_rate, UINT32 output_rate, UINT32 half_length);

}  // namespace zevra

#endif
