#ifndef ZEVRA_TESTS_WINDOWS_SERVED_RESAMPLER_H
#define ZEVRA_TESTS_WINDOWS_SERVED_RESAMPLER_H

#include "platform/api.h"

namespace zevra::test {

// A new resampler around one of the system's, as `iid` asks. The result is what the system's gave.
HRESULT CreateResampler(REFIID iid, void** object);

}  // namespace zevra::test

#endif
