#include "platform/builtin/manual_clock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "platform/owners.h"

namespace zevra::builtin {
namespace {

using platform::UniqueHandle;
using std::chrono::milliseconds;

UniqueHandle NewEvent() { return UniqueHandle(Os().CreateEventW(nullptr, FALSE, FALSE, nullptr)); }

// A thread that does `work` at every tick of a periodic timer until it is told to stop.
class Ticker {
 public:
  Ticker(milliseconds first, milliseconds period, std::function<void()> work)
      : thread_([this, first, period, work = std::move(work)] { Run(first, period, work); }) {
    Os().WaitForSingleObject(ready_.Get(), INFINITE);
  }
  ~Ticker() {
    Os().SetEvent(stop_.Get());
    thread_.join();
  }
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

 private:
  void Run(milliseconds first, milliseconds period, const std::function<void()>& work) {
    const UniqueHandle timer(Os().CreateWaitableTimerW(nullptr, FALSE, nullptr));
    const LARGE_INTEGER due{.QuadPart = -10'000 * first.count()};
    EXPECT_TRUE(Os().SetWaitableTimer(timer.Get(), &due, static_cast<LONG>(period.count()), nullptr,
                                      nullptr, FALSE));
    Os().SetEvent(ready_.Get());
    const HANDLE handles[] = {stop_.Get(), timer.Get()};
    while (Os().WaitForMultipleObjects(2, handles, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) work();
    EXPECT_TRUE(Os().CancelWaitableTimer(timer.Get()));
  }

  const UniqueHandle ready_ = NewEvent();
  const UniqueHandle stop_ = NewEvent();
  std::thread thread_;
};

TEST(ManualClock, EveryTickFindsItsThreadWaitingAndIsDoneWhenAdvanceReturns) {
  ManualClock clock;
  std::vector<milliseconds> slow;
  std::vector<milliseconds> quick;
  const auto note = [&clock](std::vector<milliseconds>& ticks) {
    return [&clock, &ticks] {
      ticks.push_back(std::chrono::duration_cast<milliseconds>(clock.Now()));
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    };
  };
  {
    const Ticker a(milliseconds(5), milliseconds(10), note(slow));
    const Ticker b(milliseconds(2), milliseconds(1), note(quick));
    clock.Advance(milliseconds(4));
    EXPECT_THAT(slow, testing::IsEmpty());
    EXPECT_THAT(quick, testing::ElementsAre(milliseconds(2), milliseconds(3), milliseconds(4)));
    clock.Advance(milliseconds(26));
    EXPECT_THAT(slow, testing::ElementsAre(milliseconds(5), milliseconds(15), milliseconds(25)));
    EXPECT_EQ(quick.size(), 29U);
  }
  clock.Advance(milliseconds(100));
  EXPECT_EQ(quick.size(), 29U);
  EXPECT_EQ(clock.Now(), milliseconds(130));
}

TEST(ManualClock, AnHourPassesInALoopOfSleepsAndAWaitForItsThreadLetsItPass) {
  ManualClock clock;
  std::atomic<int> naps{0};
  const UniqueHandle done = NewEvent();
  std::thread sleeper([&] {
    for (int nap = 0; nap < 360; ++nap) {
      Os().Sleep(10'000);
      ++naps;
    }
    Os().SetEvent(done.Get());
  });
  while (naps == 0) clock.Advance(milliseconds(5'000));
  EXPECT_EQ(Os().WaitForSingleObject(done.Get(), INFINITE), WAIT_OBJECT_0);
  sleeper.join();
  EXPECT_EQ(naps, 360);
  EXPECT_GE(clock.Now(), std::chrono::hours(1));
}

TEST(ManualClock, GivesTheSystemItsOperationsBack) {
  { const ManualClock clock; }
  EXPECT_EQ(&Os(), &platform::SystemOperations());
}

}  // namespace
}  // namespace zevra::builtin
