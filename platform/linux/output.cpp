#include "platform/output.h"

#include <paths.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/linux/unicode.h"

namespace zevra {
namespace {

// A reader that went away raises SIGPIPE, which would end a host that never asked for the output.
class NoBrokenPipeSignal {
 public:
  NoBrokenPipeSignal() {
    sigset_t pending;
    ::sigpending(&pending);
    was_pending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&broken_pipe_);
    ::sigaddset(&broken_pipe_, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &broken_pipe_, &before_);
  }
  ~NoBrokenPipeSignal() {
    if (!was_pending_) {
      const timespec at_once{};
      while (::sigtimedwait(&broken_pipe_, nullptr, &at_once) < 0 && errno == EINTR) {
      }
    }
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  NoBrokenPipeSignal(const NoBrokenPipeSignal&) = delete;
  NoBrokenPipeSignal& operator=(const NoBrokenPipeSignal&) = delete;

 private:
  sigset_t broken_pipe_{};
  sigset_t before_{};
  bool was_pending_ = false;
};

// Texts that an output did not take, because nobody reads it or reads too slowly.
class Dropped {
 public:
  void Add() { ++count_; }
  // Once an output takes texts again; empty if there is nothing to tell.
  std::string Tell() {
    const unsigned count = count_.exchange(0);
    return count == 0 ? std::string() : std::to_string(count) + " lines of the log were dropped\n";
  }

 private:
  std::atomic<unsigned> count_{0};
};

bool TakesText(int descriptor) {
  pollfd ready{descriptor, POLLOUT, 0};
  return ::poll(&ready, 1, 0) == 1 && (ready.revents & (POLLERR | POLLNVAL)) == 0;
}

// Writes no more than what is taken at once: a pipe with space takes PIPE_BUF bytes without
// waiting.
void WriteWithoutWaiting(int descriptor, std::string_view text, Dropped& dropped) {
  const NoBrokenPipeSignal guard;
  std::string whole = TakesText(descriptor) ? dropped.Tell() : std::string();
  if (!whole.empty()) text = whole += text;
  while (!text.empty()) {
    const ssize_t written =
        TakesText(descriptor)
            ? ::write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF))
            : -1;
    if (written <= 0) return dropped.Add();
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

// "<15>Nov  3 13:05:09 program: ", as the C library's own call begins a message of the user's at
// debug level. That call waits for a log that nobody reads.
std::string SystemLogHead() {
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm now{};
  ToLocalTime(WallClockSeconds(), now);
  char head[128];
  std::snprintf(head, sizeof head, "<%d>%s %2d %02d:%02d:%02d %.64s: ", LOG_USER | LOG_DEBUG,
                kMonths[now.tm_mon % 12], now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec,
                ::program_invocation_short_name);
  return head;
}

void SendToSystemLog(std::string_view text) {
  static Dropped dropped;
  const int connection = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_un address{AF_UNIX, _PATH_LOG};
  const auto send = [&](std::string_view message) {
    const std::string whole = SystemLogHead().append(message);
    return ::sendto(connection, whole.data(), whole.size(), MSG_NOSIGNAL,
                    reinterpret_cast<const sockaddr*>(&address), sizeof address) >= 0;
  };
  if (!send(text))
    dropped.Add();
  else if (const std::string told = dropped.Tell(); !told.empty())
    send(told);
  if (connection >= 0) ::close(connection);
}

}  // namespace

bool ObtainConsole() { return false; }

void ReleaseConsole() {}

void WriteToConsole(const char* text) {
  static Dropped dropped;
  const int descriptor = ::fileno(stdout);
  // What the host has printed comes first. A line that waited behind it would raise the signal of a
  // closed pipe at the host's end. Who prints just now holds the stream, and may wait for a reader.
  if (TakesText(descriptor) && ::ftrylockfile(stdout) == 0) {
    const NoBrokenPipeSignal guard;
    ::fflush_unlocked(stdout);
    ::funlockfile(stdout);
  }
  WriteWithoutWaiting(descriptor, text, dropped);
}

void WriteToConsole(const wchar_t* text) {
  // Narrow on purpose: one wide write would make the host's own stdout refuse narrow text for good.
  WriteToConsole(WideToUtf8(text).c_str());
}

void WriteToDebugger(const char* text) { SendToSystemLog(text); }

void WriteToDebugger(const wchar_t* text) { WriteToDebugger(WideToUtf8(text).c_str()); }

void ShowMessageBox(const char* caption, const char* text, BoxIcon icon) {
  std::string block = "+---- ";
  block += caption;
  block += icon == BoxIcon::kError ? " ---- error\n" : " ---- information\n";
  std::string_view rest(text);
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    block += "| ";
    block += rest.substr(0, end);
    block += '\n';
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  block += "+----\n";
  static Dropped dropped;
  WriteWithoutWaiting(STDERR_FILENO, block, dropped);
}

void ShowMessageBox(const wchar_t* caption, const wchar_t* text, BoxIcon icon) {
  ShowMessageBox(WideToUtf8(caption).c_str(), WideToUtf8(text).c_str(), icon);
}

}  // namespace zevra
