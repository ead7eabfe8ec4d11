#ifndef ZEVRA_TOOLS_ZEVRA_ENDPOINT_FACTS_H
#define ZEVRA_TOOLS_ZEVRA_ENDPOINT_FACTS_H

#include <optional>
#include <string>
#include <vector>

#include "tools/zevra/options.h"

namespace zevra::command {

struct MixFormat {
  bool is_float = false;
  unsigned bits = 0;
  unsigned rate = 0;
  unsigned channels = 0;
};

// What a person wants to know of an endpoint and the twelve functions do not tell. All sound goes
// through those; this is asked of the platform's own endpoint list, beside them, and everything
// works without it.
struct EndpointFacts {
  std::string name;
  Flow flow = Flow::kRender;
  bool is_default = false;
  std::optional<MixFormat> mix_format;
};

// Every active endpoint in the platform's order; empty where nothing can be had. On a thread that
// has called ZevraInitialize. `with_formats` costs a connection for each endpoint.
std::vector<EndpointFacts> FindEndpointFacts(bool with_formats);

// The name of a flow's default endpoint, empty where there is none.
std::string DefaultEndpointName(Flow flow);

}  // namespace zevra::command

#endif
