#include <string>

#include "support/scripted_mf.h"
#include "support/scripted_platform.h"

namespace zevra::test {
namespace {

const Operations& System() { return SystemOperations(); }

HANDLE Counted(HANDLE handle) {
  if (handle != nullptr) CurrentScript().CountHandle(1);
  return handle;
}

HRESULT Initialize(LPVOID reserved) {
  return CurrentScript().Fails("CoInitialize") ? kFailure : System().CoInitialize(reserved);
}

void Uninitialize() {
  CurrentScript().Fails("CoUninitialize");
  System().CoUninitialize();
}

HANDLE CreateEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL initial, LPCWSTR name) {
  if (CurrentScript().FailsWithLastError("CreateEventW")) return nullptr;
  return Counted(System().CreateEventW(security, manual, initial, name));
}

BOOL SetEventTapped(HANDLE event) {
  CurrentScript().Fails("SetEvent");
  return System().SetEvent(event);
}

HANDLE CreateThreadTapped(SECURITY_ATTRIBUTES* security, std::size_t stack,
                          PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* id) {
  if (CurrentScript().FailsWithLastError("CreateThread")) return nullptr;
  return Counted(System().CreateThread(security, stack, entry, argument, flags, id));
}

HANDLE CreateTimer(SECURITY_ATTRIBUTES* security, BOOL manual, LPCWSTR name) {
  if (CurrentScript().FailsWithLastError("CreateWaitableTimerW")) return nullptr;
  return Counted(System().CreateWaitableTimerW(security, manual, name));
}

BOOL SetTimerTapped(HANDLE timer, const LARGE_INTEGER* due, LONG period, PTIMERAPCROUTINE routine,
                    LPVOID argument, BOOL resume) {
  const std::string detail = std::to_string(due->QuadPart) + " " + std::to_string(period);
  if (CurrentScript().FailsWithLastError("SetWaitableTimer", detail)) return FALSE;
  return System().SetWaitableTimer(timer, due, period, routine, argument, resume);
}

BOOL CancelTimer(HANDLE timer) {
  CurrentScript().Fails("CancelWaitableTimer");
  return System().CancelWaitableTimer(timer);
}

DWORD WaitForAny(DWORD count, const HANDLE* handles, BOOL all, DWORD timeout) {
  if (CurrentScript().FailsWithLastError("WaitForMultipleObjects")) return WAIT_FAILED;
  return System().WaitForMultipleObjects(count, handles, all, timeout);
}

DWORD WaitForOne(HANDLE handle, DWORD timeout) {
  CurrentScript().Fails("WaitForSingleObject");
  return System().WaitForSingleObject(handle, timeout);
}

BOOL Close(HANDLE handle) {
  CurrentScript().Fails("CloseHandle");
  const BOOL closed = System().CloseHandle(handle);
  if (closed != FALSE) CurrentScript().CountHandle(-1);
  return closed;
}

void SleepTapped(DWORD milliseconds) {
  ScriptedPlatform& script = CurrentScript();
  script.Fails("Sleep", std::to_string(milliseconds));
  System().Sleep(script.sleep_for_real ? milliseconds : 1);
}

HANDLE SetThreadClass(LPCWSTR task, DWORD* index) {
  if (CurrentScript().FailsWithLastError("AvSetMmThreadCharacteristicsW")) return nullptr;
  return System().AvSetMmThreadCharacteristicsW(task, index);
}

HRESULT StartMediaFoundation(ULONG version, DWORD flags) {
  return CurrentScript().Fails("MFStartup") ? kFailure : System().MFStartup(version, flags);
}

HRESULT ShutDownMediaFoundation() {
  CurrentScript().Fails("MFShutdown");
  return System().MFShutdown();
}

constexpr Operations kTapped = {
    .CoInitialize = Initialize,
    .CoUninitialize = Uninitialize,
    .CreateEventW = CreateEvent,
    .SetEvent = SetEventTapped,
    .CreateThread = CreateThreadTapped,
    .CreateWaitableTimerW = CreateTimer,
    .SetWaitableTimer = SetTimerTapped,
    .CancelWaitableTimer = CancelTimer,
    .WaitForMultipleObjects = WaitForAny,
    .WaitForSingleObject = WaitForOne,
    .CloseHandle = Close,
    .GetLastError = ::GetLastError,
    .Sleep = SleepTapped,
    .AvSetMmThreadCharacteristicsW = SetThreadClass,
    .MFStartup = StartMediaFoundation,
    .MFShutdown = ShutDownMediaFoundation,
    .MFCreateMediaType = CreateScriptedMediaType,
    .MFCreateSample = CreateScriptedSample,
    .MFCreateMemoryBuffer = CreateScriptedBuffer,
};

}  // namespace

const Operations& ScriptedOperations() { return kTapped; }

}  // namespace zevra::test
