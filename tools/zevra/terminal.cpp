#include "tools/zevra/terminal.h"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kUsualHeight = 24;

// Nothing in the program changes the environment or the locale once it has more than one thread.
const char* Variable(const char* name) {
  return std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
}

bool LocaleHasUtf8() {
  return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;  // NOLINT(concurrency-mt-unsafe)
}

bool IsTerminal(std::FILE* out) {
  const char* const kind = Variable("TERM");
  return isatty(fileno(out)) == 1 && (kind == nullptr || std::strcmp(kind, "dumb") != 0);
}

volatile std::sig_atomic_t interrupted = 0;
// The terminal whose cursor is hidden, or -1.
volatile std::sig_atomic_t hidden_on = -1;

constexpr char kHideCursor[] = "\x1b[?25l";
constexpr char kShowCursor[] = "\x1b[?25h";

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

}  // namespace

Terminal::Terminal(std::FILE* out)
    : out_(out),
      live_(IsTerminal(out)),
      utf8_(LocaleHasUtf8()),
      colour_(live_ && Variable("NO_COLOR") == nullptr) {}

Terminal::~Terminal() { Erase(); }

std::size_t Terminal::Width() const {
  winsize size{};
  const bool known = ioctl(fileno(out_), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : kUsualWidth;
}

std::size_t Terminal::Height() const {
  winsize size{};
  const bool known = ioctl(fileno(out_), TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
  return known ? size.ws_row : kUsualHeight;
}

void Terminal::Line(const std::string& text) {
  Erase();
  std::fprintf(out_, "%s\n", text.c_str());
  std::fflush(out_);
}

void Terminal::Redraw(const std::vector<std::string>& lines) {
  // The line below the block is the cursor's.
  const std::size_t shown = std::min(lines.size(), Height() - 1);
  std::string frame;
  if (hidden_on < 0) {
    hidden_on = fileno(out_);
    frame = kHideCursor;
  }
  if (block_lines_ > 0) frame += "\r\x1b[" + std::to_string(block_lines_) + "A";
  for (std::size_t i = 0; i < shown; ++i) frame += lines[i] + "\x1b[K\n";
  frame += "\x1b[J";
  std::fwrite(frame.data(), 1, frame.size(), out_);
  std::fflush(out_);
  block_lines_ = shown;
}

void Terminal::Erase() {
  if (hidden_on < 0) return;
  // From the first column: an echoed ^C may have moved the cursor.
  if (block_lines_ > 0) std::fprintf(out_, "\r\x1b[%zuA", block_lines_);
  std::fprintf(out_, "\x1b[J%s", kShowCursor);
  std::fflush(out_);
  block_lines_ = 0;
  hidden_on = -1;
}

void PrintTable(const std::vector<std::vector<std::string>>& rows, std::size_t width) {
  std::vector<std::size_t> widths;
  for (const auto& cells : rows) {
    widths.resize(std::max(widths.size(), cells.size()));
    for (std::size_t i = 0; i < cells.size(); ++i)
      widths[i] = std::max(widths[i], Columns(cells[i]));
  }
  for (const auto& cells : rows) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      line += cells[i];
      if (i + 1 < cells.size()) line.append(widths[i] - Columns(cells[i]) + 2, ' ');
    }
    std::puts(Clipped(line, width).c_str());
  }
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

void FinishStandardOutput() {
  const int error = std::fflush(stdout) != 0 ? errno : 0;
  if (error != 0 || std::ferror(stdout) != 0)
    throw Failure("can't write to standard output" + (error != 0 ? ": " + SystemText(error) : ""));
}

}  // namespace zevra::command
