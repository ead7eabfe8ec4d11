#ifndef ZEVRA_PLATFORM_LINUX_PULSE_CONNECTION_H
#define ZEVRA_PLATFORM_LINUX_PULSE_CONNECTION_H

#include <poll.h>
#include <pulse/context.h>
#include <pulse/mainloop.h>

#include <chrono>
#include <cstddef>
#include <memory>

#include "platform/api.h"
#include "platform/linux/kernel/wake_ups.h"

namespace zevra {

// How long a server may take to answer anything. One that is silent for longer counts as gone: a
// host's call must come back also when the daemon hangs. Generous, because a machine under load
// answers late.
inline constexpr std::chrono::microseconds kServerPatience = std::chrono::seconds(3);

// How long a stream's data may keep the caller while the server does not take them. A full socket
// empties within a period of the server's, so this is ample.
inline constexpr std::chrono::microseconds kFlushPatience = std::chrono::milliseconds(50);

// One synchronous connection to the user's sound server, PulseAudio or PipeWire, with an event loop
// that runs only inside these calls: no thread, no lock, no callback at a time of its own. Any
// thread, one at a time. Closing it does not wait for the server.
class PulseConnection {
 public:
  PulseConnection() = default;
  ~PulseConnection();
  PulseConnection(const PulseConnection&) = delete;
  PulseConnection& operator=(const PulseConnection&) = delete;

  // Connects, within kServerPatience, to a server that runs already; none is started. Once only.
  // AUDCLNT_E_SERVICE_NOT_RUNNING where none answers.
  HRESULT Open();

  // Needs a successful Open.
  pa_context* Context() const { return context_.get(); }

  // S_OK, or AUDCLNT_E_DEVICE_INVALIDATED once the server has gone or has stayed silent too long.
  HRESULT State() const;

  // Handles what has arrived and what waits to be sent, without waiting. Returns how many events
  // were handled: 0 when there is nothing left to do, negative for an error.
  int Pump();

  // True if no socket is readable since MarkDrained. One poll(2) at most instead of an iteration of
  // the main loop.
  bool NothingArrived();
  // Remembers that all is handled: call it when Pump has just returned 0. Any operation here that
  // uses the context clears the mark; callers that use the context directly call ClearDrained.
  void MarkDrained();
  void ClearDrained() { wake_ups_->count = 0; }
  // The sockets, from MarkDrained to ClearDrained.
  std::shared_ptr<WakeUps> SocketWakeUps() const { return wake_ups_; }

  // Waits until `done()` holds: AUDCLNT_E_DEVICE_INVALIDATED if the server goes away first, or does
  // not bring it about within kServerPatience. `done` is asked before the connection's state is.
  template <class Done>
  HRESULT WaitUntil(Done done) {
    const auto deadline = Clock::now() + kServerPatience;
    while (!done()) {
      if (const HRESULT result = State(); FAILED(result)) return result;
      silent_too_long_ = !IterateUntil(deadline);
    }
    return S_OK;
  }

  // Takes over `operation` and waits as above until it is over, whichever way the server answered.
  // E_FAIL if it could not even be sent and is null.
  HRESULT Await(pa_operation* operation);

  // Waits until the server has taken all that is to be sent, for kFlushPatience at most: what is
  // left goes out with a later call.
  void Flush();

 private:
  using Clock = std::chrono::steady_clock;
  struct FreeMainloop {
    void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
  };
  struct CloseContext {
    void operator()(pa_context* context) const;
  };

  static int Poll(pollfd* descriptors, unsigned long count, int timeout_ms, void* self);

  // Handles one round of events, waiting for them until `deadline`. False once that has passed.
  bool IterateUntil(Clock::time_point deadline);

  std::unique_ptr<pa_mainloop, FreeMainloop> loop_;
  std::unique_ptr<pa_context, CloseContext> context_;
  bool silent_too_long_ = false;
  // What the loop polled last, as far as it fits.
  const std::shared_ptr<WakeUps> wake_ups_ = std::make_shared<WakeUps>();
  std::size_t polled_count_ = 0;
};

}  // namespace zevra

#endif
