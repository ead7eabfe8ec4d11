#ifndef ZEVRA_PLATFORM_LOCKS_H
#define ZEVRA_PLATFORM_LOCKS_H

#include <cstdint>

namespace zevra {

// A lock within one process. The thread that holds it may take it again.
struct CriticalSection;
CriticalSection* NewCriticalSection();
void DeleteCriticalSection(CriticalSection* section);
void EnterCriticalSection(CriticalSection* section);
void LeaveCriticalSection(CriticalSection* section);

// A lock by name between processes (on Linux those of one user). It belongs to the thread that took
// it. If it is closed while held, or its process ends, the next waiter gets it.
struct NamedMutex;
constexpr std::uint32_t kWaitForEver = 0xFFFFFFFF;

// Opens the mutex of that name, creating it if need be; a null name makes one that nobody else can
// reach. On failure `error` has the system's code. The mutex is then null or, on Linux, one that
// only the threads of this process share.
NamedMutex* OpenNamedMutex(const char* name, int& error);
void CloseNamedMutex(NamedMutex* mutex);

// 0 for every outcome of the wait, a time-out included; the system's error code if the wait failed,
// as it does for a null mutex.
int AcquireNamedMutex(NamedMutex* mutex, std::uint32_t timeout_ms);
void ReleaseNamedMutex(NamedMutex* mutex);

// Has every fork of this process call these: `before` on the thread that forks, the other two after
// it, the last in the child, which has that thread alone. On Windows nothing forks.
void AtFork(void (*before)(), void (*in_parent)(), void (*in_child)());

// While it lives, the thread cannot be cancelled (Linux): nothing here unwinds halfway.
class NoCancellation {
 public:
  NoCancellation();
  ~NoCancellation();
  NoCancellation(const NoCancellation&) = delete;
  NoCancellation& operator=(const NoCancellation&) = delete;

 private:
  int before_ = 0;
};

}  // namespace zevra

#endif
