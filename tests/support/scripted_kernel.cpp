#include <algorithm>
#include <string>
#include <string_view>
#include <type_traits>

#include "support/scripted_mf.h"
#include "support/scripted_platform.h"

namespace zevra::test {
namespace {

template <std::size_t Size>
struct Name {
  char text[Size];
  // NOLINTNEXTLINE(google-explicit-constructor): a literal stands for it
  consteval Name(const char (&name)[Size]) { std::copy_n(name, Size, text); }
};

// In the place of a failing result: the call always goes through.
struct Never {};

// What the journal says of a call beside its name.
template <class... Arguments>
std::string Detail(const Arguments&...) {
  return {};
}
std::string Detail(HANDLE, const LARGE_INTEGER* due, LONG period, PTIMERAPCROUTINE, LPVOID, BOOL) {
  return std::to_string(due->QuadPart) + " " + std::to_string(period);
}
std::string Detail(DWORD count, const HANDLE* handles, BOOL, DWORD) {
  std::string kinds;
  for (DWORD i = 0; i < count; ++i)
    kinds += (i == 0 ? "" : " ") + CurrentScript().KindOfHandle(handles[i]);
  return kinds;
}

// Notes the call, then passes it on to the system or gives `failure` where it is told to fail.
template <Name name, auto member, auto failure, class Result, class... Arguments>
Result Tap(Arguments... arguments) {
  const bool fails = CurrentScript().FailsWithLastError(name.text, Detail(arguments...));
  if constexpr (!std::is_same_v<std::remove_cv_t<decltype(failure)>, Never>)
    if (fails) return failure;
  if constexpr (std::string_view(name.text).starts_with("Create")) {
    HANDLE const handle = (SystemOperations().*member)(arguments...);
    if (handle != nullptr) CurrentScript().AddHandle(handle, name.text);
    return handle;
  } else {
    return (SystemOperations().*member)(arguments...);
  }
}

BOOL Close(HANDLE handle) {
  CurrentScript().Fails("CloseHandle");
  CurrentScript().RemoveHandle(handle);
  return SystemOperations().CloseHandle(handle);
}

void ShortSleep(DWORD milliseconds) {
  ScriptedPlatform& script = CurrentScript();
  script.Fails("Sleep", std::to_string(milliseconds));
  SystemOperations().Sleep(script.sleep_for_real ? milliseconds : 1);
}

using O = Operations;
constexpr Operations kTapped = {
    .CoInitialize = Tap<"CoInitialize", &O::CoInitialize, kFailure>,
    .CoUninitialize = Tap<"CoUninitialize", &O::CoUninitialize, Never{}>,
    .CreateEventW = Tap<"CreateEventW", &O::CreateEventW, nullptr>,
    .SetEvent = Tap<"SetEvent", &O::SetEvent, Never{}>,
    .CreateThread = Tap<"CreateThread", &O::CreateThread, nullptr>,
    .CreateWaitableTimerW = Tap<"CreateWaitableTimerW", &O::CreateWaitableTimerW, nullptr>,
    .SetWaitableTimer = Tap<"SetWaitableTimer", &O::SetWaitableTimer, FALSE>,
    .CancelWaitableTimer = Tap<"CancelWaitableTimer", &O::CancelWaitableTimer, Never{}>,
    .WaitForMultipleObjects =
        Tap<"WaitForMultipleObjects", &O::WaitForMultipleObjects, WAIT_FAILED>,
    .WaitForSingleObject = Tap<"WaitForSingleObject", &O::WaitForSingleObject, Never{}>,
    .CloseHandle = Close,
    .GetLastError = ::GetLastError,
    .Sleep = ShortSleep,
    .AvSetMmThreadCharacteristicsW =
        Tap<"AvSetMmThreadCharacteristicsW", &O::AvSetMmThreadCharacteristicsW, nullptr>,
    .MFStartup = Tap<"MFStartup", &O::MFStartup, kFailure>,
    .MFShutdown = Tap<"MFShutdown", &O::MFShutdown, Never{}>,
    .MFCreateMediaType = CreateScriptedMediaType,
    .MFCreateSample = CreateScriptedSample,
    .MFCreateMemoryBuffer = CreateScriptedBuffer,
};

}  // namespace

const Operations& ScriptedOperations() { return kTapped; }

}  // namespace zevra::test
