#ifndef ZEVRA_TOOLS_ZEVRA_BAR_H
#define ZEVRA_TOOLS_ZEVRA_BAR_H

#include <cstddef>
#include <string>

#include "tools/zevra/terminal.h"

namespace zevra::command {

// The left end of a level bar in decibels of full scale; its right end is 0.
inline constexpr double kQuietest = -60;
// Columns below which a bar says nothing.
inline constexpr std::size_t kNarrowestBar = 12;

// Bars of exactly `width` columns, in what the terminal can show.
std::string ProgressBar(const Terminal& terminal, double part, std::size_t width);
// `decibels` as the bar and `mark` as a line that stands where the last peak was.
std::string LevelBar(const Terminal& terminal, double decibels, double mark, std::size_t width);

}  // namespace zevra::command

#endif
