#include "platform/output.h"

#include <windows.h>

#include <cstdio>
#include <cwchar>

namespace zevra {
namespace {

UINT StyleOf(BoxIcon icon) { return icon == BoxIcon::kError ? MB_ICONERROR : MB_ICONINFORMATION; }

}  // namespace

bool ObtainConsole() {
  if (::AllocConsole() == 0) return false;
  // Without success the standard output stays closed, and what goes there is lost, as it was
  // before.
  static_cast<void>(std::freopen("CONOUT$", "w+t", stdout));
  return true;
}

void ReleaseConsole() { ::FreeConsole(); }

void WriteToConsole(const char* text) { std::printf("%s", text); }

void WriteToConsole(const wchar_t* text) { std::wprintf(L"%ls", text); }

void WriteToDebugger(const char* text) { ::OutputDebugStringA(text); }

void WriteToDebugger(const wchar_t* text) { ::OutputDebugStringW(text); }

void ShowMessageBox(const char* caption, const char* text, BoxIcon icon) {
  ::MessageBoxA(nullptr, text, caption, StyleOf(icon));
}

void ShowMessageBox(const wchar_t* caption, const wchar_t* text, BoxIcon icon) {
  ::MessageBoxW(nullptr, text, caption, StyleOf(icon));
}

}  // namespace zevra
