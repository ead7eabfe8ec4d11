// Four hosts on a real sound server, and everything that may happen to them, drawn from a seed.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "endurance/board.h"
#include "endurance/host.h"
#include "endurance/world.h"

namespace zevra::endurance {
namespace {

namespace fs = std::filesystem;

struct Options {
  std::uint64_t seed = 0;
  std::int64_t seconds = 60;
  // How much longer than promised a call may take, for the load of the machine.
  int margin_ms = 2'000;
  fs::path tested_library;
};

struct Sums {
  unsigned troubles = 0, exact = 0, exact_though_spoilt = 0, repeated = 0;
};

class Driver {
 public:
  explicit Driver(const Options& options);
  // Gives the exit code.
  int Run();

 private:
  void StartHost(unsigned number);
  void WatchCalls() const;
  void WatchHosts();
  void Watch(const std::stop_token& stop);
  void CheckSound();
  bool HostsHeardTheSame(unsigned round);
  void EndHosts();
  void Report() const;

  const Options options_;
  const fs::path folder_;
  const int board_descriptor_;
  World world_;
  std::vector<pid_t> hosts_;
  unsigned round_ = 0;
  Sums sums_;
};

Driver::Driver(const Options& options)
    : options_(options),
      // NOLINTNEXTLINE(concurrency-mt-unsafe): the only thread
      folder_(fs::path(std::getenv("ZEVRA_SOUND_SERVER")) / "hosts"),
      board_descriptor_(MapBoard()),
      world_(folder_, options.seed) {
  // The log and its settings lie beside the library.
  fs::copy_file(options.tested_library, folder_ / "libzevra.so.1");
}

int Driver::Run() {
  std::printf("seed %" PRIu64 ", %" PRId64 " s, margin %d ms%s\n", options_.seed, options_.seconds,
              options_.margin_ms,
              world_.HasSmallDisk() ? "" : "; no disk can be mounted here: none is filled");
  std::fflush(stdout);
  for (unsigned number = 0; number < kHosts; ++number) StartHost(number);
  std::jthread watchdog([this](const std::stop_token& stop) { Watch(stop); });
  CheckSound();
  const std::int64_t end_ms = NowMs() + options_.seconds * 1'000;
  while (NowMs() < end_ms && !TheBoard().failed) {
    world_.Trouble();
    ++sums_.troubles;
    world_.SetRight();
    if (sums_.troubles % 2 == 0) CheckSound();
    if (sums_.troubles % 50 == 0) {
      std::printf("%" PRId64 " s: %u events, %u troubles, %u exact checks\n",
                  (NowMs() - TheBoard().begin_ms) / 1'000, TheBoard().events.load(), sums_.troubles,
                  sums_.exact + sums_.exact_though_spoilt);
      std::fflush(stdout);
    }
  }
  world_.SetRight();
  CheckSound();
  if (!TheBoard().failed) EndHosts();
  watchdog.request_stop();
  watchdog.join();
  for (const pid_t host : hosts_) {
    kill(host, SIGKILL);
    waitpid(host, nullptr, 0);
  }
  Report();
  return TheBoard().failed ? 1 : 0;
}

void Driver::StartHost(unsigned number) {
  const std::string library = "LD_LIBRARY_PATH=" + folder_.string();
  std::vector<std::string> words = {"chaos", "--host", std::to_string(number),
                                    std::to_string(board_descriptor_),
                                    std::to_string(options_.seed)};
  std::vector<char*> arguments, environment;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  // What the caches and the arenas of threads keep would hide what is lost.
  std::string tunables = "GLIBC_TUNABLES=glibc.malloc.tcache_count=0:glibc.malloc.arena_max=1",
              path = library;
  environment = {path.data(), tunables.data()};
  for (char** entry = environ; *entry != nullptr; ++entry)
    if (std::strncmp(*entry, "LD_LIBRARY_PATH=", 16) != 0) environment.push_back(*entry);
  environment.push_back(nullptr);
  pid_t host = 0;
  if (posix_spawn(&host, "/proc/self/exe", nullptr, nullptr, arguments.data(),
                  environment.data()) != 0)
    Fail("a host cannot be started");
  else
    hosts_.push_back(host);
}

// A call that takes longer than it may is shown by its thread's stack.
void Driver::WatchCalls() const {
  for (CallSlot& slot : TheBoard().slots) {
    const std::int64_t begin_ms = slot.begin_ms;
    if (slot.process == 0 || begin_ms == 0) continue;
    // A stop waits for its callback, and one that has been told to sleep does.
    const bool stalled = NowMs() - TheBoard().last_stall_ms < 10'000;
    const std::int64_t limit_ms =
        slot.limit_ms + options_.margin_ms + (stalled ? std::int64_t{kLongestStallMs} : 0);
    if (NowMs() - begin_ms <= limit_ms) continue;
    tgkill(slot.process, slot.thread, SIGUSR1);
    Pause(500);
    Fail("%s has not returned after %" PRId64 " ms, in process %d",
         kPromises.at(static_cast<std::size_t>(slot.call.load())).name, NowMs() - begin_ms,
         slot.process.load());
  }
}

void Driver::WatchHosts() {
  for (const pid_t host : hosts_) {
    siginfo_t end{};
    if (waitid(P_PID, static_cast<id_t>(host), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        end.si_pid == 0)
      continue;
    if (!TheBoard().over || end.si_code != CLD_EXITED || end.si_status != 0)
      Fail("host process %d ended, code %d, status %d", host, end.si_code, end.si_status);
  }
}

void Driver::Watch(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    WatchCalls();
    WatchHosts();
    Pause(50);
  }
}

// Captures that start on a sound server in order deliver exactly what it gives another client,
// which is what was played. Only a server that was late itself, on a machine under load, has spoilt
// that for all of them.
void Driver::CheckSound() {
  for (int tries = 0; tries < 20 && !TheBoard().failed; ++tries) {
    const unsigned round = ++round_;
    Board& board = TheBoard();
    for (unsigned host = 0; host < 2; ++host) board.hosts.at(host).check_round = round;
    const std::int64_t deadline_ms = NowMs() + 40'000;
    while (board.hosts[0].ready_round != round || board.hosts[1].ready_round != round) {
      if (NowMs() > deadline_ms || board.failed)
        return Fail("a capture has not come back 40 s after the last fault");
      Pause(20);
    }
    const bool exact = world_.PlayRamp();
    if (HostsHeardTheSame(round)) {
      ++(exact ? sums_.exact : sums_.exact_though_spoilt);
      return;
    }
    if (exact) return Fail("a capture was not exact where another client's was");
    ++sums_.repeated;
    Note("the server itself spoilt the ramp, and not for all clients alike");
    // Where it goes on doing so, nothing but a new one helps.
    if (tries % 4 == 3) {
      world_.KillServer();
      world_.SetRight();
    }
  }
  Fail("the server never gave two clients the same");
}

bool Driver::HostsHeardTheSame(unsigned round) {
  bool heard = true;
  for (unsigned number = 0; number < 2; ++number) {
    HostBoard& host = TheBoard().hosts.at(number);
    host.judge_round = round;
    const std::int64_t deadline_ms = NowMs() + 30'000;
    while (host.judged_round != round && NowMs() < deadline_ms && !TheBoard().failed) Pause(10);
    if (host.judged_round != round) Fail("host %u did not judge what it captured", number);
    heard = heard && host.verdict == Verdict::kExact;
  }
  return heard;
}

void Driver::EndHosts() {
  TheBoard().over = true;
  const std::int64_t deadline_ms = NowMs() + 60'000;
  for (const pid_t host : hosts_) {
    siginfo_t end{};
    while (waitid(P_PID, static_cast<id_t>(host), &end, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           end.si_pid == 0 && !TheBoard().failed) {
      if (NowMs() > deadline_ms) Fail("host process %d does not end", host);
      Pause(20);
    }
  }
  WatchHosts();
}

void Driver::Report() const {
  const Board& board = TheBoard();
  for (const auto& [name, count] : world_.Counts()) std::printf("%-26s%8u\n", name.c_str(), count);
  for (std::size_t call = 0; call < kCalls; ++call)
    std::printf("%-26s%8" PRIu64 " calls, longest %" PRId64 " ms\n", kPromises.at(call).name,
                board.calls.at(call).load(), board.longest_ms.at(call).load());
  std::printf(
      "%u events, %u troubles, %u exact checks, %u more of a ramp that the server spoilt, %u "
      "repeated, %" PRIu64 " other codes, %" PRId64 " s, seed %" PRIu64 "\n",
      board.events.load(), sums_.troubles, sums_.exact, sums_.exact_though_spoilt, sums_.repeated,
      board.other_codes.load(), (NowMs() - board.begin_ms) / 1'000, options_.seed);
  if (!board.failed) return;
  const unsigned last = board.events;
  for (unsigned at = last > 100 ? last - 100 : 0; at < last; ++at) {
    const Event& event = board.latest.at(at % board.latest.size());
    std::printf("%8.3f %s\n", static_cast<double>(event.at_ms) / 1'000, event.text.data());
  }
  std::printf("FAILED with seed %" PRIu64 ": %s\n", options_.seed, board.failure.data());
}

}  // namespace
}  // namespace zevra::endurance

// chaos --library FILE [--seed N] [--seconds N] [--margin MS], under scripts/sound-server --restart
int main(int count, char** arguments) {
  using zevra::endurance::Options;
  const std::vector<std::string> words(arguments, arguments + count);
  if (count == 5 && words[1] == "--host") {
    zevra::endurance::MapBoard(std::stoi(words[3]));
    return zevra::endurance::RunHost(static_cast<unsigned>(std::stoul(words[2])),
                                     std::stoull(words[4]));
  }
  Options options;
  for (std::size_t at = 1; at + 1 < words.size(); at += 2) {
    if (words[at] == "--library") options.tested_library = words[at + 1];
    if (words[at] == "--seed") options.seed = std::stoull(words[at + 1]);
    if (words[at] == "--seconds") options.seconds = std::stoll(words[at + 1]);
    if (words[at] == "--margin") options.margin_ms = std::stoi(words[at + 1]);
  }
  return zevra::endurance::Driver(options).Run();
}
