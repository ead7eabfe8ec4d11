#include "builtin/machine.h"

#include <utility>

#include "builtin/endpoint.h"
#include "builtin/enumerator.h"

namespace zevra::builtin {

Machine::Machine(std::vector<EndpointConfig> endpoints, const std::shared_ptr<const Clock>& clock) {
  auto made = std::make_shared<Endpoints>();
  for (EndpointConfig& config : endpoints)
    made->push_back(std::make_shared<Endpoint>(std::move(config), clock));
  endpoints_ = std::move(made);
}

Machine::~Machine() = default;

HRESULT Machine::CreateEnumerator(REFIID iid, void** object) const {
  return NewEnumerator(endpoints_, iid, object);
}

void Machine::Remove(std::size_t endpoint) { endpoints_->at(endpoint)->Remove(); }

void Machine::SetVolume(std::size_t endpoint, float volume) {
  endpoints_->at(endpoint)->SetVolume(volume);
}

}  // namespace zevra::builtin
