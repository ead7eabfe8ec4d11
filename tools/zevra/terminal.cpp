#include "tools/zevra/terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

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

}  // namespace zevra::command
