#include "log/cfg_heap.h"

#include <array>

#include "platform/profile.h"

namespace zevra {

Log_Cfg_Heap_Reg::Log_Cfg_Heap_Reg(const char* section, const char* file) {
  section_ = section;
  is_file_ = file != nullptr;
  if (is_file_)
    file_ = file;
  else
    key_ = OpenRegistryKey(section);
}

Log_Cfg_Heap_Reg::~Log_Cfg_Heap_Reg() {
  if (!is_file_) CloseRegistryKey(key_);
}

int Log_Cfg_Heap_Reg::get_value(const char* key, std::string& text) const {
  if (!is_file_) return RegistryText(key_, key, text);
  std::array<char, 1024> value{};
  ProfileText(section_.c_str(), key, text.c_str(), value.data(), value.size(), file_.c_str());
  text = value.data();
  return 0;
}

}  // namespace zevra
