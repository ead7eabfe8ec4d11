#ifndef ZEVRA_TOOLS_ZEVRA_ALIGNMENT_H
#define ZEVRA_TOOLS_ZEVRA_ALIGNMENT_H

#include "tools/zevra/timeline.h"

namespace zevra::command {

// Keeps two time lines in step: what came at the same moment lies at the same place in both. How
// far each lags behind the clock shows how they lie. Packets and a busy machine make the lag larger
// for moments only, so the least of a second counts. Where one is silent or gone, the other does
// not wait for it for long. One thread.
class Alignment {
 public:
  // Both wait for Timeline::Align. The clock of `right` began so many seconds after that of `left`.
  Alignment(Timeline& left, Timeline& right, double later)
      : left_(left), right_(right), later_(later) {}

  // Call it often, with the time of the clock of `left`.
  void Look(double now);
  // Lets both begin with what is known of them.
  void Finish();

 private:
  void Begin(double left_lag, double right_lag);
  void Correct(double skew);

  Timeline& left_;
  Timeline& right_;
  const double later_;
  double next_ = 0;
  double begins_by_ = 0;
  bool settled_ = false;
  bool begun_ = false;
  double skew_ = 0;  // of the time before, 0 for none
};

}  // namespace zevra::command

#endif
