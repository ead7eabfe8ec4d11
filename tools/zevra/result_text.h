#ifndef ZEVRA_TOOLS_ZEVRA_RESULT_TEXT_H
#define ZEVRA_TOOLS_ZEVRA_RESULT_TEXT_H

#include <cstdint>
#include <string>

namespace zevra::command {

// What a result of the library means, for a person: words where there are any, and the value.
std::string ResultText(std::int32_t result);
// What an error number of the system means.
std::string SystemText(int error);

}  // namespace zevra::command

#endif
