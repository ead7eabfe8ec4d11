#ifndef ZEVRA_BUILTIN_ENUMERATOR_H
#define ZEVRA_BUILTIN_ENUMERATOR_H

#include <memory>
#include <vector>

#include "platform/api.h"

namespace zevra::builtin {

class Endpoint;

// A new enumerator of `endpoints`, in their order, as `iid` asks. Any thread; throws nothing.
HRESULT NewEnumerator(std::shared_ptr<const std::vector<std::shared_ptr<Endpoint>>> endpoints,
                      REFIID iid, void** object) noexcept;

}  // namespace zevra::builtin

#endif
