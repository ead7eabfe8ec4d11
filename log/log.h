#ifndef ZEVRA_LOG_LOG_H
#define ZEVRA_LOG_LOG_H

// What code outside log/ logs with. A message that is filtered out costs three loads; its arguments
// are not evaluated. Any thread may log, also inside the callback.

#include <array>

#include "log/process_logger.h"

// True if a message of the level bit `bit` (2 error, 4 warning, 16 verbose, 128 trace) is wanted.
#define ZEVRA_LOG_WANTED(bit)                           \
  (::zevra::ProcessLoggerInUse() != nullptr &&          \
   ::zevra::ProcessLoggerInUse()->output_mask() != 0 && \
   (::zevra::ProcessLoggerInUse()->level_mask() & static_cast<std::uint32_t>(bit)) != 0)

#define ZEVRA_LOG_AT(bit, front_end, ...)                    \
  do {                                                       \
    if (ZEVRA_LOG_WANTED(bit)) {                             \
      ::zevra::ProcessLoggerInUse()->front_end(__VA_ARGS__); \
    }                                                        \
  } while (false)

// printf format and arguments; a result goes in as `%x` and must be cast to unsigned.
#define ZEVRA_LOG_ERROR(...) ZEVRA_LOG_AT(2, log_error, __VA_ARGS__)
#define ZEVRA_LOG_WARN(...) ZEVRA_LOG_AT(4, log_warn, __VA_ARGS__)
#define ZEVRA_LOG_VERBOSE(...) ZEVRA_LOG_AT(16, log_verbose, __VA_ARGS__)
#define ZEVRA_LOG_TRACE(...) ZEVRA_LOG_AT(128, log_trace, __VA_ARGS__)

namespace zevra {

// Writes "LABEL | enter." when made and "LABEL | leave." on every way out of its block, each
// if its level is wanted at that moment.
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
