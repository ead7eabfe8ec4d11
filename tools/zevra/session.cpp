#include "tools/zevra/session.h"

#include <cstdio>

#include "tests/support/builtin_endpoints.h"
#include "tools/zevra/failure.h"
#include "tools/zevra/result_text.h"
#include "zevra/zevra.h"

namespace zevra::command {
namespace {

bool SoundServerRuns() {
  ZevraDeviceList list{};
  return ZevraGetDeviceList(&list) != ZEVRA_E_SERVICE_NOT_RUNNING;
}

}  // namespace

struct Session::BuiltIn {
  builtin::BuiltinAudio audio{builtin::StandardEndpoints()};
  test::ClassRegistration registration = test::RegisterEndpoints(audio);
};

Session::Session(bool builtin) {
  const std::int32_t result = ZevraInitialize();
  if (result < 0) throw Failure("can't start: " + ResultText(result));
  if (!builtin && !SoundServerRuns()) {
    std::fputs("zevra: no sound server runs, so the built-in endpoints stand in for it\n", stderr);
    builtin = true;
  }
  if (builtin) builtin_ = std::make_unique<BuiltIn>();
}

Session::~Session() { ZevraUninitialize(); }

}  // namespace zevra::command
