#include "log/impl_lifecycle.h"
#include "log/impl_message.h"
#include "log/impl_output.h"
#include "log/impl_rotate.h"
#include "log/process_logger.h"

namespace zevra {

template class Log_Impl_T<Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_sr_logLog_IO_FILE__>,
                          Log_Thread_Mutex, Log_Settings>;

}  // namespace zevra
