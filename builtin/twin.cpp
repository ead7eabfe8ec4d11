// Makes libzevra-builtin.so: it links this enumerator instead of the sound server's.

#include "builtin/builtin_audio.h"
#include "platform/applications.h"
#include "platform/linux/com/com.h"
#include "platform/result.h"

namespace zevra {

HRESULT CreateDeviceEnumerator(REFIID iid, void** object) {
  return NoThrow([&] {
    static const builtin::BuiltinAudio audio(builtin::StandardEndpoints());
    return audio.CreateEnumerator(iid, object);
  });
}

HRESULT FindApplication(LPCWSTR, IMMDevice**) { return ResultFromError(ERROR_NOT_FOUND); }

}  // namespace zevra
