#ifndef ZEVRA_TESTS_SUPPORT_SCRIPTED_MF_H
#define ZEVRA_TESTS_SUPPORT_SCRIPTED_MF_H

#include "platform/api.h"

namespace zevra::test {

// Media types, samples and buffers that keep what they are given and journal their operations.
HRESULT CreateScriptedMediaType(IMFMediaType** type);
HRESULT CreateScriptedSample(IMFSample** sample);
HRESULT CreateScriptedBuffer(DWORD capacity, IMFMediaBuffer** buffer);

}  // namespace zevra::test

#endif
