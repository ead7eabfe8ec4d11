#include "windows/import_table.h"

#include <cstring>

namespace zevra::test {
namespace {

template <class T>
T* At(HMODULE module, DWORD offset) {
  return reinterpret_cast<T*>(reinterpret_cast<BYTE*>(module) + offset);
}

bool Write(IMAGE_THUNK_DATA& entry, void* function) {
  DWORD before = 0;
  if (::VirtualProtect(&entry, sizeof entry, PAGE_READWRITE, &before) == FALSE) return false;
  entry.u1.Function = reinterpret_cast<ULONG_PTR>(function);
  return ::VirtualProtect(&entry, sizeof entry, before, &before) != FALSE;
}

}  // namespace

bool RedirectImport(HMODULE module, const char* name, void* function) {
  const auto* const dos = At<IMAGE_DOS_HEADER>(module, 0);
  const auto* const headers = At<IMAGE_NT_HEADERS>(module, static_cast<DWORD>(dos->e_lfanew));
  const DWORD table =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(module, table); library->Name != 0; ++library) {
    const auto* names = At<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
    auto* entry = At<IMAGE_THUNK_DATA>(module, library->FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++entry) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      const auto offset = static_cast<DWORD>(names->u1.AddressOfData);
      if (std::strcmp(At<IMAGE_IMPORT_BY_NAME>(module, offset)->Name, name) == 0)
        return Write(*entry, function);
    }
  }
  return false;
}

}  // namespace zevra::test
