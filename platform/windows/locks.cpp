#include "platform/locks.h"

#include <windows.h>

namespace zevra {

struct CriticalSection {
  CRITICAL_SECTION section;
};

CriticalSection* NewCriticalSection() {
  auto* section = new CriticalSection;
  ::InitializeCriticalSection(&section->section);
  return section;
}

void DeleteCriticalSection(CriticalSection* section) {
  ::DeleteCriticalSection(&section->section);
  delete section;
}

void EnterCriticalSection(CriticalSection* section) { ::EnterCriticalSection(&section->section); }

void LeaveCriticalSection(CriticalSection* section) { ::LeaveCriticalSection(&section->section); }

namespace {

HANDLE HandleOf(NamedMutex* mutex) { return reinterpret_cast<HANDLE>(mutex); }

}  // namespace

NamedMutex* OpenNamedMutex(const char* name, int& error) {
  const HANDLE handle = ::CreateMutexA(nullptr, FALSE, name);
  error = handle != nullptr ? 0 : static_cast<int>(::GetLastError());
  return reinterpret_cast<NamedMutex*>(handle);
}

void CloseNamedMutex(NamedMutex* mutex) { ::CloseHandle(HandleOf(mutex)); }

int AcquireNamedMutex(NamedMutex* mutex, std::uint32_t timeout_ms) {
  const DWORD outcome = ::WaitForSingleObject(HandleOf(mutex), timeout_ms);
  return outcome == WAIT_FAILED ? static_cast<int>(::GetLastError()) : 0;
}

void ReleaseNamedMutex(NamedMutex* mutex) { ::ReleaseMutex(HandleOf(mutex)); }

void AtFork(void (*)(), void (*)(), void (*)()) {}

NoCancellation::NoCancellation() = default;

NoCancellation::~NoCancellation() { static_cast<void>(before_); }

}  // namespace zevra
