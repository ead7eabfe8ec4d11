#ifndef ZEVRA_ENDURANCE_HOST_H
#define ZEVRA_ENDURANCE_HOST_H

#include <cstdint>

namespace zevra::endurance {

// Runs host `number`, of kHosts, until the board says that it is over. Gives the exit code.
int RunHost(unsigned number, std::uint64_t seed);

}  // namespace zevra::endurance

#endif
