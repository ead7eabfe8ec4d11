#ifndef ZEVRA_PLATFORM_LINUX_KERNEL_WAKE_UPS_H
#define ZEVRA_PLATFORM_LINUX_KERNEL_WAKE_UPS_H

#include <poll.h>

#include <array>
#include <cstddef>
#include <memory>

namespace zevra {

// Descriptors whose events make a timer signal before it is due. A stream keeps the list of its own
// connection; the timer of the stream's thread shares it and watches what it holds at each wait.
// Both use it on that thread alone.
struct WakeUps {
  std::array<pollfd, 8> descriptors{};
  // Those that are watched, the first ones of the list. The stream sets it when it has handled all
  // their events; the first new event sets it to 0, so that no wait ends over and over for one that
  // nobody handles.
  std::size_t count = 0;
};

// Makes `wake_ups` those of the timer that the calling thread arms next, until it is cancelled.
void OfferWakeUps(std::shared_ptr<WakeUps> wake_ups);

}  // namespace zevra

#endif
