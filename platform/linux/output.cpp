#include "platform/output.h"

#include <poll.h>
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>
#include <string_view>

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

// Writes no more than what is taken at once: a pipe with room takes PIPE_BUF bytes without waiting.
void WriteWithoutWaiting(int descriptor, std::string_view text) {
  const NoBrokenPipeSignal guard;
  while (!text.empty()) {
    pollfd ready{descriptor, POLLOUT, 0};
    if (::poll(&ready, 1, 0) != 1 || (ready.revents & (POLLERR | POLLNVAL)) != 0) return;
    const ssize_t written =
        ::write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

bool ObtainConsole() { return false; }

void ReleaseConsole() {}

void WriteToConsole(const char* text) {
  const NoBrokenPipeSignal guard;
  std::fputs(text, stdout);
}

void WriteToConsole(const wchar_t* text) {
  // Narrow on purpose: one wide write would make the host's own stdout refuse narrow text for good.
  WriteToConsole(WideToUtf8(text).c_str());
}

void WriteToDebugger(const char* text) { ::syslog(LOG_USER | LOG_DEBUG, "%s", text); }

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
  WriteWithoutWaiting(STDERR_FILENO, block);
}

void ShowMessageBox(const wchar_t* caption, const wchar_t* text, BoxIcon icon) {
  ShowMessageBox(WideToUtf8(caption).c_str(), WideToUtf8(text).c_str(), icon);
}

}  // namespace zevra
