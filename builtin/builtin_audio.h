#ifndef ZEVRA_BUILTIN_BUILTIN_AUDIO_H
#define ZEVRA_BUILTIN_BUILTIN_AUDIO_H

#include <memory>
#include <vector>

#include "builtin/endpoint.h"
#include "platform/api.h"

namespace zevra::builtin {

// Audio endpoints inside the process, behind IMMDeviceEnumerator and the interfaces that are
// reached from it. A render endpoint mixes what its streams play, its loopback hears that mix, and
// a capture endpoint plays a signal. There is no thread: the clock alone moves the packets on. The
// objects may outlive this one. Any thread.
class BuiltinAudio {
 public:
  // std::invalid_argument for a configuration that describes no endpoint.
  explicit BuiltinAudio(std::vector<EndpointConfig> endpoints,
                        const std::shared_ptr<const Clock>& clock = RealClock());

  // A new enumerator of the endpoints, in their order; `iid` is IMMDeviceEnumerator's.
  HRESULT CreateEnumerator(REFIID iid, void** object) const noexcept;

 private:
  std::shared_ptr<const std::vector<std::shared_ptr<Endpoint>>> endpoints_;
};

}  // namespace zevra::builtin

#endif
