#ifndef ZEVRA_TESTS_SUPPORT_BUILTIN_ENDPOINTS_H
#define ZEVRA_TESTS_SUPPORT_BUILTIN_ENDPOINTS_H

#include "builtin/machine.h"
#include "support/replaceable_calls.h"

namespace zevra::test {

// The endpoints of `machine` stand in for the system's as long as the registration lives. The
// machine must outlive it.
inline ClassRegistration RegisterEndpoints(const builtin::Machine& machine) {
  return {CLSID_MMDeviceEnumerator,
          [&machine](REFIID iid, void** object) { return machine.CreateEnumerator(iid, object); }};
}

}  // namespace zevra::test

#endif
