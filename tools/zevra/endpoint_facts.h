#ifndef ZEVRA_TOOLS_ZEVRA_ENDPOINT_FACTS_H
#define ZEVRA_TOOLS_ZEVRA_ENDPOINT_FACTS_H

#include <string>
#include <vector>

#include "tools/zevra/options.h"

namespace zevra::command {

// What a person wants to know of an endpoint and the twelve functions do not tell.
struct EndpointFacts {
  std::string name;
  Flow flow = Flow::kRender;
  bool is_default = false;
  // Of the mix, whose samples are 32-bit floats.
  unsigned rate = 0;
  unsigned channels = 0;
};

// Asks the sound server; empty where it does not answer, and everything works without them. Those
// of the built-in endpoints are known.
std::vector<EndpointFacts> FindEndpointFacts(bool builtin);

// The name of a flow's default endpoint, empty where there is none.
std::string DefaultEndpointName(bool builtin, Flow flow);

}  // namespace zevra::command

#endif
