#include "platform/linux/utf16.h"

#include <cstddef>

namespace zevra {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// What a lead byte announces. The first continuation byte has a range of its own, which shuts out
// over-long forms, surrogates and values above U+10FFFF; the others are always 80 to BF.
struct Lead {
  std::size_t continuation_bytes;
  unsigned char low, high;
  char32_t bits;
};

constexpr Lead kInvalidLead = {0, 0, 0, kReplacement};

Lead ReadLead(unsigned char byte) {
  if (byte < 0x80) return {0, 0, 0, byte};
  if (byte < 0xC2) return kInvalidLead;
  if (byte < 0xE0) return {1, 0x80, 0xBF, byte & 0x1Fu};
  if (byte == 0xE0) return {2, 0xA0, 0xBF, 0};
  if (byte == 0xED) return {2, 0x80, 0x9F, 0xD};
  if (byte < 0xF0) return {2, 0x80, 0xBF, byte & 0x0Fu};
  if (byte == 0xF0) return {3, 0x90, 0xBF, 0};
  if (byte < 0xF4) return {3, 0x80, 0xBF, byte & 0x07u};
  if (byte == 0xF4) return {3, 0x80, 0x8F, 4};
  return kInvalidLead;
}

// Takes one character, or one broken run of bytes, off the front of `text`.
char32_t TakeCharacter(std::string_view& text) {
  const Lead lead = ReadLead(static_cast<unsigned char>(text.front()));
  text.remove_prefix(1);
  char32_t character = lead.bits;
  unsigned char low = lead.low;
  unsigned char high = lead.high;
  for (std::size_t i = 0; i < lead.continuation_bytes; ++i) {
    if (text.empty()) return kReplacement;
    const auto byte = static_cast<unsigned char>(text.front());
    if (byte < low || byte > high) return kReplacement;
    character = character << 6 | (byte & 0x3Fu);
    text.remove_prefix(1);
    low = 0x80;
    high = 0xBF;
  }
  return character;
}

}  // namespace

std::u16string Utf16FromUtf8(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  while (!text.empty()) {
    const char32_t character = TakeCharacter(text);
    if (character < 0x10000) {
      units.push_back(static_cast<char16_t>(character));
    } else {
      units.push_back(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
    }
  }
  return units;
}

}  // namespace zevra
