#ifndef ZEVRA_LOG_IO_H
#define ZEVRA_LOG_IO_H

#include <cstdint>
#include <cstdio>
#include <string>

#include "log/mutex.h"
#include "log/settings.h"

namespace zevra {

// The file output of a logger. It knows no levels, lines or banners. The logger holds its lock
// during every call; an implementation takes none. Every operation but `open` is safe on a closed
// object. The order of the operations is fixed; the destructor is the last.
struct Log_IO {
  // 0, or the runtime's error number with nothing changed. `extra` is for implementations that need
  // more than a path.
  virtual int open(const char* path, Log_Mutex* lock, std::int32_t mode, std::int64_t extra) = 0;
  virtual int close() = 0;
  // Each appends at the present end of the file, also after another process wrote. `write` returns
  // the bytes taken, the others the runtime's result; all return 0 when closed.
  virtual int write(const void* bytes, std::int32_t count) = 0;
  virtual int puts_w(const wchar_t* text) = 0;
  virtual int puts(const char* text) = 0;
  virtual int truncate() = 0;  // to 0 bytes; -1 when closed
  virtual void flush() = 0;
  virtual std::int64_t size() = 0;  // bytes, unflushed ones included; 0 when closed
  // Saves the text as `target`, replacing it, and empties the file; saves nothing if `target` is
  // the file itself. 0, or the system's error code with the text still in place.
  virtual int backup(const char* target) = 0;
  virtual std::FILE* handle() = 0;
  // For a second logger that is given this object; not owned.
  virtual void set_lock(Log_Mutex* lock) = 0;
  virtual Log_Mutex* get_lock() = 0;
  virtual void set_cfg(Log_Cfg* cfg) = 0;
  virtual Log_Cfg* get_cfg() = 0;
  virtual ~Log_IO() = default;
};

// The log file: one stdio stream. Other processes may write the same file.
class Log_IO_FILE : public Log_IO {
 public:
  Log_IO_FILE() = default;
  ~Log_IO_FILE() override;
  Log_IO_FILE(const Log_IO_FILE&) = delete;
  Log_IO_FILE& operator=(const Log_IO_FILE&) = delete;

  int open(const char* path, Log_Mutex* lock, std::int32_t mode, std::int64_t extra) override;
  int close() override;
  int write(const void* bytes, std::int32_t count) override;
  int puts_w(const wchar_t* text) override;
  int puts(const char* text) override;
  int truncate() override;
  void flush() override;
  std::int64_t size() override;
  int backup(const char* target) override;
  std::FILE* handle() override { return stream_; }
  void set_lock(Log_Mutex* lock) override { lock_ = lock; }
  Log_Mutex* get_lock() override { return lock_; }
  void set_cfg(Log_Cfg* cfg) override { cfg_ = cfg; }
  Log_Cfg* get_cfg() override { return cfg_; }

 private:
  void MendLine();

  std::FILE* stream_ = nullptr;  // null while closed
  bool is_cut_ = false;          // the last text did not get whole into the file
  std::string path_;
  Log_Mutex* lock_ = nullptr;
  Log_Cfg* cfg_ = nullptr;
};

// The same as IO, but a type of its own for each TOKEN.
template <class IO, class TOKEN>
class Log_Uni_Type final : public IO {};

}  // namespace zevra

#endif
