#include "support/system.h"

#include <windows.h>

#include <ctime>

namespace zevra::test {
namespace {

std::string PathOf(void* module) {
  char path[MAX_PATH] = "";
  ::GetModuleFileNameA(static_cast<HMODULE>(module), path, MAX_PATH);
  return path;
}

}  // namespace

void UseUtc() {
  ::_putenv_s("TZ", "UTC");
  ::_tzset();
}

Library::Library() : handle_(::LoadLibraryA("avrt.dll")) {}

Library::~Library() { ::FreeLibrary(static_cast<HMODULE>(handle_)); }

std::string Library::Path() const { return PathOf(handle_); }

std::string ProgramPath() { return PathOf(nullptr); }

}  // namespace zevra::test
