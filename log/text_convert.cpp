#include "log/text_convert.h"

#include <cstring>
#include <cwchar>

#include "platform/text.h"

namespace zevra {
namespace {

constexpr std::size_t kStackElements = 20480;

// For what the stack buffer does not hold: asks for the size first.
template <class To, class From, class Convert>
std::basic_string<To> convert_on_heap(const From* text, Convert convert) {
  const std::size_t needed = convert(text, nullptr, 0);
  if (needed == kNotConvertible) return {};
  std::basic_string<To> converted(needed + 1, To());
  const std::size_t length = convert(text, converted.data(), converted.size());
  converted.resize(length == kNotConvertible ? 0 : length);
  return converted;
}

}  // namespace

std::wstring to_wide(const char* text) {
  if (std::strlen(text) + 1 >= kStackElements) return convert_on_heap<wchar_t>(text, NarrowToWide);
  wchar_t wide[kStackElements];
  const std::size_t length = NarrowToWide(text, wide, kStackElements);
  return length == kNotConvertible ? std::wstring() : std::wstring(wide, length);
}

std::string to_narrow(const wchar_t* text) {
  if ((std::wcslen(text) + 1) * sizeof(wchar_t) >= kStackElements)
    return convert_on_heap<char>(text, WideToNarrow);
  char narrow[kStackElements];
  const std::size_t length = WideToNarrow(text, narrow, kStackElements);
  // A character can take more bytes as narrow text than it had as a wide one.
  return length == kNotConvertible ? convert_on_heap<char>(text, WideToNarrow)
                                   : std::string(narrow, length);
}

}  // namespace zevra
