#ifndef ZEVRA_TOOLS_ZEVRA_KEEP_ALIVE_H
#define ZEVRA_TOOLS_ZEVRA_KEEP_ALIVE_H

#include <cstdint>

#include "tools/zevra/device.h"

namespace zevra::command {

// Silence that plays on a render endpoint as long as this lives, so that the endpoint has packets
// also while nothing else plays.
class KeepAlive {
 public:
  // Look at result() for whether it plays.
  explicit KeepAlive(const Device& device)
      : device_(device), result_(device.library().StartPlay(device.handle())) {}
  // Takes up to half a second.
  ~KeepAlive() { device_.library().StopPlay(device_.handle()); }
  KeepAlive(const KeepAlive&) = delete;
  KeepAlive& operator=(const KeepAlive&) = delete;

  // Of the start: 0 if the silence plays.
  std::int32_t result() const { return result_; }
  // False once the stream has ended by itself.
  bool StillPlays() const;

 private:
  const Device& device_;
  const std::int32_t result_;
};

}  // namespace zevra::command

#endif
