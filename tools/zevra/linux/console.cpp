#include "tools/zevra/console.h"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "tools/zevra/terminal.h"

namespace zevra::command {
namespace {

volatile std::sig_atomic_t interrupted = 0;
// The terminal whose cursor is hidden, or -1.
volatile std::sig_atomic_t hidden_on = -1;

void ShowCursorNow() {
  if (hidden_on < 0) return;
  static_cast<void>(write(hidden_on, kShowCursor, sizeof kShowCursor - 1) > 0);
}

void OnEndSignal(int signal) {
  if (interrupted != 0) {
    ShowCursorNow();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
  }
  interrupted = 1;
}

// Ctrl-Z: the shell gets its terminal back as it was.
void OnPause(int /*signal*/) {
  const int error = errno;
  ShowCursorNow();
  std::raise(SIGSTOP);
  if (hidden_on >= 0) static_cast<void>(write(hidden_on, kHideCursor, sizeof kHideCursor - 1) > 0);
  errno = error;
}

void Handle(int signal, void (*handler)(int)) {
  struct sigaction before {};
  struct sigaction now {};
  now.sa_handler = handler;
  // Not restarting, so that a write that hangs comes back.
  if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
    sigaction(signal, &now, nullptr);
}

// Nothing in the program changes the environment or the locale once it has more than one thread.
bool IsDumb() {
  const char* const kind = std::getenv("TERM");  // NOLINT(concurrency-mt-unsafe)
  return kind != nullptr && std::strcmp(kind, "dumb") == 0;
}

}  // namespace

bool IsConsole(std::FILE* out) { return isatty(fileno(out)) == 1; }

bool CanRedraw(std::FILE* out) { return IsConsole(out) && !IsDumb(); }

bool ConsoleHasUtf8() {
  return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;  // NOLINT(concurrency-mt-unsafe)
}

WindowSize SizeOfWindow(std::FILE* out) {
  winsize size{};
  if (ioctl(fileno(out), TIOCGWINSZ, &size) != 0) return {};
  return {size.ws_col, size.ws_row};
}

void NoteHiddenCursor(std::FILE* out) { hidden_on = out == nullptr ? -1 : fileno(out); }

bool IsCursorHidden() { return hidden_on >= 0; }

std::size_t ColumnsOf(char32_t character) {
  const int width = wcwidth(static_cast<wchar_t>(character));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

void FillStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(descriptor, F_GETFD) < 0) static_cast<void>(open("/dev/null", O_RDWR));
}

void IgnoreWriteSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

void CatchSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) Handle(signal, OnEndSignal);
  Handle(SIGTSTP, OnPause);
}

bool Interrupted() { return interrupted != 0; }

}  // namespace zevra::command
