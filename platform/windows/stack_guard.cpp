// What the compiler's stack protector calls. Its own library asks a cryptographic provider for the
// guard's value while the DLL is loading, under the loader's lock: that loads further DLLs there,
// and it fails where the provider is not set up.

#include <windows.h>

#include <cstdint>

// The names are the compiler's.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl*,readability-identifier-naming)
extern "C" {

std::uintptr_t __stack_chk_guard = 0;

[[noreturn]] void __stack_chk_fail() {
  constexpr UINT kStackBufferOverrun = 0xC0000409;
  ::TerminateProcess(::GetCurrentProcess(), kStackBufferOverrun);
  __builtin_trap();
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl*,readability-identifier-naming)

namespace {

// Hard to guess from outside: two clocks, the ids, and where the loader put stack and library.
__attribute__((constructor, no_stack_protector)) void SetGuard() {
  LARGE_INTEGER counter{};
  FILETIME time{};
  ::QueryPerformanceCounter(&counter);
  ::GetSystemTimeAsFileTime(&time);
  std::uint64_t value = static_cast<std::uint64_t>(counter.QuadPart);
  const std::uint64_t sources[] = {
      std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime,
      std::uint64_t{::GetCurrentProcessId()} << 32 | ::GetCurrentThreadId(),
      reinterpret_cast<std::uintptr_t>(&counter),
      reinterpret_cast<std::uintptr_t>(&__stack_chk_guard),
  };
  for (const std::uint64_t source : sources)
    value = (value ^ source ^ value >> 29) * 0x9E3779B97F4A7C15;
  // Its lowest byte, the first in memory, is zero, so that no text that is copied too far holds it.
  __stack_chk_guard = value << 8;
}

}  // namespace
