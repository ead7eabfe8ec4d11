#include "tools/zevra/bar.h"

#include <algorithm>
#include <cmath>

namespace zevra::command {
namespace {

// Where a level stops being comfortable and where it nears the limit.
constexpr double kLoud = -18;
constexpr double kHot = -6;

constexpr const char* kGreen = "\x1b[0;32m";
constexpr const char* kYellow = "\x1b[0;33m";
constexpr const char* kRed = "\x1b[0;31m";
constexpr const char* kDim = "\x1b[0;2m";
constexpr const char* kPlain = "\x1b[0m";

constexpr unsigned kStepsPerColumn = 8;

// A column filled by so many eighths from the left.
const char* Eighths(unsigned eighths) {
  static constexpr const char* kBlocks[] = {" ", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
  return kBlocks[eighths];
}

const char* ColourAt(double decibels) {
  if (decibels >= kHot) return kRed;
  return decibels >= kLoud ? kYellow : kGreen;
}

// Draws column by column and changes the colour only where it changes.
class Painter {
 public:
  explicit Painter(bool colour) : colour_(colour) {}

  void Put(const char* colour, const char* text) {
    if (colour_ && colour != last_) out_ += colour;
    last_ = colour;
    out_ += text;
  }
  std::string Finish() { return colour_ ? out_ + kPlain : out_; }

 private:
  const bool colour_;
  const char* last_ = kPlain;
  std::string out_;
};

// How much of a column is filled, in steps, when `filled` steps of the whole bar are.
unsigned StepsIn(std::size_t column, std::size_t filled) {
  const std::size_t before = column * kStepsPerColumn;
  return filled <= before
             ? 0
             : static_cast<unsigned>(std::min<std::size_t>(filled - before, kStepsPerColumn));
}

std::size_t Steps(double part, std::size_t columns) {
  const double whole = static_cast<double>(columns * kStepsPerColumn);
  return static_cast<std::size_t>(std::lround(std::clamp(part, 0.0, 1.0) * whole));
}

}  // namespace

std::string ProgressBar(const Terminal& terminal, double part, std::size_t width) {
  const std::size_t columns = width - 2;
  const std::size_t filled = Steps(part, columns);
  std::string bar = terminal.HasUtf8() ? "▕" : "[";
  for (std::size_t column = 0; column < columns; ++column) {
    const unsigned steps = StepsIn(column, filled);
    bar += terminal.HasUtf8() ? Eighths(steps) : steps * 2 >= kStepsPerColumn ? "=" : " ";
  }
  return bar + (terminal.HasUtf8() ? "▏" : "]");
}

std::string LevelBar(const Terminal& terminal, double decibels, double mark, std::size_t width) {
  const bool utf8 = terminal.HasUtf8();
  const std::size_t columns = width - 2;
  const auto part = [](double value) { return (value - kQuietest) / -kQuietest; };
  const std::size_t filled = Steps(part(decibels), columns);
  const std::size_t marked = Steps(part(mark), columns - 1) / kStepsPerColumn;
  Painter painter(terminal.HasColour());
  painter.Put(kDim, utf8 ? "▕" : "[");
  for (std::size_t column = 0; column < columns; ++column) {
    const double right_end =
        kQuietest - kQuietest * static_cast<double>(column + 1) / static_cast<double>(columns);
    const unsigned steps = StepsIn(column, filled);
    if (steps == 0 && column == marked && mark > kQuietest)
      painter.Put(ColourAt(right_end), utf8 ? "│" : "|");
    else if (utf8)
      painter.Put(ColourAt(right_end), Eighths(steps));
    else
      painter.Put(ColourAt(right_end), steps * 2 >= kStepsPerColumn ? "#" : " ");
  }
  painter.Put(kDim, utf8 ? "▏" : "]");
  return painter.Finish();
}

}  // namespace zevra::command
