#ifndef ZEVRA_TOOLS_ZEVRA_WINDOWS_DEFAULT_ENDPOINT_H
#define ZEVRA_TOOLS_ZEVRA_WINDOWS_DEFAULT_ENDPOINT_H

#include <string>

#include "zevra/zevra.hpp"

namespace zevra::command {

// The name of a flow's default endpoint, which the library's lists do not mark. Empty where there
// is none. Thread: any but one in a multithreaded apartment.
std::string DefaultEndpointName(zevra::Flow flow);

}  // namespace zevra::command

#endif
