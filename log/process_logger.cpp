#include "log/process_logger.h"

#include <cstdarg>
#include <cstdio>

namespace zevra {

std::atomic<ProcessLogger*> process_logger{nullptr};

namespace {

void FormatAndWrite(ProcessLogger::WriteLine write_line, std::uint32_t level, const char* format,
                    std::va_list arguments) {
  char line[1024];
  std::vsnprintf(line, sizeof line, format, arguments);
  write_line(level, line);
}

}  // namespace

#define ZEVRA_STAND_IN_FRONT_END(name, bit)              \
  void ProcessLogger::name(const char* format, ...) {    \
    std::va_list arguments;                              \
    va_start(arguments, format);                         \
    FormatAndWrite(write_line_, bit, format, arguments); \
    va_end(arguments);                                   \
  }

ZEVRA_STAND_IN_FRONT_END(log_error, 2)
ZEVRA_STAND_IN_FRONT_END(log_warn, 4)
ZEVRA_STAND_IN_FRONT_END(log_verbose, 16)
ZEVRA_STAND_IN_FRONT_END(log_trace, 128)

void set_up_process_logger() noexcept {}

}  // namespace zevra
