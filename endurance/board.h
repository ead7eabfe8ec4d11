#ifndef ZEVRA_ENDURANCE_BOARD_H
#define ZEVRA_ENDURANCE_BOARD_H

#include <sys/types.h>

#include <array>
#include <atomic>
#include <cstdint>

// What the driver and its hosts, processes of their own, tell each other: memory that they share
// and that outlives a host's crash.

namespace zevra::endurance {

enum class Call {
  kInitialize,
  kUninitialize,
  kList,
  kOpen,
  kClose,
  kStartPlay,
  kStopPlay,
  kStartCapture,
  kStopCapture,
  kVolume,
};
inline constexpr std::size_t kCalls = 10;

// What a function kPromises of its time, without the margin for a loaded machine.
struct CallPromise {
  const char* name;
  int limit_ms;
};
extern const std::array<CallPromise, kCalls> kPromises;

inline constexpr std::size_t kHosts = 4;

// An exported call that is under way on one thread. `begin_ms` is 0 while there is none.
struct CallSlot {
  std::atomic<pid_t> process, thread;
  std::atomic<int> call;
  std::atomic<std::int64_t> begin_ms, limit_ms;
};

// Whether a capture is what the other client's is.
enum class Verdict { kNone, kExact, kWrong };

// Orders to a host, and its answers. A round counts from 1.
struct HostBoard {
  std::atomic<int> stall_ms;             // the next callback sleeps for so long
  std::atomic<int> take_descriptors_ms;  // the process has none left for so long
  std::atomic<unsigned> check_round;     // capture the driver's ramp from a fresh start
  std::atomic<unsigned> ready_round;     // the capture of this round is running
  std::atomic<unsigned> judge_round;     // the ramp has been played: judge what was captured
  std::atomic<unsigned> judged_round;
  std::atomic<Verdict> verdict;
  std::atomic<unsigned> starts, packets;
};

// A callback sleeps for less than this when it is told to, and what waits for it with it.
inline constexpr unsigned kLongestStallMs = 4'000;

struct Event {
  std::atomic<std::int64_t> at_ms;
  std::array<char, 120> text;
};

struct Board {
  std::int64_t begin_ms;
  // Where the driver keeps what another client of the server captured in a check.
  std::array<char, 256> heard_file;
  std::atomic<bool> over;  // the hosts give everything back and end
  std::atomic<bool> failed;
  std::array<char, 1000> failure;
  std::atomic<unsigned> events;
  std::array<Event, 128> latest;
  std::array<CallSlot, 32> slots;
  std::array<std::atomic<std::uint64_t>, kCalls> calls;
  std::array<std::atomic<std::int64_t>, kCalls> longest_ms;
  std::atomic<std::uint64_t> other_codes;
  std::atomic<std::int64_t> last_stall_ms;  // when the driver last ordered one
  std::array<HostBoard, kHosts> hosts;
};

// The board of this process; Map must have been called.
Board& TheBoard();
// Makes the board, or maps that of the parent, whose descriptor is given. Gives the descriptor.
int MapBoard(int descriptor = -1);

// On the steady clock, which all processes share.
std::int64_t NowMs();
void Pause(int milliseconds);

// Adds to the events, or ends the run: the first failure counts. Any process, any thread.
[[gnu::format(printf, 1, 2)]] void Note(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void Fail(const char* format, ...);

}  // namespace zevra::endurance

#endif
