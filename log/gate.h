#ifndef ZEVRA_LOG_GATE_H
#define ZEVRA_LOG_GATE_H

// The one door through which every other room logs. A message that is stopped here costs three
// loads and evaluates none of its arguments. Any thread may log, also from inside the callback.

#include "log/process_logger.h"

// True if a message of the level bit `bit` (2 error, 4 warning, 16 verbose, 128 trace) is wanted.
#define ZEVRA_LOG_WANTED(bit)                              \
  (::zevra::process_logger_in_use() != nullptr &&          \
   ::zevra::process_logger_in_use()->output_mask() != 0 && \
   (::zevra::process_logger_in_use()->level_mask() & static_cast<std::uint32_t>(bit)) != 0)

#define ZEVRA_LOG_AT(bit, front_end, ...)                       \
  do {                                                          \
    if (ZEVRA_LOG_WANTED(bit)) {                                \
      ::zevra::process_logger_in_use()->front_end(__VA_ARGS__); \
    }                                                           \
  } while (false)

// printf format and arguments; a result goes in as `%x` and must be cast to unsigned.
#define ZEVRA_LOG_ERROR(...) ZEVRA_LOG_AT(2, log_error, __VA_ARGS__)
#define ZEVRA_LOG_WARN(...) ZEVRA_LOG_AT(4, log_warn, __VA_ARGS__)
#define ZEVRA_LOG_VERBOSE(...) ZEVRA_LOG_AT(16, log_verbose, __VA_ARGS__)
#define ZEVRA_LOG_TRACE(...) ZEVRA_LOG_AT(128, log_trace, __VA_ARGS__)

#endif
