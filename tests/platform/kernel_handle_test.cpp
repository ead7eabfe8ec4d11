#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "platform/api.h"
#include "platform/owners.h"
#include "support/process_holdings.h"

// What a handle that is no longer one does, and that none is left behind.

namespace {

using zevra::UniqueHandle;
using zevra::test::OpenDescriptors;

DWORD Nothing(LPVOID) { return 0; }

HANDLE MakeEvent() { return CreateEventW(nullptr, FALSE, FALSE, nullptr); }

TEST(Handles, ABadOneFailsEveryOperation) {
  HANDLE const stale = MakeEvent();
  CloseHandle(stale);
  const UniqueHandle in_its_slot(MakeEvent());
  const UniqueHandle good(CreateEventW(nullptr, FALSE, TRUE, nullptr));
  const LARGE_INTEGER due{-1};
  const std::function<bool(HANDLE)> operations[] = {
      [](HANDLE h) { return SetEvent(h) != FALSE; },
      [](HANDLE h) { return CloseHandle(h) != FALSE; },
      [](HANDLE h) { return CancelWaitableTimer(h) != FALSE; },
      [&](HANDLE h) { return SetWaitableTimer(h, &due, 0, nullptr, nullptr, FALSE) != FALSE; },
      [](HANDLE h) { return WaitForSingleObject(h, INFINITE) != WAIT_FAILED; },
      [&](HANDLE h) {
        const std::array handles = {h, good.Get()};
        return WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE) != WAIT_FAILED;
      },
      [&](HANDLE h) {
        const std::array handles = {good.Get(), h};
        return WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE) != WAIT_FAILED;
      }};
  for (HANDLE const bad : {HANDLE{nullptr}, stale, reinterpret_cast<HANDLE>(std::uintptr_t{4}),
                           reinterpret_cast<HANDLE>(~std::uintptr_t{0}),
                           reinterpret_cast<HANDLE>(~std::uintptr_t{3})}) {
    for (const auto& operation : operations) {
      SetLastError(ERROR_SUCCESS);
      EXPECT_FALSE(operation(bad)) << bad;
      EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
  }
  // Nothing of this reached the objects that are still there.
  EXPECT_EQ(WaitForSingleObject(good.Get(), 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(in_its_slot.Get(), 0), WAIT_TIMEOUT);
}

TEST(Handles, DescriptorsAreCloseOnExecAndNoneIsLeft) {
  // A sanitizer starts a thread of its own beside the process's first.
  std::thread([] {}).join();
  const auto open_before = OpenDescriptors();
  {
    const UniqueHandle event(MakeEvent()), timer(CreateWaitableTimerW(nullptr, FALSE, nullptr));
    const UniqueHandle thread(CreateThread(nullptr, 0, Nothing, nullptr, 0, nullptr));
    EXPECT_EQ(zevra::test::ExpectNewOnesCloseOnExec(open_before), 3u);
    WaitForSingleObject(thread.Get(), INFINITE);
  }
  EXPECT_EQ(OpenDescriptors(), open_before);
}

TEST(Handles, RunningOutOfDescriptorsIsReported) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const auto before = OpenDescriptors();
  const rlimit none{static_cast<rlim_t>(before.back()) + 1, limit.rlim_max};
  std::vector<UniqueHandle> filled;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  do {
    SetLastError(ERROR_SUCCESS);
    filled.emplace_back(MakeEvent());
  } while (filled.back());
  const DWORD event_error = GetLastError();
  EXPECT_EQ(CreateThread(nullptr, 0, Nothing, nullptr, 0, nullptr), nullptr);
  EXPECT_EQ(CreateWaitableTimerW(nullptr, FALSE, nullptr), nullptr);
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(event_error, ERROR_TOO_MANY_OPEN_FILES);
  filled.clear();
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(Handles, ClosingUnderOtherThreadsReachesNobodyElse) {
  std::atomic<HANDLE> shared{MakeEvent()};
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::array<std::thread, 2> users;
  for (std::thread& user : users) {
    user = std::thread([&] {
      while (!stop) {
        HANDLE const handle = shared;
        const bool works = SetEvent(handle) && WaitForSingleObject(handle, 0) != WAIT_FAILED;
        if (!works && GetLastError() != ERROR_INVALID_HANDLE) ++wrong;
      }
    });
  }
  for (int round = 0; round < 5000; ++round) {
    HANDLE const old = shared.exchange(MakeEvent());
    CloseHandle(old);
    // Takes the slot and the descriptor that were just given back.
    const UniqueHandle fresh(MakeEvent());
    wrong += WaitForSingleObject(fresh.Get(), 0) != WAIT_TIMEOUT;
  }
  stop = true;
  for (std::thread& user : users) user.join();
  CloseHandle(shared);
  EXPECT_EQ(wrong, 0);
}

}  // namespace
