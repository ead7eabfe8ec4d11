#ifndef ZEVRA_LOG_PROCESS_LOGGER_H
#define ZEVRA_LOG_PROCESS_LOGGER_H

#include <atomic>
#include <cstdint>

#include "log/log_impl.h"

namespace zevra {

// The tag shows in the type's name, as everywhere this logger is used.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
struct __LOG_TOK_Log_IO_FILE_sr_logLog_IO_FILE__;

// The logger of this copy of the library. Its members are instantiated in log/log_impl_*.cpp.
using Process_Log_File = Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_sr_logLog_IO_FILE__>;
using Process_Logger = Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>;

// Null until the first ZevraInitialize, then set once and never reset. When it is set, the logger
// is open.
extern std::atomic<Process_Logger*> process_logger;

inline Process_Logger* ProcessLoggerInUse() {
  return process_logger.load(std::memory_order_acquire);
}

// Creates the process logger, if there is none, with the file "zevra.log", the title "zevra
// logging" and what the settings file says otherwise. Any thread; never fails its caller.
void SetUpProcessLogger() noexcept;

// SetUpProcessLogger() calls srlog_open, which calls srlog_create. srlog_open reads the section
// "logger" of "zevra.cfu" over `cfg`, or over the defaults for null. Both return 0, the error
// number of the log file (the logger exists all the same), or -1 if there was a logger already.
std::int32_t srlog_open(const Log_Settings* cfg);
std::int32_t srlog_create(const Log_Settings& cfg);

}  // namespace zevra

#endif
