#ifndef ZEVRA_LOG_CFG_HEAP_H
#define ZEVRA_LOG_CFG_HEAP_H

#include <string>

namespace zevra {

class Log_Cfg_Heap {
 protected:
  std::string section_;
  std::string file_;
  void* key_ = nullptr;
  bool is_file_ = true;
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

}  // namespace zevra

#endif
