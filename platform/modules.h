#ifndef ZEVRA_PLATFORM_MODULES_H
#define ZEVRA_PLATFORM_MODULES_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace zevra {

// A loaded module as the system's loader knows it, or one of the two values below.
using ModuleHandle = std::intptr_t;
constexpr ModuleHandle kThisLibrary = -1;
constexpr ModuleHandle kExecutable = 0;

// Writes the full path of a module into `buffer` of `size` bytes. Returns its length; 0, with an
// empty buffer, if there is no such module or the path does not fit. Any thread.
std::size_t ModulePath(ModuleHandle module, char* buffer, std::size_t size);

// The same for the module that `address` lies in: a host can learn where a library of its lies.
std::size_t ModulePathOfAddress(const void* address, char* buffer, std::size_t size);

// Keeps this library loaded to the end of the process, however often its host gives it back. (On
// Linux it was linked so.) Any thread.
void KeepThisLibrary();

// The file version in the version block of the file at `path`; empty where there is none, which is
// always so on Linux. Any thread.
std::string FileVersionText(const char* path);

}  // namespace zevra

#endif
