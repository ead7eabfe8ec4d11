#ifndef ZEVRA_BUILTIN_MACHINE_H
#define ZEVRA_BUILTIN_MACHINE_H

#include <cstddef>
#include <memory>
#include <vector>

#include "builtin/clock.h"
#include "builtin/endpoint_config.h"
#include "platform/api.h"

namespace zevra::builtin {

class Endpoint;

// A small audio machine inside the process, seen through IMMDeviceEnumerator and what hangs on it:
// render endpoints that mix what is played on them, loopback of that mix, capture endpoints that
// play a programme. It has no thread; packets pass as its clock does. The objects that it gives out
// may outlive it.
//
// Endpoints are named here by their index in the configuration. Any thread.
class Machine {
 public:
  // std::invalid_argument for a configuration that describes no endpoint.
  explicit Machine(std::vector<EndpointConfig> endpoints,
                   const std::shared_ptr<const Clock>& clock = RealClock());
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  // A new enumerator of this machine; `iid` is IMMDeviceEnumerator's.
  HRESULT CreateEnumerator(REFIID iid, void** object) const;

  // The endpoint vanishes: it leaves the lists, and what is open on it fails from now on.
  void Remove(std::size_t endpoint);
  void SetVolume(std::size_t endpoint, float volume);

 private:
  using Endpoints = std::vector<std::shared_ptr<Endpoint>>;
  std::shared_ptr<const Endpoints> endpoints_;
};

}  // namespace zevra::builtin

#endif
