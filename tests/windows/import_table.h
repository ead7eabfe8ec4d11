#ifndef ZEVRA_TESTS_WINDOWS_IMPORT_TABLE_H
#define ZEVRA_TESTS_WINDOWS_IMPORT_TABLE_H

#include "platform/api.h"

namespace zevra::test {

// Puts `function` in the place of the system function `name` for the calls that `module` makes. The
// module's code stays as it is: every call goes through its table of imports, and only the entry
// there changes. False if the module does not import the name.
bool RedirectImport(HMODULE module, const char* name, void* function);

}  // namespace zevra::test

#endif
