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

// Null until the first ZevraInitialize; changes once and is never reset. Who finds it set finds the
// logger ready.
extern std::atomic<Process_Logger*> process_logger;

inline Process_Logger* ProcessLoggerInUse() {
  return process_logger.load(std::memory_order_acquire);
}

// Creates the process logger, if there is none, with the file "zevra.log", the title "zevra
// logging" and what the settings file says otherwise. Any thread; never fails its caller.
void SetUpProcessLogger() noexcept;

// The two stages of that. srlog_open reads the section "logger" of "zevra.cfu" over `cfg`, or over
// the defaults for null, and gives srlog_create's result: 0, the error number of the log file (the
// logger stands all the same), or -1 with nothing changed when there is a logger already.
std::int32_t srlog_open(const Log_Settings* cfg);
std::int32_t srlog_create(const Log_Settings& cfg);

}  // namespace zevra

#endif
