#include "tools/zevra/terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "tools/zevra/console.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kUsualHeight = 24;

// Nothing in the program changes the environment or the locale once it has more than one thread.
const char* Variable(const char* name) {
  return std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace

Terminal::Terminal(std::FILE* out)
    : out_(out),
      live_(CanRedraw(out)),
      utf8_(ConsoleHasUtf8()),
      colour_(live_ && Variable("NO_COLOR") == nullptr) {}

Terminal::~Terminal() { Erase(); }

std::size_t Terminal::Width() const {
  const std::size_t known = SizeOfWindow(out_).columns;
  return known > 0 ? known : kUsualWidth;
}

std::size_t Terminal::Height() const {
  const std::size_t known = SizeOfWindow(out_).lines;
  return known > 0 ? known : kUsualHeight;
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
  if (!IsCursorHidden()) {
    NoteHiddenCursor(out_);
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
  if (!IsCursorHidden()) return;
  // From the first column: an echoed ^C may have moved the cursor.
  if (block_lines_ > 0) std::fprintf(out_, "\r\x1b[%zuA", block_lines_);
  std::fprintf(out_, "\x1b[J%s", kShowCursor);
  std::fflush(out_);
  block_lines_ = 0;
  NoteHiddenCursor(nullptr);
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

void FinishStandardOutput() {
  const int error = std::fflush(stdout) != 0 ? errno : 0;
  if (error != 0 || std::ferror(stdout) != 0)
    throw Failure("can't write to standard output" + (error != 0 ? ": " + SystemText(error) : ""));
}

}  // namespace zevra::command
