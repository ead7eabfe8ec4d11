#include "tools/zevra/keep_alive.h"

namespace zevra::command {

bool KeepAlive::StillPlays() const {
  // A start leaves a running stream alone and says so.
  return device_.library().StartPlay(device_.handle()) == ZEVRA_E_NOT_STOPPED;
}

}  // namespace zevra::command
