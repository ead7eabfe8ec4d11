#include "platform/wide_text.h"

#include <cwchar>

namespace zevra {

bool EqualIgnoringCase(LPCWSTR a, LPCWSTR b) { return ::_wcsicmp(a, b) == 0; }

}  // namespace zevra
