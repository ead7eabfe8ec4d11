#include "platform/modules.h"

#include <windows.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

namespace zevra {
namespace {

HMODULE ModuleAt(const void* address) {
  HMODULE module = nullptr;
  ::GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      static_cast<LPCSTR>(address), &module);
  return module;
}

// False where the code page of narrow paths lacks a character, or the buffer is too small.
bool Narrow(const wchar_t* path, char* buffer, std::size_t size) {
  // UTF-8 has every character, and takes no such question.
  const bool has_all = ::GetACP() == CP_UTF8;
  BOOL lossy = FALSE;
  return ::WideCharToMultiByte(CP_ACP, has_all ? 0 : WC_NO_BEST_FIT_CHARS, path, -1, buffer,
                               static_cast<int>(size), nullptr, has_all ? nullptr : &lossy) != 0 &&
         lossy == FALSE;
}

std::size_t PathOf(HMODULE module, char* buffer, std::size_t size) {
  std::array<wchar_t, MAX_PATH> path{};
  const DWORD length = ::GetModuleFileNameW(module, path.data(), MAX_PATH);
  if (length != 0 && length < MAX_PATH && Narrow(path.data(), buffer, size))
    return std::strlen(buffer);
  // The short form of a folder has letters and digits only, where the volume keeps one.
  const DWORD short_length = ::GetShortPathNameW(path.data(), path.data(), MAX_PATH);
  if (length < MAX_PATH && short_length != 0 && short_length < MAX_PATH &&
      Narrow(path.data(), buffer, size))
    return std::strlen(buffer);
  if (size != 0) buffer[0] = '\0';  // a path that was cut leads nowhere
  return 0;
}

}  // namespace

std::size_t ModulePath(ModuleHandle module, char* buffer, std::size_t size) {
  if (module == kThisLibrary)
    return ModulePathOfAddress(reinterpret_cast<const void*>(&ModulePath), buffer, size);
  return PathOf(reinterpret_cast<HMODULE>(module), buffer, size);
}

std::size_t ModulePathOfAddress(const void* address, char* buffer, std::size_t size) {
  return PathOf(ModuleAt(address), buffer, size);
}

void KeepThisLibrary() {
  HMODULE module = nullptr;
  ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCSTR>(&KeepThisLibrary), &module);
}

std::string FileVersionText(const char* path) {
  struct Translation {
    WORD language;
    WORD code_page;
  };
  std::string text;
  DWORD unused = 0;
  const DWORD size = ::GetFileVersionInfoSizeA(path, &unused);
  std::vector<char> block(size);
  Translation* pairs = nullptr;
  UINT bytes = 0;
  if (size == 0 || ::GetFileVersionInfoA(path, 0, size, block.data()) == 0 ||
      ::VerQueryValueA(block.data(), "\\VarFileInfo\\Translation", reinterpret_cast<void**>(&pairs),
                       &bytes) == 0)
    return text;
  for (UINT i = 0; i < bytes / sizeof(Translation); ++i) {
    std::array<char, 64> query{};
    std::snprintf(query.data(), query.size(), "\\StringFileInfo\\%04x%04x\\%s", pairs[i].language,
                  pairs[i].code_page, "FileVersion");
    char* answer = nullptr;
    UINT length = 0;
    if (::VerQueryValueA(block.data(), query.data(), reinterpret_cast<void**>(&answer), &length) !=
            0 &&
        answer != nullptr)
      text = answer;
  }
  return text;
}

}  // namespace zevra
