#ifndef ZEVRA_STREAM_WAKE_UP_TIMER_H
#define ZEVRA_STREAM_WAKE_UP_TIMER_H

#include "platform/api.h"
#include "platform/calls.h"
#include "platform/owners.h"

namespace zevra {

// An auto-reset waitable timer; once armed it is cancelled before it is given back.
class WakeUpTimer {
 public:
  WakeUpTimer() = default;
  ~WakeUpTimer() {
    if (armed_) os::CancelWaitableTimer(timer_.Get());
  }
  WakeUpTimer(const WakeUpTimer&) = delete;
  WakeUpTimer& operator=(const WakeUpTimer&) = delete;

  // Both give false on failure, with the cause in GetLastError.
  bool Create();
  // Signals first after half of `period` (100-ns units) and then every half period in whole
  // milliseconds, at least one: a repeat of 0 would be a single shot.
  bool Arm(REFERENCE_TIME period);

  HANDLE Get() const { return timer_.Get(); }

 private:
  UniqueHandle timer_;
  bool armed_ = false;
};

}  // namespace zevra

#endif
