#include "log_test.h"

#include <windows.h>

#include <ctime>

namespace zevra::test {

void UseUtc() {
  ::_putenv_s("TZ", "UTC");
  ::_tzset();
}

std::string ProgramPath() {
  char path[MAX_PATH] = "";
  ::GetModuleFileNameA(nullptr, path, MAX_PATH);
  return path;
}

}  // namespace zevra::test
