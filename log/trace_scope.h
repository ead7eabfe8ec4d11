#ifndef ZEVRA_LOG_TRACE_SCOPE_H
#define ZEVRA_LOG_TRACE_SCOPE_H

#include <array>

namespace zevra {

// Writes "LABEL | enter." when made and "LABEL | leave." on every way out of its block, each
// through the gate at its own moment: a level that changes in between changes what is written.
class TraceScope {
 public:
  // Keeps a copy of `label` (at most 63 characters), so that the caller's text may go.
  explicit TraceScope(const char* label) noexcept;
  ~TraceScope();
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;

 private:
  std::array<char, 64> label_{};
};

}  // namespace zevra

#endif
