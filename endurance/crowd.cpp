#include "endurance/crowd.h"

#include "endurance/board.h"

namespace zevra::endurance {

ClientCrowd::ClientCrowd() {
  for (int client = 0; client < 100; ++client) {
    clients_.push_back(pa_context_new(pa_mainloop_get_api(loop_), "crowd"));
    pa_context_connect(clients_.back(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
  }
  const auto end_ms = NowMs() + 1'000;
  while (NowMs() < end_ms) {
    if (pa_mainloop_prepare(loop_, 50'000) < 0 || pa_mainloop_poll(loop_) < 0) break;
    pa_mainloop_dispatch(loop_);
  }
}

ClientCrowd::~ClientCrowd() {
  for (pa_context* const client : clients_) {
    pa_context_disconnect(client);
    pa_context_unref(client);
  }
  pa_mainloop_free(loop_);
}

}  // namespace zevra::endurance
