#ifndef ZEVRA_TOOLS_ZEVRA_PAINTER_H
#define ZEVRA_TOOLS_ZEVRA_PAINTER_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

namespace zevra::command {

// The low end of what is drawn of a level, in decibels of full scale; the high end is 0.
inline constexpr double kQuietest = -60;

inline constexpr const char* kGreen = "\x1b[0;32m";
inline constexpr const char* kYellow = "\x1b[0;33m";
inline constexpr const char* kRed = "\x1b[0;31m";
inline constexpr const char* kDim = "\x1b[0;2m";
inline constexpr const char* kPlain = "\x1b[0m";

// Where a level stops being comfortable and where it nears the limit.
inline const char* ColourAt(double decibels) {
  if (decibels >= -6) return kRed;
  return decibels >= -18 ? kYellow : kGreen;
}

// How a meter's needle falls, in decibels.
inline constexpr double kFallPerSecond = 30;

inline constexpr unsigned kStepsPerCell = 8;

// How many steps of a bar of so many cells are filled.
inline std::size_t Steps(double part, std::size_t cells) {
  const double whole = static_cast<double>(cells * kStepsPerCell);
  return static_cast<std::size_t>(std::lround(std::clamp(part, 0.0, 1.0) * whole));
}

// How much of a cell is filled, in steps, when `filled` steps of the whole bar are.
inline unsigned StepsIn(std::size_t cell, std::size_t filled) {
  const std::size_t before = cell * kStepsPerCell;
  return filled <= before
             ? 0
             : static_cast<unsigned>(std::min<std::size_t>(filled - before, kStepsPerCell));
}

// Draws cell by cell and changes the colour only where it changes.
class Painter {
 public:
  explicit Painter(bool colour) : colour_(colour) {}

  void Put(const char* colour, const std::string& text) {
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

}  // namespace zevra::command

#endif
