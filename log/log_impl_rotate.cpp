// Log_Impl_T: backups, their purge, the banners around a file's text, the time of a line.

#include <cerrno>
#include <list>

#include "log/banner.h"
#include "log/log_impl.h"
#include "log/paths.h"
#include "log/process_logger.h"
#include "log/time_text.h"
#include "platform/files.h"

namespace zevra {

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::rotate() {
  const std::string target = cfg_.values.overwrite ? cfg_.values.file : BackupName();
  if (target.size() > kPathLimit)
    return ENAMETOOLONG;  // a file past its limit is better than lost text
  if (cfg_.values.maxcount >= 1) PurgeBackups();
  if (cfg_.values.head) write_tail(false);
  const int error = io_ != nullptr ? io_->backup(target.c_str()) : 0;
  if (cfg_.values.head) write_head(false);
  return error;
}

template <class IO, class LOCK, class CFG>
std::string Log_Impl_T<IO, LOCK, CFG>::BackupName() {
  char stamp[kTimeBytes];
  const std::string& file = cfg_.values.file;
  return file.substr(0, file.rfind('.')) + "_" + time_text(stamp, true, false) + ".log";
}

// A rotation removes at most one backup. The oldest is kept: it shows how the log began.
template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::PurgeBackups() {
  const std::string directory = DirectoryOf(cfg_.values.file);
  std::list<std::string> backups;
  list_files(directory.empty() ? "./" : directory.c_str(), BackupPattern(cfg_.values.file).c_str(),
             backups);
  if (backups.size() < static_cast<std::size_t>(cfg_.values.maxcount)) return;
  backups.sort();
  if (backups.size() >= 2) backups.pop_front();
  RemoveFile(backups.front().c_str());
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_head(bool created) {
  if (cfg_.values.style == kStyleNone || io_ == nullptr) return;
  char time[kTimeBytes];
  const char* const word = created ? "Created" : "Continued";
  const std::string banner =
      HeadBanner(cfg_.values.title, word, time_text(time, false, false), cfg_.values.module);
  PutText(banner.c_str());
  io_->flush();
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_tail(bool end) {
  if (cfg_.values.style == kStyleNone || io_ == nullptr) return;
  char time[kTimeBytes];
  const char* const word = end ? "End" : "Continue";
  PutText(TailBanner(cfg_.values.title, word, time_text(time, false, false)).c_str());
  io_->flush();
}

template <class IO, class LOCK, class CFG>
char* Log_Impl_T<IO, LOCK, CFG>::time_text(char* buffer, bool file_stamp, bool time_only) {
  buffer[0] = '\0';
  const DisplayTime time =
      ComputeDisplayTime(clock_.seconds(), clock_.ticks_ms(), cfg_.values.start_time,
                         cfg_.values.start_ticks != 0 ? start_ticks_ms_ : 0);
  return FormatTime(buffer, time,
                    file_stamp  ? TimeForm::kFileStamp
                    : time_only ? TimeForm::kTimeOnly
                                : TimeForm::kDateTime);
}

template int Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::rotate();
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::write_head(bool);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::write_tail(bool);
template char* Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::time_text(char*, bool,
                                                                                       bool);

}  // namespace zevra
