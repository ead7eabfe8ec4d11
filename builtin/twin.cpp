// Makes libzevra-builtin.so: it links this enumerator instead of the sound server's.

#include <utility>

#include "builtin/builtin_audio.h"
#include "builtin/settings.h"
#include "log/log.h"
#include "log/paths.h"
#include "platform/applications.h"
#include "platform/linux/com/com.h"
#include "platform/result.h"

namespace zevra {
namespace {

// A host's tests choose by the file what they hear.
builtin::BuiltinAudio MakeAudio() {
  builtin::Settings settings =
      builtin::ReadSettings(AnchorAtModule("zevra-builtin.cfu", kThisLibrary));
  for (const std::string& complaint : settings.complaints)
    ZEVRA_LOG_ERROR("CreateDeviceEnumerator | error | %s", complaint.c_str());
  return builtin::BuiltinAudio(std::move(settings.endpoints));
}

}  // namespace

HRESULT CreateDeviceEnumerator(REFIID iid, void** object) {
  return NoThrow([&] {
    static const builtin::BuiltinAudio audio = MakeAudio();
    return audio.CreateEnumerator(iid, object);
  });
}

HRESULT FindApplication(LPCWSTR, IMMDevice**) { return ResultFromError(ERROR_NOT_FOUND); }

}  // namespace zevra
