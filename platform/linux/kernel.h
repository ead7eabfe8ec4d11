#ifndef ZEVRA_PLATFORM_LINUX_KERNEL_H
#define ZEVRA_PLATFORM_LINUX_KERNEL_H

#include "platform/linux/types.h"

// Handles stand for an event, a timer or a thread. A null or closed handle fails every operation
// with ERROR_INVALID_HANDLE; a closed one is recognised also after its slot has been used again.
// All operations may be called on any thread. A failed one leaves its code in GetLastError, which
// each thread has for itself.

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;

struct SECURITY_ATTRIBUTES;
using PTHREAD_START_ROUTINE = DWORD (*)(LPVOID argument);
using PTIMERAPCROUTINE = void (*)(LPVOID argument, DWORD low, DWORD high);

DWORD GetLastError();
void SetLastError(DWORD code);

// Null on failure. Security and name must be null.
HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    LPCWSTR name);
// Signals do not pile up: an auto-reset event set twice ends one wait.
BOOL SetEvent(HANDLE event);

// The thread starts at once; its handle becomes signalled when it has ended and stays so. Closing
// the handle of a running thread lets it run on.
HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stack_bytes,
                    PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* thread_id);
DWORD GetCurrentThreadId();

// `due_time` is negative, in 100-ns units from now; `period_ms` of 0 is a single shot. Ticks that
// nobody has waited for do not pile up. No completion routine, no resume.
HANDLE CreateWaitableTimerW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name);
BOOL SetWaitableTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
                      PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume);
BOOL CancelWaitableTimer(HANDLE timer);

// WAIT_OBJECT_0 plus the lowest signalled index, WAIT_TIMEOUT or WAIT_FAILED. Only waiting for any
// of the handles is known. An interrupted wait goes on with what is left of its time.
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms);
DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms);

BOOL CloseHandle(HANDLE handle);
void Sleep(DWORD milliseconds);

// Puts the calling thread into a scheduling class until it ends; `task_index` is 0 at first. Not
// null on success. On Linux real-time scheduling where the user may have it, else ordinary.
HANDLE AvSetMmThreadCharacteristicsW(LPCWSTR task_name, DWORD* task_index);

#endif
