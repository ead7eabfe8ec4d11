#ifndef ZEVRA_TOOLS_ZEVRA_WINDOWS_CAPTURE_H
#define ZEVRA_TOOLS_ZEVRA_WINDOWS_CAPTURE_H

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/zevra/options.h"
#include "tools/zevra/timeline.h"
#include "zevra/zevra.hpp"

namespace zevra::command {

// An endpoint that the user chose.
struct Chosen {
  zevra::Device device;
  std::string name;
  zevra::Flow flow;
};

// By its name in the flow chosen, else in both; or the default endpoint of the flow. Failure where
// that is none or more than one.
Chosen Open(const EndpointChoice& choice);

// The audio of an endpoint in step with the clock. One thread.
class Source {
 public:
  // Captures at once. Failure or zevra::Error where it cannot.
  Source(const Options& options, bool keeps_clock);

  // Seconds since the capture began.
  double Now() const;
  // What is ready since the last call, whole frames, valid until the next. Failure once the
  // endpoint has gone, or where no packet brings any audio.
  std::span<const std::uint8_t> Take();
  // The last of it, with silence for what has not come, up to so many frames.
  std::span<const std::uint8_t> End(std::uint64_t most_frames);
  std::vector<Hole> TakeHoles() { return timeline_.TakeHoles(); }

  const std::string& name() const { return chosen_.name; }
  // Why the endpoint is not kept awake, though it should be; empty if all is well.
  const std::string& warning() const { return warning_; }

 private:
  using Clock = std::chrono::steady_clock;

  void Put(const zevra::Packet& packet);
  void CheckThatItRuns();

  const Clock::time_point begun_ = Clock::now();
  Clock::time_point quiet_since_ = begun_;
  Timeline timeline_;
  Chosen chosen_;
  std::string warning_;
  std::mutex mutex_;
  // Under the mutex: what the capture's thread has brought.
  std::vector<std::uint8_t> arrived_;
  std::uint64_t packets_ = 0;
  std::vector<std::uint8_t> taken_;
  std::uint64_t packets_seen_ = 0;
  bool any_audio_ = false;
  // Ends after the capture: its stop takes a while.
  std::optional<zevra::Silence> silence_;
  std::optional<zevra::Capture> capture_;
};

}  // namespace zevra::command

#endif
