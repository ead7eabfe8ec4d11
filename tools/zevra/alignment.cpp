#include "tools/zevra/alignment.h"

#include <algorithm>
#include <cmath>

namespace zevra::command {
namespace {

// A server that takes up a stream may drop some of its beginning, so the first of them is not
// looked at. Within the second the lag of a server that hands over in uneven steps is at its least
// often.
constexpr double kSettlingTime = 0.5;
constexpr double kCompareTime = 1;
constexpr double kMostSkew = 0.004;

}  // namespace

void Alignment::Look(double now) {
  if (now < next_) return;
  if (next_ == 0) begins_by_ = now + kLongestStart;
  next_ = now + (settled_ ? kCompareTime : kSettlingTime);
  const double left = left_.TakeLeastLag();
  const double right = right_.TakeLeastLag() + later_;
  const bool both = std::isfinite(left) && std::isfinite(right);
  if (begun_)
    Correct(both ? right - left : 0);
  else if (both ? settled_ : now >= begins_by_)
    Begin(left, right);
  else
    settled_ = both;
}

void Alignment::Finish() {
  if (!begun_) Begin(left_.TakeLeastLag(), right_.TakeLeastLag() + later_);
}

void Alignment::Begin(double left_lag, double right_lag) {
  begun_ = true;
  const double least = std::min(left_lag, right_lag);
  const double latency = std::isfinite(least) ? least : 0;
  left_.Align(left_lag, latency);
  right_.Align(right_lag - later_, latency - later_);
}

// A stream that has lost something or whose clock is slower lags more. Twice in a row, so that no
// single delay counts.
void Alignment::Correct(double skew) {
  const double certain = skew * skew_ > 0 ? std::min(std::abs(skew), std::abs(skew_)) : 0;
  skew_ = skew;
  if (certain < kMostSkew) return;
  (skew > 0 ? right_ : left_).Insert(certain);
  skew_ = 0;
}

}  // namespace zevra::command
