#ifndef ZEVRA_TOOLS_ZEVRA_LIBRARY_COPIES_H
#define ZEVRA_TOOLS_ZEVRA_LIBRARY_COPIES_H

#include <string>
#include <vector>

namespace zevra::command {

// The files that the system's loader finds under the library's name for a program that says nothing
// of where it is: the first is the one that it loads. Each file once, links resolved.
std::vector<std::string> FindLibraryCopies();

}  // namespace zevra::command

#endif
