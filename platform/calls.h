#ifndef ZEVRA_PLATFORM_CALLS_H
#define ZEVRA_PLATFORM_CALLS_H

#include "platform/api.h"

// The system's functions as the logic calls them, under their own names. The library links
// calls.cpp, which passes each one on. The tests link replacements in its place, so that any of
// them can be made to fail without a trace of that in the library. What each function does is told
// where the platform declares it.

namespace zevra::os {

HRESULT CoInitialize(LPVOID reserved);
void CoUninitialize();
// `*object` is null on failure.
HRESULT CoCreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                         void** object);

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    LPCWSTR name);
BOOL SetEvent(HANDLE event);
HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stack_bytes,
                    PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* thread_id);
HANDLE CreateWaitableTimerW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name);
BOOL SetWaitableTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
                      PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume);
BOOL CancelWaitableTimer(HANDLE timer);
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms);
DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms);
BOOL CloseHandle(HANDLE handle);
DWORD GetLastError();
void Sleep(DWORD milliseconds);
HANDLE AvSetMmThreadCharacteristicsW(LPCWSTR task_name, DWORD* task_index);

HRESULT MFStartup(ULONG version, DWORD flags);
HRESULT MFShutdown();
HRESULT MFCreateMediaType(IMFMediaType** type);
HRESULT MFCreateSample(IMFSample** sample);
HRESULT MFCreateMemoryBuffer(DWORD bytes, IMFMediaBuffer** buffer);

}  // namespace zevra::os

#endif
