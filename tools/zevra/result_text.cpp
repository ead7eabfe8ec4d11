#include "tools/zevra/result_text.h"

#include <system_error>

#include "tools/zevra/text.h"
#include "zevra/zevra.h"

namespace zevra::command {
namespace {

const char* Words(std::int32_t result) {
  switch (result) {
    case ZEVRA_E_FAIL:
      return "the stream could not be brought up, the log says why";
    case ZEVRA_E_UNEXPECTED:
      return "two endpoints share the name, or one has no readable name";
    case ZEVRA_E_OUTOFMEMORY:
      return "out of memory";
    case ZEVRA_E_NOT_FOUND:
      return "there is no such endpoint";
    case ZEVRA_E_DEVICE_INVALIDATED:
      return "the endpoint was removed or the sound server ended";
    case ZEVRA_E_SERVICE_NOT_RUNNING:
      return "no sound server runs";
    default:
      return nullptr;
  }
}

}  // namespace

std::string ResultText(std::int32_t result) {
  // A thread that could not be created is reported as an error number of the system.
  if (result > 0) return Format("%s (error %d)", SystemText(result).c_str(), result);
  const auto bits = static_cast<std::uint32_t>(result);
  const char* const words = Words(result);
  return words != nullptr ? Format("%s (0x%08X)", words, bits) : Format("error 0x%08X", bits);
}

std::string SystemText(int error) { return std::generic_category().message(error); }

}  // namespace zevra::command
