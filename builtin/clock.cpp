#include "builtin/clock.h"

namespace zevra::builtin {
namespace {

class SteadyClock final : public Clock {
 public:
  std::chrono::nanoseconds Now() const override {
    return std::chrono::steady_clock::now() - beginning_;
  }

 private:
  const std::chrono::steady_clock::time_point beginning_ = std::chrono::steady_clock::now();
};

}  // namespace

std::shared_ptr<const Clock> RealClock() { return std::make_shared<SteadyClock>(); }

}  // namespace zevra::builtin
