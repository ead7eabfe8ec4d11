#include "log/cfg.h"

namespace zevra {

template <class HEAP, class BASE>
Log_Cfg_T<HEAP, BASE>& Log_Cfg_T<HEAP, BASE>::operator=(const BASE& other) {
  const auto take_text = [](std::string& field, const char* text) {
    if (text != nullptr) field = text;
  };
  take_text(values.file, other.file());
  take_text(values.title, other.title());
  take_text(values.locale, other.locale());
  values.maxsize = other.maxsize();
  values.overwrite = other.overwrite();
  values.output = other.output();
  values.level = other.level();
  values.style = other.style();
  values.subjects = other.subjects();
  values.flush = other.flush();
  values.maxcount = other.maxcount();
  values.mode = other.mode();
  values.head = other.head();
  values.module = other.module();
  values.console_level = other.console_level();
  values.charset = other.charset();
  values.start_time = other.start_time();
  values.start_ticks = other.start_ticks();
  values.config_mtime = 0;
  values.xor_key = 0;
  return *this;
}

template Log_Settings& Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>::operator=(const Log_Cfg&);

}  // namespace zevra
