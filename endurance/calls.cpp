#include "endurance/calls.h"

#include <execinfo.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <span>

#include "zevra/zevra.h"

namespace zevra::endurance {
namespace {

std::atomic<int> shortages{0};
std::atomic<std::int64_t> last_shortage_ms{-100'000};

bool IsShort() { return shortages > 0 || NowMs() - last_shortage_ms < 10'000; }

// What each call may give while descriptors last.
std::span<const std::int32_t> ResultsOf(Call call) {
  static constexpr std::int32_t kAlways[] = {ZEVRA_OK};
  static constexpr std::int32_t kInitialize[] = {ZEVRA_OK, ZEVRA_ALREADY_INITIALIZED};
  static constexpr std::int32_t kList[] = {ZEVRA_OK, ZEVRA_E_SERVICE_NOT_RUNNING,
                                           ZEVRA_E_DEVICE_INVALIDATED};
  static constexpr std::int32_t kOpen[] = {ZEVRA_OK, ZEVRA_E_NOT_FOUND, ZEVRA_E_UNEXPECTED,
                                           ZEVRA_E_SERVICE_NOT_RUNNING, ZEVRA_E_DEVICE_INVALIDATED};
  static constexpr std::int32_t kStart[] = {ZEVRA_OK, ZEVRA_E_NOT_STOPPED, ZEVRA_E_FAIL};
  static constexpr std::int32_t kVolume[] = {ZEVRA_OK, ZEVRA_E_DEVICE_INVALIDATED,
                                             ZEVRA_E_SERVICE_NOT_RUNNING};
  switch (call) {
    case Call::kInitialize:
      return kInitialize;
    case Call::kList:
      return kList;
    case Call::kOpen:
      return kOpen;
    case Call::kStartPlay:
    case Call::kStartCapture:
      return kStart;
    case Call::kVolume:
      return kVolume;
    default:
      return kAlways;
  }
}

bool IsDocumented(Call call, std::int32_t result) {
  const auto results = ResultsOf(call);
  if (std::find(results.begin(), results.end(), result) != results.end()) return true;
  // "Other platform codes": seen, counted, and right only in a shortage.
  ++TheBoard().other_codes;
  const bool starts = call == Call::kStartPlay || call == Call::kStartCapture;
  return results.size() > 2 && IsShort() && (result < 0 || starts);
}

// The thread's own place on the board, given back when the thread ends.
struct ThreadSlot {
  ThreadSlot() {
    for (CallSlot& candidate : TheBoard().slots) {
      pid_t nobody = 0;
      if (!candidate.process.compare_exchange_strong(nobody, getpid())) continue;
      candidate.thread = gettid();
      slot = &candidate;
      return;
    }
  }
  ~ThreadSlot() {
    if (slot != nullptr) slot->process = 0;
  }
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;

  CallSlot* slot = nullptr;
};

}  // namespace

Shortage::Shortage() { ++shortages; }
Shortage::~Shortage() {
  last_shortage_ms = NowMs();
  --shortages;
}

std::int32_t Make(Call call, const std::function<std::int32_t()>& function) {
  thread_local ThreadSlot mine;
  const auto index = static_cast<std::size_t>(call);
  const std::int64_t begin_ms = NowMs();
  if (mine.slot != nullptr) {
    mine.slot->call = static_cast<int>(call);
    mine.slot->limit_ms = kPromises.at(index).limit_ms;
    mine.slot->begin_ms = begin_ms;
  } else {
    Fail("the board has no slot left for a thread");
  }
  const std::int32_t result = function();
  if (mine.slot != nullptr) mine.slot->begin_ms = 0;
  Board& board = TheBoard();
  ++board.calls.at(index);
  const std::int64_t took_ms = NowMs() - begin_ms;
  std::int64_t longest_ms = board.longest_ms.at(index);
  while (took_ms > longest_ms &&
         !board.longest_ms.at(index).compare_exchange_weak(longest_ms, took_ms)) {
  }
  const bool usual = result == 0 || result == ZEVRA_E_NOT_STOPPED || result == ZEVRA_E_NOT_FOUND ||
                     result == ZEVRA_E_UNEXPECTED;
  if (!usual || took_ms > 1000)
    Note("%d %s gave %08x after %lld ms", getpid(), kPromises.at(index).name,
         static_cast<unsigned>(result), static_cast<long long>(took_ms));
  if (!IsDocumented(call, result))
    Fail("%s gave %08x", kPromises.at(index).name, static_cast<unsigned>(result));
  return result;
}

void PrintStacksOnSignals() {
  const auto print = [](int signal) {
    void* frames[60];
    backtrace_symbols_fd(frames, backtrace(frames, 60), STDERR_FILENO);
    if (signal == SIGUSR1) return;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
  };
  for (const int signal : {SIGUSR1, SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL}) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    // A sanitizer has its own report of a fault.
    if (present.sa_handler == SIG_DFL) std::signal(signal, print);
  }
  // The first call loads a library, which a handler must not do.
  void* frame = nullptr;
  backtrace(&frame, 1);
}

}  // namespace zevra::endurance
