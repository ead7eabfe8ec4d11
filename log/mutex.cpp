#include "log/mutex.h"

#include <cstring>

namespace zevra {

int Log_Thread_Mutex::open(const char*) {
  close();
  section_ = NewCriticalSection();
  return 0;
}

int Log_Thread_Mutex::close() {
  if (section_ != nullptr) {
    DeleteCriticalSection(section_);
    section_ = nullptr;
  }
  return 0;
}

int Log_Thread_Mutex::acquire(std::uint32_t) {
  if (section_ != nullptr) EnterCriticalSection(section_);
  return 0;
}

int Log_Thread_Mutex::release() {
  if (section_ != nullptr) LeaveCriticalSection(section_);
  return 0;
}

int Log_Win32_Process_Mutex::open(const char* name) {
  close();
  if (name != nullptr) std::strncpy(name_.data(), name, name_.size() - 1);
  int error = 0;
  handle_ = OpenNamedMutex(name != nullptr ? name_.data() : nullptr, error);
  return error;
}

int Log_Win32_Process_Mutex::close() {
  if (handle_ != nullptr) {
    CloseNamedMutex(handle_);
    handle_ = nullptr;
  }
  return 0;
}

int Log_Win32_Process_Mutex::acquire(std::uint32_t timeout_ms) {
  return AcquireNamedMutex(handle_, timeout_ms);
}

int Log_Win32_Process_Mutex::release() {
  ReleaseNamedMutex(handle_);
  return 0;
}

}  // namespace zevra
