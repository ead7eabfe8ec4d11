// What makes the library that has its endpoints inside the process: it stands in the place of the
// sound server's enumerator.

#include "builtin/machine.h"
#include "platform/linux/class_factories.h"
#include "platform/result.h"

namespace zevra {

HRESULT CreateDeviceEnumerator(REFIID iid, void** object) {
  return NoThrow([&] {
    static const builtin::Machine machine(builtin::StandardEndpoints());
    return machine.CreateEnumerator(iid, object);
  });
}

}  // namespace zevra
