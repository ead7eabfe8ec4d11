#ifndef ZEVRA_LOG_CFG_WORDS_H
#define ZEVRA_LOG_CFG_WORDS_H

#include <cstdint>

namespace zevra {

// Comma-separated words that stand for one value. A row without text ends a table.
struct Cfg_Words {
  std::uint32_t value;
  const char* words;
};

extern const Cfg_Words level_words[];
extern const Cfg_Words style_words[];

// Stores the value of the first row that has the word `value`, in whatever case, and gives 0. Gives
// -1 and leaves `out` alone if none has it.
int lookup_word(std::uint32_t& out, const char* value, const Cfg_Words* table);

// The number at the start of a text, 0 if there is none: base by prefix as in C, trailing
// characters ignored, saturating at 32 bits.
std::int32_t number_in(const char* text);

}  // namespace zevra

#endif
