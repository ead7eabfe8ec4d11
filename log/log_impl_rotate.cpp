// The size limit of Log_Impl_T: backups, their purge, and the banners around a file's text.

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <list>

#include "log/log_files.h"
#include "log/masks.h"
#include "log/paths.h"
#include "log/process_logger.h"
#include "platform/files.h"

namespace zevra {
namespace {

constexpr std::size_t kBannerBytes = 4096;

}  // namespace

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::rotate() {
  const std::string target = cfg_.values.overwrite ? cfg_.values.file : BackupName();
  if (target.size() > kPathLimit)
    return ENAMETOOLONG;  // better a file past its limit than text thrown away
  if (cfg_.values.maxcount >= 1) PurgeBackups();
  if (cfg_.values.head) write_tail(false);
  const int error = io_ != nullptr ? io_->backup(target.c_str()) : 0;
  if (cfg_.values.head) write_head(false);
  return error;
}

template <class IO, class LOCK, class CFG>
std::string Log_Impl_T<IO, LOCK, CFG>::BackupName() {
  char stamp[log_detail::kTimeBytes];
  const std::string& file = cfg_.values.file;
  return file.substr(0, file.rfind('.')) + "_" + time_text(stamp, true, false) + ".log";
}

// At most one backup goes per rotation, and the oldest stays for good: it shows how things began.
template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::PurgeBackups() {
  const std::string directory = log_detail::directory_of(cfg_.values.file);
  std::list<std::string> backups;
  list_files(directory.empty() ? "./" : directory.c_str(),
             log_detail::backup_pattern(cfg_.values.file).c_str(), backups);
  if (backups.size() < static_cast<std::size_t>(cfg_.values.maxcount)) return;
  backups.sort();
  if (backups.size() >= 2) backups.pop_front();
  RemoveFile(backups.front().c_str());
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_head(bool created) {
  if (cfg_.values.style == kStyleNone || io_ == nullptr) return;
  const log_detail::Modules modules = log_detail::modules_for_banner(cfg_.values.module);
  const std::uint32_t process = CurrentProcessId();
  char time[log_detail::kTimeBytes];
  char banner[kBannerBytes];
  const int length = std::snprintf(
      banner, sizeof banner,
      "=============================================================\n"
      "\tKorvane log file\n"
      "\tSubject :    %s\n"
      "\t%s-Time :    %s\n"
      "\tApplication: %s %s\n"
      "\tModule:      %s %s\n"
      "\tPID: %d (0x%04x) Version: %s\n"
      "=============================================================\n",
      cfg_.values.title.c_str(), created ? "Created" : "Continued", time_text(time, false, false),
      modules.application.c_str(), modules.application_time.c_str(), modules.module.c_str(),
      modules.module_time.c_str(), static_cast<int>(process), static_cast<unsigned>(process),
      modules.version.c_str());
  log_detail::end_cut_banner(banner, sizeof banner, length);
  PutText(banner);
  io_->flush();
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_tail(bool end) {
  if (cfg_.values.style == kStyleNone || io_ == nullptr) return;
  const std::uint32_t process = CurrentProcessId();
  char time[log_detail::kTimeBytes];
  char banner[kBannerBytes];
  const int length = std::snprintf(
      banner, sizeof banner,
      "=============================================================\n"
      "\t%s %s-Time: %s\n"
      "\tPID: %d (0x%04x)\n"
      "=============================================================\n",
      cfg_.values.title.c_str(), end ? "End" : "Continue", time_text(time, false, false),
      static_cast<int>(process), static_cast<unsigned>(process));
  log_detail::end_cut_banner(banner, sizeof banner, length);
  PutText(banner);
  io_->flush();
}

template <class IO, class LOCK, class CFG>
char* Log_Impl_T<IO, LOCK, CFG>::time_text(char* buffer, bool file_stamp, bool time_only) {
  buffer[0] = '\0';
  const log_detail::Shown_Time shown = log_detail::shown_time(
      clock_.seconds(), clock_.ticks_ms(), cfg_.values.start_time, cfg_.values.start_ticks);
  const log_detail::Time_Form form = file_stamp  ? log_detail::Time_Form::kFileStamp
                                     : time_only ? log_detail::Time_Form::kTimeOnly
                                                 : log_detail::Time_Form::kDateTime;
  return log_detail::format_time(buffer, shown, form);
}

template int Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::rotate();
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::write_head(bool);
template void Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::write_tail(bool);
template char* Log_Impl_T<Process_Log_File, Log_Thread_Mutex, Log_Settings>::time_text(char*, bool,
                                                                                       bool);

}  // namespace zevra
