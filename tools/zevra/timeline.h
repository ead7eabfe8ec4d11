#ifndef ZEVRA_TOOLS_ZEVRA_TIMELINE_H
#define ZEVRA_TOOLS_ZEVRA_TIMELINE_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "tools/zevra/sample_format.h"

namespace zevra::command {

// In seconds. A server may take two to answer a new listener; what takes longer to its first audio
// has lost some.
inline constexpr double kLongestStart = 2.5;

// Silence that stands in a recording for what never came.
struct Hole {
  double at_seconds;
  double seconds;
};

// Keeps audio in step with the clock: where audio is missing, silence takes its place. How far the
// audio lags behind the clock tells a hole from everything else.
//
// - Audio starts late by a latency, which is no hole. The lag beyond it counts.
// - The endpoint's own clock drifts by parts in ten thousand, so the lag that counts as none
// follows
//   by one in a thousand. A hole is a step of hundreds of milliseconds.
// - Audio that was held back comes later in a burst and makes the lag small again. So the lag
// counts
//   once it has stopped shrinking for half a second; the hole is where it stopped. What came since
//   waits until then.
//
// Times are seconds since any moment. One thread.
class Timeline {
 public:
  // Without `keeps_clock` audio goes through as it comes. With `waits` nothing is ready before
  // Align has been called.
  Timeline(const AudioFormat& format, bool keeps_clock, bool waits);

  // `audio` has come by `now`, and more of it is on its way to here unless `drained`. Call it also
  // when none has.
  void Add(std::span<const std::uint8_t> audio, double now, bool drained);
  // While its source is gone, silence follows the clock. A gap of up to `planned` seconds is no
  // hole.
  void SetGone(bool gone, double planned);
  // Makes all ready, with what is still missing at `now`, but not more than so many frames.
  void End(double now, std::uint64_t most_frames);

  // Audio and silence in step with the clock, since Clear.
  std::span<const std::uint8_t> Ready() const {
    return waits_ ? std::span<const std::uint8_t>() : ready_;
  }
  void Clear() {
    if (!waits_) ready_.clear();
  }
  // New ones since the last call.
  std::vector<Hole> TakeHoles();

  // The least lag since the last call in seconds; infinite where it is not known.
  double TakeLeastLag();
  // Ends the wait of a timeline of that least lag, infinite where it is not known: silence in front
  // makes up for what it began later than one with a latency of less. Silence follows the clock
  // also where no audio has come yet.
  void Align(double least_lag, double latency);
  // Puts silence in that is too short for a hole.
  void Insert(double seconds);

 private:
  double Lag(double now) const { return now * format_.rate - static_cast<double>(frames_); }
  std::uint64_t FramesIn(std::span<const std::uint8_t> audio) const {
    return audio.size() / format_.FrameBytes();
  }
  std::uint8_t SilentByte() const { return format_.type == SampleType::kU8 ? 0x80 : 0; }
  void Begin(double now);
  void FillGap(double now);
  void Follow(double lag, double now, double new_frames);
  void Settle();
  void PutSilence(double frames);
  void Flush();
  void CloseHole();

  const AudioFormat format_;
  const bool keeps_clock_;
  bool waits_;
  std::vector<std::uint8_t> ready_;
  // What came after the place of a hole that is not certain yet.
  std::vector<std::uint8_t> pending_;
  std::uint64_t frames_ = 0;  // ready and pending since the beginning
  bool begun_ = false;
  bool heard_ = false;
  bool gone_ = false;
  double planned_ = 0;
  // After a gap the first audio is put exactly where the clock says.
  bool aligning_ = false;
  bool late_ = false;
  // In frames: the lag that is none, and the least since the audio became late.
  double usual_lag_ = 0;
  double best_lag_ = 0;
  double best_time_ = 0;
  double least_lag_ = std::numeric_limits<double>::infinity();
  double followed_ = 0;
  double hole_begin_ = 0;
  double hole_frames_ = 0;
  std::vector<Hole> holes_;
};

}  // namespace zevra::command

#endif
