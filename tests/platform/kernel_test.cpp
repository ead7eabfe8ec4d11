#include "platform/api.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "platform/owners.h"
#include "support/process_holdings.h"

// Events, timers, threads and waits as the capture and the render thread use them. Times are only
// ever bounded from below: a busy machine makes waits longer, never shorter.

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using zevra::UniqueHandle;
using zevra::test::OpenDescriptors;

UniqueHandle Event() { return UniqueHandle(CreateEventW(nullptr, FALSE, FALSE, nullptr)); }

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

TEST(Waits, LowestIndexWinsAndSignalsDoNotPileUp) {
  const UniqueHandle first = Event(), second = Event();
  const std::array<HANDLE, 2> handles = {first.Get(), second.Get()};
  for (const int index : {1, 0, 0, 1}) EXPECT_TRUE(SetEvent(handles[index]));
  EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), FALSE, 0), WAIT_TIMEOUT);
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
  const UniqueHandle periodic = Timer(-1, 15);
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
  const UniqueHandle thread(CreateThread(nullptr, 0, LeaveSlowly, nullptr, 0, nullptr));
  ASSERT_TRUE(thread);
  EXPECT_EQ(WaitForSingleObject(thread.Get(), INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(leavings, 1);
  EXPECT_EQ(ReadyWaits(thread.Get(), 3), 3);
}

struct Seen {
  DWORD error;
  sigset_t blocked;
  const UniqueHandle* go_on;
};

// Waits until its own handle is closed.
DWORD LookAround(LPVOID argument) {
  auto& seen = *static_cast<Seen*>(argument);
  seen.error = GetLastError();
  SetLastError(456);
  pthread_sigmask(SIG_BLOCK, nullptr, &seen.blocked);
  WaitForSingleObject(seen.go_on[0].Get(), INFINITE);
  SetEvent(seen.go_on[1].Get());
  return 0;
}

TEST(Threads, StandApartFromTheHostsAndOutliveTheirHandle) {
  const UniqueHandle events[] = {Event(), Event()};
  Seen seen{99, {}, events};
  SetLastError(123);
  UniqueHandle thread(CreateThread(nullptr, 0, LookAround, &seen, 0, nullptr));
  thread.Reset();
  SetEvent(events[0].Get());
  EXPECT_EQ(WaitForSingleObject(events[1].Get(), INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(seen.error, ERROR_SUCCESS);
  EXPECT_EQ(GetLastError(), 123u);
  EXPECT_EQ(sigismember(&seen.blocked, SIGINT), 1);
  EXPECT_EQ(sigismember(&seen.blocked, SIGSEGV), 0);
}

TEST(Handles, NullFailsHarmlessly) {
  const UniqueHandle event = Event();
  const std::array<HANDLE, 2> handles = {event.Get(), nullptr};
  const LARGE_INTEGER due{-1};
  const bool outcomes[] = {
      SetEvent(nullptr) != FALSE,
      CloseHandle(nullptr) != FALSE,
      CancelWaitableTimer(nullptr) != FALSE,
      SetWaitableTimer(nullptr, &due, 0, nullptr, nullptr, FALSE) != FALSE,
      WaitForSingleObject(nullptr, INFINITE) != WAIT_FAILED,
      WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE) != WAIT_FAILED,
  };
  for (const bool outcome : outcomes) EXPECT_FALSE(outcome) << &outcome - outcomes;
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

DWORD Nothing(LPVOID) { return 0; }

TEST(Handles, DescriptorsAreCloseOnExecAndNoneIsLeft) {
  // A sanitizer starts a thread of its own beside the process's first.
  std::thread([] {}).join();
  const auto open_before = OpenDescriptors();
  {
    const UniqueHandle event = Event(), timer(CreateWaitableTimerW(nullptr, FALSE, nullptr));
    const UniqueHandle thread(CreateThread(nullptr, 0, Nothing, nullptr, 0, nullptr));
    EXPECT_EQ(zevra::test::ExpectNewOnesCloseOnExec(open_before), 3u);
    WaitForSingleObject(thread.Get(), INFINITE);
  }
  EXPECT_EQ(OpenDescriptors(), open_before);
}

TEST(Handles, RunningOutOfDescriptorsIsReported) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{0, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_FALSE(Event());
  const DWORD event_error = GetLastError();
  EXPECT_EQ(CreateThread(nullptr, 0, Nothing, nullptr, 0, nullptr), nullptr);
  EXPECT_EQ(CreateWaitableTimerW(nullptr, FALSE, nullptr), nullptr);
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(event_error, ERROR_TOO_MANY_OPEN_FILES);
}

}  // namespace
