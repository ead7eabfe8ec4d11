#ifndef ZEVRA_TOOLS_ZEVRA_TABLE_H
#define ZEVRA_TOOLS_ZEVRA_TABLE_H

#include <string>
#include <vector>

namespace zevra::command {

// Prints rows of equally many cells on standard output, columns under each other.
void PrintTable(const std::vector<std::vector<std::string>>& rows);

}  // namespace zevra::command

#endif
