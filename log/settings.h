#ifndef ZEVRA_LOG_SETTINGS_H
#define ZEVRA_LOG_SETTINGS_H

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/modules.h"
#include "platform/profile.h"

namespace zevra {

// Message levels, single bits; a setting of levels is a mask of them, not a threshold.
constexpr std::uint32_t kLevelError = 2;
constexpr std::uint32_t kLevelWarn = 4;
constexpr std::uint32_t kLevelVerbose = 16;
constexpr std::uint32_t kLevelTrace = 128;

constexpr std::uint32_t kOutputFile = 1;
constexpr std::uint32_t kOutputConsole = 2;
constexpr std::uint32_t kOutputDebugger = 4;
constexpr std::uint32_t kOutputBox = 8;

// The pieces of a line. The date and time win over the time alone.
constexpr std::uint32_t kStyleTime = 1;
constexpr std::uint32_t kStyleDateTime = 2;
constexpr std::uint32_t kStyleLevel = 4;
constexpr std::uint32_t kStyleThread = 8;
constexpr std::uint32_t kStyleLineEnd = 16;
constexpr std::uint32_t kStyleSubject = 32;
constexpr std::uint32_t kStyleProcess = 64;
// Exactly this value also turns the banners off.
constexpr std::uint32_t kStyleNone = 256;

// The width of what is written.
constexpr std::uint32_t kCharsetAsGiven = 0;
constexpr std::uint32_t kCharsetNarrow = 1;
constexpr std::uint32_t kCharsetWide = 2;

// The settings of a logger, for those who only read them. Texts belong to the record and are valid
// until it changes. The order of the operations is fixed.
struct Log_Cfg {
  virtual const char* file() const = 0;
  virtual const char* title() const = 0;
  virtual const char* config_file() const = 0;
  virtual const char* locale() const = 0;
  virtual std::uint64_t maxsize() const = 0;
  virtual bool overwrite() const = 0;
  virtual std::uint32_t output() const = 0;
  virtual std::uint32_t level() const = 0;
  virtual std::uint32_t style() const = 0;
  virtual std::uint32_t subjects() const = 0;
  virtual bool flush() const = 0;
  virtual std::int32_t maxcount() const = 0;
  virtual std::int32_t mode() const = 0;
  virtual bool head() const = 0;
  virtual ModuleHandle module() const = 0;
  virtual std::uint32_t console_level() const = 0;
  virtual std::uint32_t charset() const = 0;
  virtual std::int64_t start_time() const = 0;
  virtual std::uint32_t start_ticks() const = 0;

 protected:
  ~Log_Cfg() = default;
};

// A setting that messages read while reload_cfg stores it. A message sees the old or the new value.
// The relaxed load costs no more than a plain one on x86-64 and ARM64.
template <class T>
class Live {
 public:
  Live(T value) : value_(value) {}  // NOLINT(google-explicit-constructor): used like a T
  Live(const Live& other) : value_(other.get()) {}
  Live& operator=(const Live& other) {
    value_.store(other.get(), std::memory_order_relaxed);
    return *this;
  }
  ~Live() = default;
  operator T() const { return get(); }  // NOLINT(google-explicit-constructor): used like a T
  T get() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<T> value_;
};

// The fields of a record. docs/logging.md describes the keys of the settings file.
struct Log_Cfg_Values {
  std::string file = "korvane.log";
  std::string title = "Running Information";
  std::uint64_t maxsize = 0xA00000;  // bytes
  std::int32_t maxcount = 20;        // backups; below 1 none is ever removed
  Live<std::uint32_t> output = 1u;
  Live<std::uint32_t> level = 7u;
  Live<std::uint32_t> style = 255u;
  std::uint32_t subjects = 0xFFFFFFFF;
  bool overwrite = false;
  Live<bool> flush = false;
  bool head = true;
  bool align_to_second = false;
  ModuleHandle module = 0;
  std::vector<std::string> include;
  std::vector<std::string> exclude;
  std::string config_file;
  std::string section = "logger";
  std::int64_t config_mtime = 0;  // seconds; 0: the file was not there
  std::int32_t mode = 0;
  std::uint32_t xor_key = 0;
  std::string locale = ".ACP";
  Live<std::uint32_t> console_level = level;
  std::uint32_t charset = 0;
  std::int64_t start_time = 0;    // seconds
  std::uint32_t start_ticks = 0;  // milliseconds
};

class Log_Cfg_Heap {
 protected:
  Log_Cfg_Heap(const char* section, const char* file)
      : section_(section),
        file_(file != nullptr ? file : ""),
        is_file_(file != nullptr),
        keys_(section, file_.c_str()) {}

  std::string section_;
  std::string file_;
  void* key_ = nullptr;
  bool is_file_;
  ProfileSection keys_;  // of the file
};

// The key and value source of one read: a section of a profile file or, without a path, a key below
// HKEY_LOCAL_MACHINE. Lives on the stack of its reader, one thread.
class Log_Cfg_Heap_Reg : public Log_Cfg_Heap {
 public:
  // A null `file` selects the registry, with `section` as the sub-key.
  Log_Cfg_Heap_Reg(const char* section, const char* file);
  virtual ~Log_Cfg_Heap_Reg();
  Log_Cfg_Heap_Reg(const Log_Cfg_Heap_Reg&) = delete;
  Log_Cfg_Heap_Reg& operator=(const Log_Cfg_Heap_Reg&) = delete;

  // Fetches the text of `key` (at most 1023 bytes). From a file, what `text` held is the default
  // and the result is 0; from the registry a failed query gives the system's error code and no
  // text.
  int get_value(const char* key, std::string& text) const;
};

// Comma-separated words that stand for one value. A row without text ends a table.
struct SettingWords {
  std::uint32_t value;
  const char* words;
};

extern const SettingWords level_words[];
extern const SettingWords style_words[];

// Stores the value of the first row that has the word `value`, in whatever case, and gives 0. Gives
// -1 and leaves `out` alone if none has it.
int lookup_word(std::uint32_t& out, const char* value, const SettingWords* table);

// The number at the start of a text, 0 if there is none: base by prefix as in C, trailing
// characters ignored, saturating at 32 bits.
std::int32_t NumberIn(const char* text);

// The settings record: a value that owns its texts and lists. HEAP is the source that the reader
// makes for one read, BASE the read-only interface. Not locked; see Live for the exception.
template <class HEAP, class BASE>
class Log_Cfg_T final : public BASE {
 public:
  explicit Log_Cfg_T(const char* log_file = "korvane.log",
                     const char* subject = "Running Information") {
    values.file = log_file;
    values.title = subject;
  }
  Log_Cfg_T(const Log_Cfg_T&) = default;
  Log_Cfg_T& operator=(const Log_Cfg_T&) = default;
  ~Log_Cfg_T() = default;
  // Takes what the interface shows, except the settings file; that stays this record's own.
  Log_Cfg_T& operator=(const BASE& other);

  // Fills the record from the section of the settings file. Null texts mean the record's own; a
  // relative file lies beside this library. Always 0: a missing file or a wrong value is no error.
  int read_log_config(const char* section, const char* file);

  const char* file() const override { return values.file.c_str(); }
  const char* title() const override { return values.title.c_str(); }
  const char* config_file() const override { return values.config_file.c_str(); }
  const char* locale() const override { return values.locale.c_str(); }
  std::uint64_t maxsize() const override { return values.maxsize; }
  bool overwrite() const override { return values.overwrite; }
  std::uint32_t output() const override { return values.output; }
  std::uint32_t level() const override { return values.level; }
  std::uint32_t style() const override { return values.style; }
  std::uint32_t subjects() const override { return values.subjects; }
  bool flush() const override { return values.flush; }
  std::int32_t maxcount() const override { return values.maxcount; }
  std::int32_t mode() const override { return values.mode; }
  bool head() const override { return values.head; }
  ModuleHandle module() const override { return values.module; }
  std::uint32_t console_level() const override { return values.console_level; }
  std::uint32_t charset() const override { return values.charset; }
  std::int64_t start_time() const override { return values.start_time; }
  std::uint32_t start_ticks() const override { return values.start_ticks; }

  Log_Cfg_Values values;
};

// The record that this library uses. Its members are instantiated in log/settings.cpp and
// log/settings_reader.cpp.
using Log_Settings = Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>;

}  // namespace zevra

#endif
