#ifndef ZEVRA_ENDURANCE_CROWD_H
#define ZEVRA_ENDURANCE_CROWD_H

#include <pulse/context.h>
#include <pulse/mainloop.h>

#include <vector>

namespace zevra::endurance {

// A hundred clients of the sound server, from their making to its end. A server may refuse some,
// and then the hosts too.
class ClientCrowd {
 public:
  ClientCrowd();
  ~ClientCrowd();
  ClientCrowd(const ClientCrowd&) = delete;
  ClientCrowd& operator=(const ClientCrowd&) = delete;

 private:
  pa_mainloop* const loop_ = pa_mainloop_new();
  std::vector<pa_context*> clients_;
};

}  // namespace zevra::endurance

#endif
