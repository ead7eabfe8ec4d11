#include "log/log.h"

#include <cstring>

namespace zevra {

TraceScope::TraceScope(const char* label) noexcept {
  std::strncpy(label_.data(), label, label_.size() - 1);
  ZEVRA_LOG_TRACE("%s | enter.", label_.data());
}

TraceScope::~TraceScope() { ZEVRA_LOG_TRACE("%s | leave.", label_.data()); }

}  // namespace zevra
