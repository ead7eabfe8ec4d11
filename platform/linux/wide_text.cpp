#include "platform/wide_text.h"

#include <clocale>
#include <cwctype>

namespace zevra {
namespace {

// The mapping of the host's locale would stop at ASCII in a host that never called setlocale.
locale_t CaseLocale() {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

std::wint_t Lower(WCHAR unit) {
  // Half of a surrogate pair is no character of its own.
  if (unit >= 0xD800 && unit <= 0xDFFF) return unit;
  const locale_t locale = CaseLocale();
  return locale != nullptr ? towlower_l(unit, locale) : std::towlower(unit);
}

}  // namespace

bool EqualIgnoringCase(LPCWSTR a, LPCWSTR b) {
  while (*a != 0 && Lower(*a) == Lower(*b)) {
    ++a;
    ++b;
  }
  return *a == *b;
}

}  // namespace zevra
