#include "tools/zevra/terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

constexpr std::size_t kUsualWidth = 80;

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

void Note(int /*signal*/) { interrupted = 1; }

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

void Terminal::Line(const std::string& text) {
  Erase();
  std::fprintf(out_, "%s\n", text.c_str());
  std::fflush(out_);
}

void Terminal::Redraw(const std::vector<std::string>& lines) {
  std::string frame;
  if (block_lines_ == 0)
    frame = "\x1b[?25l";  // no cursor dancing about
  else
    frame = "\r\x1b[" + std::to_string(block_lines_) + "A";
  for (const std::string& line : lines) frame += line + "\x1b[K\n";
  frame += "\x1b[J";
  std::fwrite(frame.data(), 1, frame.size(), out_);
  std::fflush(out_);
  block_lines_ = lines.size();
}

void Terminal::Erase() {
  if (block_lines_ == 0) return;
  // From the first column: an echoed ^C may have moved the cursor.
  std::fprintf(out_, "\r\x1b[%zuA\x1b[J\x1b[?25h", block_lines_);
  std::fflush(out_);
  block_lines_ = 0;
}

void PrintTable(const std::vector<std::vector<std::string>>& rows) {
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
    std::puts(line.c_str());
  }
}

void CatchSignals() {
  struct sigaction note {};
  note.sa_handler = Note;
  // Not restarting, so that a write that hangs comes back.
  note.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &note, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

bool Interrupted() { return interrupted != 0; }

}  // namespace zevra::command
