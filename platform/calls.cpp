#include "platform/calls.h"

namespace zevra::os {

HRESULT CoInitialize(LPVOID reserved) { return ::CoInitialize(reserved); }

void CoUninitialize() { ::CoUninitialize(); }

HRESULT CoCreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                         void** object) {
  return ::CoCreateInstance(class_id, outer, context, iid, object);
}

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    LPCWSTR name) {
  return ::CreateEventW(security, manual_reset, initial_state, name);
}

BOOL SetEvent(HANDLE event) { return ::SetEvent(event); }

HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stack_bytes,
                    PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* thread_id) {
  return ::CreateThread(security, stack_bytes, entry, argument, flags, thread_id);
}

HANDLE CreateWaitableTimerW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name) {
  return ::CreateWaitableTimerW(security, manual_reset, name);
}

BOOL SetWaitableTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
                      PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume) {
  return ::SetWaitableTimer(timer, due_time, period_ms, completion, argument, resume);
}

BOOL CancelWaitableTimer(HANDLE timer) { return ::CancelWaitableTimer(timer); }

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms) {
  return ::WaitForMultipleObjects(count, handles, wait_all, timeout_ms);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms) {
  return ::WaitForSingleObject(handle, timeout_ms);
}

BOOL CloseHandle(HANDLE handle) { return ::CloseHandle(handle); }

DWORD GetLastError() { return ::GetLastError(); }

void Sleep(DWORD milliseconds) { ::Sleep(milliseconds); }

HANDLE AvSetMmThreadCharacteristicsW(LPCWSTR task_name, DWORD* task_index) {
  return ::AvSetMmThreadCharacteristicsW(task_name, task_index);
}

HRESULT MFStartup(ULONG version, DWORD flags) { return ::MFStartup(version, flags); }

HRESULT MFShutdown() { return ::MFShutdown(); }

HRESULT MFCreateMediaType(IMFMediaType** type) { return ::MFCreateMediaType(type); }

HRESULT MFCreateSample(IMFSample** sample) { return ::MFCreateSample(sample); }

HRESULT MFCreateMemoryBuffer(DWORD bytes, IMFMediaBuffer** buffer) {
  return ::MFCreateMemoryBuffer(bytes, buffer);
}

}  // namespace zevra::os
