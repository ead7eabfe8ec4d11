#ifndef ZEVRA_TOOLS_ZEVRA_TERMINAL_H
#define ZEVRA_TOOLS_ZEVRA_TERMINAL_H

#include <cstddef>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace zevra::command {

// Where messages go: a person's terminal, on which a block of lines can be written over and over,
// or a file, which only ever grows.
class Terminal {
 public:
  // `out` is written to and not closed.
  explicit Terminal(std::FILE* out);
  // Leaves the cursor as it was.
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  bool IsLive() const { return live_; }
  bool HasUtf8() const { return utf8_; }
  bool HasColour() const { return colour_; }
  // Columns of a line and lines of the window, asked anew each time because windows change.
  std::size_t Width() const;
  std::size_t Height() const;

  void Line(const std::string& text);
  // Puts the block in the place of the one before, as many lines as the window shows without
  // scrolling; lines must not be wider than the terminal.
  void Redraw(const std::vector<std::string>& lines);
  // Takes the block away.
  void Erase();

 private:
  std::FILE* const out_;
  const bool live_;
  const bool utf8_;
  const bool colour_;
  std::size_t block_lines_ = 0;
};

// Prints rows of equally many cells on standard output, columns under each other; lines of more
// than `width` columns are clipped.
inline constexpr std::size_t kAnyWidth = std::numeric_limits<std::size_t>::max();
void PrintTable(const std::vector<std::vector<std::string>>& rows, std::size_t width = kAnyWidth);

// Opens /dev/null in the place of closed standard descriptors, so that no file of the program gets
// their numbers and with it what was meant for the user. Call it first of all.
void FillStandardDescriptors();

// A full file or a reader that has gone shows as a failed write from now on, not as a signal.
void IgnoreWriteSignals();

// From now on the first request to end (Ctrl-C, SIGTERM, SIGHUP) is noted and a second one ends the
// program at once; until then each does. A signal that the program was started deaf to stays so.
void CatchSignals();

// True once the program has been asked to end.
bool Interrupted();

// Failure where something that was printed on standard output did not get there.
void FinishStandardOutput();

}  // namespace zevra::command

#endif
