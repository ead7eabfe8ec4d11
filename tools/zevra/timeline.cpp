#include "tools/zevra/timeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zevra::command {
namespace {

// A lag that may still be the machine's business.
constexpr double kTolerance = 0.3;
constexpr double kMostDrift = 0.001;
// How long the lag must have stopped shrinking, and what shrinking is.
constexpr double kDecisionTime = 0.5;
constexpr double kShrinking = 0.03;
// More at once than a live stream brings.
constexpr double kHeldBack = 0.1;
// How far behind the clock silence stays while a source is gone, so that it never has to be taken
// back when the source returns.
constexpr double kGoneMargin = 0.25;

}  // namespace

Timeline::Timeline(const AudioFormat& format, bool keeps_clock, bool waits)
    : format_(format), keeps_clock_(keeps_clock), waits_(waits) {}

void Timeline::Begin(double now) {
  begun_ = true;
  best_time_ = followed_ = now;
  best_lag_ = usual_lag_ = std::min(Lag(now), kLongestStart * format_.rate);
}

void Timeline::Add(std::span<const std::uint8_t> audio, double now, bool drained) {
  pending_.insert(pending_.end(), audio.begin(), audio.end());
  frames_ += FramesIn(audio);
  if (!keeps_clock_) return Flush();
  heard_ = heard_ || !audio.empty();
  if (!begun_ && (gone_ || heard_)) Begin(now);
  if (gone_ || !heard_) return FillGap(now);
  if (audio.empty()) return;
  if (!drained) {
    if (!late_) Flush();
    return;
  }
  const double lag = Lag(now);
  if (!late_ && !aligning_) least_lag_ = std::min(least_lag_, lag);
  Follow(lag, now, static_cast<double>(FramesIn(audio)));
}

void Timeline::FillGap(double now) {
  Flush();
  const double missing = Lag(now) - usual_lag_ - kGoneMargin * format_.rate;
  if (begun_ && missing > 0) PutSilence(missing);
}

void Timeline::Follow(double lag, double now, double new_frames) {
  if (lag <= usual_lag_ + (aligning_ ? 0 : kTolerance * format_.rate)) {
    const double drift = kMostDrift * (now - followed_) * format_.rate;
    usual_lag_ = std::min(lag, usual_lag_ + drift);
    followed_ = now;
    return Settle();
  }
  if (!late_) {
    late_ = true;
    best_lag_ = lag;
    best_time_ = now;
    // What was held back goes on where the audio broke off.
    if (new_frames > kHeldBack * format_.rate) Flush();
  } else if (lag < best_lag_ - kShrinking * format_.rate) {
    best_lag_ = lag;
    best_time_ = now;
    Flush();
  } else if (now - best_time_ >= kDecisionTime) {
    followed_ = now;
    PutSilence(best_lag_ - usual_lag_);
    Settle();
  }
}

void Timeline::Settle() {
  late_ = aligning_ = false;
  Flush();
  CloseHole();
}

void Timeline::SetGone(bool gone, double planned) {
  gone_ = gone;
  planned_ = planned;
  aligning_ = true;
  late_ = false;
  least_lag_ = std::numeric_limits<double>::infinity();
}

// Before what is pending.
void Timeline::PutSilence(double frames) {
  const auto whole = static_cast<std::uint64_t>(std::llround(std::max(frames, 0.0)));
  if (hole_frames_ == 0)
    hole_begin_ = static_cast<double>(frames_ - FramesIn(pending_)) / format_.rate;
  hole_frames_ += static_cast<double>(whole);
  frames_ += whole;
  best_lag_ -= static_cast<double>(whole);
  least_lag_ = std::numeric_limits<double>::infinity();
  ready_.resize(ready_.size() + whole * format_.FrameBytes(), SilentByte());
}

void Timeline::Flush() {
  ready_.insert(ready_.end(), pending_.begin(), pending_.end());
  pending_.clear();
}

void Timeline::CloseHole() {
  const double seconds = hole_frames_ / format_.rate;
  if (seconds > planned_) holes_.push_back({hole_begin_, seconds});
  hole_frames_ = 0;
  planned_ = 0;
}

void Timeline::End(double now, std::uint64_t most_frames) {
  if (keeps_clock_) {
    if (!begun_) Begin(now);
    if (late_) PutSilence(best_lag_ - usual_lag_);
    Flush();
    const double left = static_cast<double>(most_frames) - static_cast<double>(FramesIn(ready_));
    const double missing = Lag(now) - usual_lag_;
    if (gone_ || missing > kTolerance * format_.rate) PutSilence(std::min(missing, left));
  }
  Settle();
}

std::vector<Hole> Timeline::TakeHoles() {
  return waits_ ? std::vector<Hole>() : std::exchange(holes_, {});
}

double Timeline::TakeLeastLag() {
  return std::exchange(least_lag_, std::numeric_limits<double>::infinity()) / format_.rate;
}

void Timeline::Align(double least_lag, double latency) {
  waits_ = false;
  const double lag = std::isfinite(least_lag) ? least_lag * format_.rate : usual_lag_;
  usual_lag_ = latency * format_.rate;
  if (!std::exchange(begun_, true)) {
    // Silence follows the clock from now on, and a late start is no hole.
    aligning_ = true;
    planned_ = kLongestStart;
    return;
  }
  const double missing = std::max(std::round(lag - usual_lag_), 0.0);
  const auto whole = static_cast<std::uint64_t>(missing);
  frames_ += whole;
  best_lag_ -= missing;
  least_lag_ = std::numeric_limits<double>::infinity();
  hole_begin_ += missing / format_.rate;
  for (Hole& hole : holes_) hole.at_seconds += missing / format_.rate;
  ready_.insert(ready_.begin(), whole * format_.FrameBytes(), SilentByte());
}

void Timeline::Insert(double seconds) {
  PutSilence(seconds * format_.rate);
  hole_frames_ = 0;
}

}  // namespace zevra::command
