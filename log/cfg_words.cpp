#include "log/cfg_words.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "log/paths.h"

namespace zevra {
namespace {

// ASCII only: what the words are made of, whatever the locale thinks of other bytes.
std::string lower_case(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

}  // namespace

const Cfg_Words level_words[] = {
    {7, "low,warning"},
    {15, "normal,medium,info"},
    {0x3F, "detail,debug"},
    {0xFFFFFFFF, "all,full"},
    {0, "none"},
    {0, nullptr},
};

const Cfg_Words style_words[] = {
    {0x3D, "short,simple"}, {0x7E, "long,normal"}, {0xFF, "all,full"},
    {0x100, "none"},        {0, nullptr},
};

int lookup_word(std::uint32_t& out, const char* value, const Cfg_Words* table) {
  const std::string wanted = lower_case(value);
  for (const Cfg_Words* row = table; row->words != nullptr; ++row) {
    std::vector<std::string> words;
    split_list(lower_case(row->words).c_str(), words, ",;");
    if (std::find(words.begin(), words.end(), wanted) != words.end()) {
      out = row->value;
      return 0;
    }
  }
  return -1;
}

std::int32_t number_in(const char* text) {
  // Where long has 64 bits it still has to behave as one of 32.
  constexpr long kLowest = std::numeric_limits<std::int32_t>::min();
  constexpr long kHighest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::strtol(text, nullptr, 0), kLowest, kHighest));
}

}  // namespace zevra
