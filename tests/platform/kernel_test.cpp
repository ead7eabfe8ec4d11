#include "platform/api.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

#include "platform/owners.h"

// Events, timers, threads and waits as the capture and the render thread use them. Times are only
// ever bounded from below: a busy machine makes waits longer, never shorter.

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using zevra::UniqueHandle;

UniqueHandle Event(bool manual_reset = false, bool signalled = false) {
  return UniqueHandle(CreateEventW(nullptr, manual_reset, signalled, nullptr));
}

UniqueHandle Timer(LONGLONG due_time, LONG period_ms) {
  UniqueHandle timer(CreateWaitableTimerW(nullptr, FALSE, nullptr));
  const LARGE_INTEGER due{due_time};
  EXPECT_TRUE(SetWaitableTimer(timer.Get(), &due, period_ms, nullptr, nullptr, FALSE));
  return timer;
}

int ReadyWaits(HANDLE handle, int tries) {
  int ready = 0;
  while (tries-- > 0) ready += WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
  return ready;
}

TEST(Events, SignalsDoNotPileUp) {
  const struct {
    bool manual_reset, signalled;
    int sets, ready_of_five;
  } cases[] = {{false, false, 0, 0}, {false, false, 1, 1}, {false, false, 3, 1},
               {false, true, 0, 1},  {false, true, 2, 1},  {true, false, 0, 0},
               {true, false, 2, 5},  {true, true, 0, 5}};
  for (const auto& c : cases) {
    const UniqueHandle event = Event(c.manual_reset, c.signalled);
    for (int set = 0; set < c.sets; ++set) EXPECT_TRUE(SetEvent(event.Get()));
    EXPECT_EQ(ReadyWaits(event.Get(), 5), c.ready_of_five)
        << c.manual_reset << c.signalled << c.sets;
  }
}

TEST(Waits, LowestSignalledIndexWinsAndOnlyThatSignalIsTaken) {
  const UniqueHandle first = Event(), second = Event(), third = Event();
  const std::array<HANDLE, 3> handles = {first.Get(), second.Get(), third.Get()};
  SetEvent(handles[2]);
  SetEvent(handles[1]);
  EXPECT_EQ(WaitForMultipleObjects(3, handles.data(), FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(3, handles.data(), FALSE, INFINITE), WAIT_OBJECT_0 + 2);
  EXPECT_EQ(WaitForMultipleObjects(3, handles.data(), FALSE, 0), WAIT_TIMEOUT);
}

// A thread that is signalled all the time while it sits in `wait`.
template <class Wait>
auto WhileInterrupted(Wait wait) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  std::atomic<bool> done{false};
  decltype(wait()) result{};
  std::thread waiter([&] {
    result = wait();
    done = true;
  });
  while (!done) {
    pthread_kill(waiter.native_handle(), SIGUSR1);
    std::this_thread::sleep_for(1ms);
  }
  waiter.join();
  return result;
}

TEST(Waits, GoOnAfterAnInterruption) {
  const UniqueHandle event = Event();
  const auto start = Clock::now();
  EXPECT_EQ(WhileInterrupted([&] { return WaitForSingleObject(event.Get(), 60); }), WAIT_TIMEOUT);
  EXPECT_GE(Clock::now() - start, 60ms);

  const auto sleep_start = Clock::now();
  WhileInterrupted([] { return Sleep(40), 0; });
  EXPECT_GE(Clock::now() - sleep_start, 40ms);

  std::thread setter([&] {
    std::this_thread::sleep_for(20ms);
    SetEvent(event.Get());
  });
  EXPECT_EQ(WhileInterrupted([&] { return WaitForSingleObject(event.Get(), INFINITE); }),
            WAIT_OBJECT_0);
  setter.join();
}

TEST(Timers, MissedTicksDoNotPileUp) {
  const UniqueHandle timer = Timer(-10'000, 20);
  Sleep(130);
  // Of six missed ticks one wait is ready; another one for each tick that comes meanwhile.
  const auto start = Clock::now();
  const int ready = ReadyWaits(timer.Get(), 5);
  EXPECT_GE(ready, 1);
  EXPECT_LE(ready, 2 + (Clock::now() - start) / 20ms);
  EXPECT_EQ(WaitForSingleObject(timer.Get(), INFINITE), WAIT_OBJECT_0);
}

TEST(Timers, FirstDelayPeriodAndCancel) {
  auto start = Clock::now();
  const UniqueHandle single = Timer(-1'000'000, 0);
  EXPECT_EQ(WaitForSingleObject(single.Get(), 0), WAIT_TIMEOUT);
  EXPECT_EQ(WaitForSingleObject(single.Get(), INFINITE), WAIT_OBJECT_0);
  EXPECT_GE(Clock::now() - start, 100ms);
  EXPECT_EQ(WaitForSingleObject(single.Get(), 30), WAIT_TIMEOUT);

  start = Clock::now();
  const UniqueHandle periodic = Timer(0, 15);
  for (int tick = 0; tick < 3; ++tick)
    EXPECT_EQ(WaitForSingleObject(periodic.Get(), INFINITE), WAIT_OBJECT_0);
  EXPECT_GE(Clock::now() - start, 30ms);
  EXPECT_TRUE(CancelWaitableTimer(periodic.Get()));
  EXPECT_EQ(WaitForSingleObject(periodic.Get(), 40), WAIT_TIMEOUT);
}

std::atomic<int> leavings{0};
struct SlowLeaver {
  ~SlowLeaver() {
    std::this_thread::sleep_for(20ms);
    ++leavings;
  }
};

DWORD LeaveSlowly(LPVOID) {
  thread_local SlowLeaver leaver;
  static_cast<void>(&leaver);
  return 0;
}

TEST(Threads, AWaitEndsWhenTheThreadIsGoneForGood) {
  leavings = 0;
  DWORD id = 0;
  const UniqueHandle thread(CreateThread(nullptr, 0, LeaveSlowly, nullptr, 0, &id));
  ASSERT_TRUE(thread);
  EXPECT_NE(id, 0u);
  EXPECT_NE(id, GetCurrentThreadId());
  // Each waiter, not just the first, comes back behind the thread's last destructor.
  std::array<int, 3> seen{};
  std::vector<std::thread> waiters;
  waiters.reserve(seen.size());
  for (int& leavings_seen : seen) {
    waiters.emplace_back([&] {
      if (WaitForSingleObject(thread.Get(), INFINITE) == WAIT_OBJECT_0) leavings_seen = leavings;
    });
  }
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(seen, (std::array<int, 3>{1, 1, 1}));
  EXPECT_EQ(ReadyWaits(thread.Get(), 3), 3);
}

TEST(Threads, HaveTheirOwnLastError) {
  SetLastError(123);
  DWORD seen = 99;
  const auto entry = [](LPVOID argument) -> DWORD {
    *static_cast<DWORD*>(argument) = GetLastError();
    SetLastError(456);
    return 0;
  };
  const UniqueHandle thread(CreateThread(nullptr, 0, entry, &seen, 0, nullptr));
  WaitForSingleObject(thread.Get(), INFINITE);
  EXPECT_EQ(seen, ERROR_SUCCESS);
  EXPECT_EQ(GetLastError(), 123u);
}

}  // namespace
