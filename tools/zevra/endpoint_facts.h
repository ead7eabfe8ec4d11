#ifndef ZEVRA_TOOLS_ZEVRA_ENDPOINT_FACTS_H
#define ZEVRA_TOOLS_ZEVRA_ENDPOINT_FACTS_H

#include <pulse/context.h>
#include <pulse/mainloop.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/zevra/options.h"

namespace zevra::command {

// What a person wants to know of an endpoint and the twelve functions do not tell.
struct EndpointFacts {
  std::string name;
  Flow flow = Flow::kRender;
  bool is_default = false;
  bool muted = false;
  // On the mixer's scale; only where the server tells it.
  std::optional<float> volume;
  // Of the mix, whose samples are 32-bit floats.
  unsigned rate = 0;
  unsigned channels = 0;
  // The server's own name for it, which stays the same whatever else is plugged in.
  std::string id;
  // Of an application.
  bool paused = false;
};

// Asks the sound server; empty where it does not answer, and everything works without them. Those
// of the built-in endpoints are known. Named as in the library's lists, but all of
// them: those that play before those that record, of each the default first.
std::vector<EndpointFacts> FindEndpointFacts(bool builtin);

// The sound server's name and version, empty where it does not answer.
std::string SoundServerText();

// A flow's default endpoint, without a name where there is none.
EndpointFacts DefaultEndpoint(bool builtin, Flow flow);

struct PulseFree {
  void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
  void operator()(pa_context* context) const {
    pa_context_disconnect(context);
    pa_context_unref(context);
  }
  void operator()(pa_operation* operation) const { pa_operation_unref(operation); }
};

// Learns from the sound server when a flow's default endpoint becomes another. One thread; never
// waits, and connects again to a server that went away.
class DefaultWatch {
 public:
  explicit DefaultWatch(Flow flow);
  DefaultWatch(const DefaultWatch&) = delete;
  DefaultWatch& operator=(const DefaultWatch&) = delete;

  // Cheap, to be called often.
  bool HasMoved();
  // The endpoint that is the default now is the right one.
  void Accept() { accepted_ = current_; }

 private:
  void Connect();
  void Ask();

  const Flow flow_;
  const std::unique_ptr<pa_mainloop, PulseFree> loop_;
  std::unique_ptr<pa_context, PulseFree> context_;
  bool subscribed_ = false;
  std::chrono::steady_clock::time_point connected_at_;
  // Names of the server's.
  std::string current_;
  std::string accepted_;
};

}  // namespace zevra::command

#endif
