#ifndef ZEVRA_LOG_MUTEX_H
#define ZEVRA_LOG_MUTEX_H

#include <array>
#include <cstdint>

#include "platform/locks.h"

namespace zevra {

// The logger's locks. Results are 0 or a system error code. The order of the operations is fixed.
struct Log_Mutex {
  virtual int open(const char* name) = 0;  // an open lock is closed first
  virtual int close() = 0;
  virtual int acquire(std::uint32_t timeout_ms) = 0;
  virtual int release() = 0;
  virtual const char* name() const = 0;

 protected:
  ~Log_Mutex() = default;
};

// The lock within one process. Needs no name and never times out.
class Log_Thread_Mutex final : public Log_Mutex {
 public:
  Log_Thread_Mutex() = default;
  ~Log_Thread_Mutex() { close(); }
  Log_Thread_Mutex(const Log_Thread_Mutex&) = delete;
  Log_Thread_Mutex& operator=(const Log_Thread_Mutex&) = delete;

  int open(const char* name) override;
  int close() override;
  int acquire(std::uint32_t timeout_ms) override;
  int release() override;
  const char* name() const override { return nullptr; }

 private:
  CriticalSection* section_ = nullptr;  // null while closed
};

// The lock between processes. A wait also returns 0 after its time-out or when the last holder
// died: the caller goes on in both cases.
class Log_Win32_Process_Mutex final : public Log_Mutex {
 public:
  Log_Win32_Process_Mutex() = default;
  ~Log_Win32_Process_Mutex() { close(); }
  Log_Win32_Process_Mutex(const Log_Win32_Process_Mutex&) = delete;
  Log_Win32_Process_Mutex& operator=(const Log_Win32_Process_Mutex&) = delete;

  int open(const char* name) override;
  int close() override;
  int acquire(std::uint32_t timeout_ms) override;
  int release() override;
  const char* name() const override { return name_.data(); }

 private:
  NamedMutex* handle_ = nullptr;  // null while closed
  std::array<char, 256> name_{};  // cut to fit
};

// Holds a lock, if there is one, for the life of the object.
class lock_guard {
 public:
  explicit lock_guard(Log_Mutex* mutex) : mutex_(mutex) {
    if (mutex_ != nullptr) mutex_->acquire(kWaitForEver);
  }
  ~lock_guard() {
    if (mutex_ != nullptr) mutex_->release();
  }
  lock_guard(const lock_guard&) = delete;
  lock_guard& operator=(const lock_guard&) = delete;

 private:
  Log_Mutex* const mutex_;
};

}  // namespace zevra

#endif
