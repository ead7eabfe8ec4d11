#include "platform/api.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <thread>

#include "platform/linux/kernel/wake_ups.h"
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

UniqueHandle Thread(PTHREAD_START_ROUTINE entry, void* argument = nullptr) {
  return UniqueHandle(CreateThread(nullptr, 0, entry, argument, 0, nullptr));
}

UniqueHandle Timer(LONGLONG due_time, LONG period_ms) {
  UniqueHandle timer(CreateWaitableTimerW(nullptr, FALSE, nullptr));
  const LARGE_INTEGER due{due_time};
  EXPECT_TRUE(SetWaitableTimer(timer.Get(), &due, period_ms, nullptr, nullptr, FALSE));
  return timer;
}

DWORD Wait(const UniqueHandle& handle, DWORD milliseconds = INFINITE) {
  return WaitForSingleObject(handle.Get(), milliseconds);
}

TEST(Waits, LowestIndexWinsAndSignalsDoNotPileUp) {
  const UniqueHandle first = Event(), second = Event();
  const HANDLE handles[] = {first.Get(), second.Get()};
  for (const int index : {1, 0, 0, 1}) EXPECT_TRUE(SetEvent(handles[index]));
  EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_TIMEOUT);
}

TEST(Waits, GoOnAfterAnInterruption) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  const UniqueHandle event = Event();
  std::atomic<int> timed_out{0};
  const auto start = Clock::now();
  const std::jthread interrupter([&, waiter = pthread_self()] {
    for (int left = 20; left > 0; left -= timed_out) {
      pthread_kill(waiter, SIGUSR1);
      std::this_thread::sleep_for(1ms);
    }
    SetEvent(event.Get());
  });
  EXPECT_EQ(Wait(event, 60), WAIT_TIMEOUT);
  EXPECT_GE(Clock::now() - start, 60ms);
  timed_out = 1;
  EXPECT_EQ(Wait(event), WAIT_OBJECT_0);
}

TEST(Timers, FirstDelayPeriodAndCancel) {
  auto start = Clock::now();
  const UniqueHandle single = Timer(-1'000'000, 0);
  EXPECT_EQ(Wait(single, 0), WAIT_TIMEOUT);
  EXPECT_EQ(Wait(single), WAIT_OBJECT_0);
  EXPECT_GE(Clock::now() - start, 100ms);
  EXPECT_EQ(Wait(single, 30), WAIT_TIMEOUT);

  start = Clock::now();
  const UniqueHandle periodic = Timer(-1, 15);
  for (int tick = 0; tick < 3; ++tick) EXPECT_EQ(Wait(periodic), WAIT_OBJECT_0);
  EXPECT_GE(Clock::now() - start, 30ms);
  EXPECT_TRUE(CancelWaitableTimer(periodic.Get()));
  EXPECT_EQ(Wait(periodic, 40), WAIT_TIMEOUT);
}

TEST(Timers, WakeUpsAreEarlyTicks) {
  int pipe_ends[2];
  ASSERT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
  const auto wake_ups = std::make_shared<zevra::WakeUps>();
  wake_ups->descriptors[0] = {pipe_ends[0], POLLIN, 0};
  zevra::OfferWakeUps(wake_ups);
  const UniqueHandle stop = Event(), timer = Timer(-1'000'000'000, 0),
                     other = Timer(-1'000'000'000, 0);
  const std::array<HANDLE, 3> handles = {stop.Get(), timer.Get(), other.Get()};
  const auto wait = [&](std::size_t watched) {
    wake_ups->count = watched;
    return WaitForMultipleObjects(2, handles.data(), FALSE, 20);
  };
  EXPECT_EQ(wait(1), WAIT_TIMEOUT);
  ASSERT_EQ(write(pipe_ends[1], "x", 1), 1);
  EXPECT_EQ(wait(0), WAIT_TIMEOUT);
  EXPECT_EQ(wait(1), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(wake_ups->count, 0u) << "nobody has handled the event yet";
  SetEvent(stop.Get());
  EXPECT_EQ(wait(1), WAIT_OBJECT_0) << "the stop stands first";
  wake_ups->count = 1;
  EXPECT_EQ(WaitForMultipleObjects(2, &handles[1], FALSE, INFINITE), WAIT_OBJECT_0);
  wake_ups->count = 1;
  EXPECT_EQ(Wait(other, 20), WAIT_TIMEOUT) << "they are the first timer's";
  EXPECT_TRUE(CancelWaitableTimer(timer.Get()));
  EXPECT_EQ(wait(1), WAIT_TIMEOUT);
  EXPECT_EQ(wake_ups.use_count(), 1);
  for (const int end : pipe_ends) close(end);
}

struct Seen {
  sigset_t blocked{};
  const UniqueHandle go_on = Event();
  std::atomic<int> leavings{0};
};

// Leaves slowly, by the destructor of what is local to the thread.
struct SlowLeaver {
  ~SlowLeaver() {
    std::this_thread::sleep_for(20ms);
    ++seen->leavings;
  }
  Seen* seen;
};

DWORD LookAround(LPVOID argument) {
  auto& seen = *static_cast<Seen*>(argument);
  thread_local const SlowLeaver leaver{&seen};
  static_cast<void>(&leaver);
  pthread_sigmask(SIG_BLOCK, nullptr, &seen.blocked);
  Wait(seen.go_on);
  return 0;
}

// Threads stand apart from the host's, a wait ends when one is gone for good, and one outlives its
// handle.
TEST(Threads, LiveAndEndByThemselves) {
  Seen seen;
  const UniqueHandle thread = Thread(LookAround, &seen);
  SetEvent(seen.go_on.Get());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Wait(thread), WAIT_OBJECT_0);
  EXPECT_EQ(seen.leavings, 1);
  EXPECT_EQ(sigismember(&seen.blocked, SIGINT), 1);
  EXPECT_EQ(sigismember(&seen.blocked, SIGSEGV), 0);

  Thread(LookAround, &seen).Reset();
  SetEvent(seen.go_on.Get());
  while (seen.leavings == 1) std::this_thread::sleep_for(1ms);
}

TEST(Handles, DescriptorsAreCloseOnExecAndRunOut) {
  const auto nothing = [](LPVOID) -> DWORD { return 0; };
  // A sanitizer starts a thread of its own beside the process's first.
  std::thread([] {}).join();
  const auto open_before = OpenDescriptors();
  {
    const UniqueHandle event = Event(), timer = Timer(-1, 0), thread = Thread(nothing);
    EXPECT_EQ(zevra::test::ExpectNewOnesCloseOnExec(open_before), 3u);
    Wait(thread);
  }
  EXPECT_EQ(OpenDescriptors(), open_before);

  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{0, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_FALSE(Event());
  const DWORD event_error = GetLastError();
  EXPECT_FALSE(Thread(nothing));
  EXPECT_EQ(CreateWaitableTimerW(nullptr, FALSE, nullptr), nullptr);
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(event_error, ERROR_TOO_MANY_OPEN_FILES);
}

}  // namespace
