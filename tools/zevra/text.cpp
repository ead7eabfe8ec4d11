#include "tools/zevra/text.h"

#include <fmt/format.h>
#include <utf8cpp/utf8.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <system_error>

#include "tools/zevra/console.h"
#include "zevra/zevra.h"

namespace zevra::command {
namespace {

bool IsBetween(char32_t value, char32_t first, char32_t last) {
  return value >= first && value <= last;
}

std::u32string Characters(std::string_view text) {
  return utf8::utf8to32(utf8::replace_invalid(std::string(text)));
}

bool SameLetter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

const char* Words(std::int32_t result) {
  switch (result) {
    case ZEVRA_E_FAIL:
      return "the stream could not be brought up";
    case ZEVRA_E_UNEXPECTED:
      return "two endpoints share the name, or one has no readable name";
    case ZEVRA_E_OUTOFMEMORY:
      return "out of memory";
    case ZEVRA_E_NOT_FOUND:
      return "there is no such endpoint";
    case ZEVRA_E_DEVICE_INVALIDATED:
      return "the endpoint was removed or the sound server ended";
    case ZEVRA_E_SERVICE_NOT_RUNNING:
      return "no sound server runs";
    default:
      return nullptr;
  }
}

}  // namespace

Utf16 ToUtf16(std::string_view text) {
  const std::string good = utf8::replace_invalid(std::string(text));
  Utf16 out;
  utf8::utf8to16(good.begin(), good.end(), std::back_inserter(out));
  return out;
}

std::string ToUtf8(Utf16View text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t character = text[i];
    if (IsBetween(character, 0xD800, 0xDBFF) && i + 1 < text.size() &&
        IsBetween(text[i + 1], 0xDC00, 0xDFFF))
      character = 0x10000 + ((character - 0xD800) << 10U) + (text[++i] - 0xDC00U);
    // A name that the library cut may end in half a pair, where utf8::utf16to8 would throw.
    utf8::append(IsBetween(character, 0xD800, 0xDFFF) ? U'\ufffd' : character, out);
  }
  return out;
}

bool ContainsIgnoringCase(std::string_view text, std::string_view part) {
  return std::search(text.begin(), text.end(), part.begin(), part.end(), SameLetter) != text.end();
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameLetter);
}

std::size_t Columns(std::string_view text) {
  std::size_t columns = 0;
  for (const char32_t character : Characters(text)) columns += ColumnsOf(character);
  return columns;
}

std::string Clipped(std::string_view text, std::size_t columns) {
  if (Columns(text) <= columns) return std::string(text);
  if (columns == 0) return {};
  std::string out;
  std::size_t used = 1;  // the mark
  for (const char32_t character : Characters(text)) {
    used += ColumnsOf(character);
    if (used > columns) break;
    utf8::append(character, out);
  }
  return out + '~';
}

std::string Quoted(std::string_view name) { return '"' + std::string(name) + '"'; }

std::string ResultText(std::int32_t result) {
  // The number is one of another system's, so its text here would mislead.
  if (result > 0) return fmt::format("the system could not create a thread (error {})", result);
  const auto bits = static_cast<std::uint32_t>(result);
  const char* const words = Words(result);
  return words != nullptr ? fmt::format("{} (0x{:08X})", words, bits)
                          : fmt::format("error 0x{:08X}", bits);
}

bool SaysEnough(std::int32_t result) { return result != ZEVRA_E_FAIL && Words(result) != nullptr; }

std::string SystemText(int error) { return std::generic_category().message(error); }

}  // namespace zevra::command
