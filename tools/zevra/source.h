#ifndef ZEVRA_TOOLS_ZEVRA_SOURCE_H
#define ZEVRA_TOOLS_ZEVRA_SOURCE_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/zevra/alignment.h"
#include "tools/zevra/capture.h"
#include "tools/zevra/device.h"
#include "tools/zevra/endpoint_facts.h"
#include "tools/zevra/timeline.h"

namespace zevra::command {

// What there is to say about a source: the kind for programs, the text for people.
using Tell = std::function<void(const char* kind, const std::string& text)>;

struct SourceOptions {
  EndpointChoice endpoint;
  AudioFormat format;
  bool keep_alive = true;
  // False where audio is only looked at.
  bool keeps_clock = true;
  // One of several, whose latencies are evened out.
  bool aligned = false;
  // Goes along when the default endpoint becomes another.
  bool follow_default = false;
  // How many seconds to wait for an endpoint that went away.
  double patience = 0;
};

// The audio of an endpoint in step with the clock, across gaps. One thread.
class Source {
 public:
  using Clock = std::chrono::steady_clock;

  // Captures at once. Failure where it cannot; also from Take, once the endpoint is gone for good.
  Source(const Session& session, SourceOptions options, Tell tell);

  // Seconds since the captures began.
  double Now() const { return TimeOf(Clock::now()); }
  // What is ready since the last call, whole frames, valid until the next call.
  std::span<const std::uint8_t> Take();
  // The last of it, with silence for what has not come, up to so many frames.
  std::span<const std::uint8_t> End(std::uint64_t most_frames);

  const Device& device() const { return *device_; }
  Timeline& timeline() { return timeline_; }
  std::uint64_t packets() const { return packets_ + (capture_ ? capture_->packets() : 0); }
  std::uint64_t silent_packets() const {
    return silent_packets_ + (capture_ ? capture_->silent_packets() : 0);
  }
  // Whether audio was lost because it was taken too slowly.
  bool WasSlow() const { return slow_ || (capture_ && capture_->lost_bytes() > 0); }

 private:
  double TimeOf(Clock::time_point moment) const;
  void Open(const EndpointChoice& choice);
  void Close();
  void WarnOfLevel();
  void LookForDefault();
  void LookForPause(bool audio_came);
  void Lose(const EndpointGone& reason);
  void TryAgain();

  const Session& session_;
  const SourceOptions options_;
  const Tell tell_;
  Clock::time_point begun_;
  Timeline timeline_;
  std::optional<Device> device_;
  // Ends after the capture: its stop takes a while.
  std::optional<KeepAlive> keep_alive_;
  std::optional<Capture> capture_;
  std::unique_ptr<DefaultWatch> watch_;
  EndpointChoice again_;
  std::string lost_because_;
  double lost_at_ = 0;
  double tried_at_ = 0;
  // Of an application.
  bool paused_ = false;
  double heard_at_ = 0;
  std::uint64_t packets_ = 0;
  std::uint64_t silent_packets_ = 0;
  bool slow_ = false;
};

// One source, or two side by side in one time line: the first on the left, the second on the right.
class Tracks {
 public:
  // Two are of one channel each, in the same format.
  Tracks(const Session& session, const std::vector<SourceOptions>& options, const Tell& tell);

  // As far as all sources are, and the last of it, as Source.
  std::span<const std::uint8_t> Take();
  std::span<const std::uint8_t> End(std::uint64_t most_frames);
  std::vector<Hole> TakeHoles();

  const Source& first() const { return tracks_.front().source; }
  const Source& last() const { return tracks_.back().source; }
  bool WereSlow() const { return first().WasSlow() || last().WasSlow(); }

 private:
  // A source and what of it waits for the other one.
  struct Track {
    Track(const Session& session, const SourceOptions& options, const Tell& tell)
        : source(session, options, tell) {}
    void Keep(std::span<const std::uint8_t> audio) {
      waiting.insert(waiting.end(), audio.begin(), audio.end());
    }

    Source source;
    std::vector<std::uint8_t> waiting;
  };

  std::span<const std::uint8_t> Merge();

  const AudioFormat format_;
  std::deque<Track> tracks_;
  std::optional<Alignment> alignment_;
  std::vector<std::uint8_t> merged_;
};

}  // namespace zevra::command

#endif
