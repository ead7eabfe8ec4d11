#include "tools/zevra/table.h"

#include <algorithm>
#include <cstdio>

#include "tools/zevra/text.h"

namespace zevra::command {

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

}  // namespace zevra::command
