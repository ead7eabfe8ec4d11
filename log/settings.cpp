#include "log/settings.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "log/paths.h"

namespace zevra {
namespace {

// The words are ASCII; the locale must not change other bytes.
std::string LowerCase(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

}  // namespace

const SettingWords level_words[] = {
    {7, "low,warning"},
    {15, "normal,medium,info"},
    {0x3F, "detail,debug"},
    {0xFFFFFFFF, "all,full"},
    {0, "none"},
    {0, nullptr},
};

const SettingWords style_words[] = {
    {0x3D, "short,simple"}, {0x7E, "long,normal"}, {0xFF, "all,full"},
    {0x100, "none"},        {0, nullptr},
};

int lookup_word(std::uint32_t& out, const char* value, const SettingWords* table) {
  const std::string wanted = LowerCase(value);
  for (const SettingWords* row = table; row->words != nullptr; ++row) {
    std::vector<std::string> words;
    split_list(LowerCase(row->words).c_str(), words, ",;");
    if (std::find(words.begin(), words.end(), wanted) != words.end()) {
      out = row->value;
      return 0;
    }
  }
  return -1;
}

std::int32_t NumberIn(const char* text) {
  // A long of 64 bits must saturate like one of 32.
  constexpr long kLowest = std::numeric_limits<std::int32_t>::min();
  constexpr long kHighest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::strtol(text, nullptr, 0), kLowest, kHighest));
}

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
