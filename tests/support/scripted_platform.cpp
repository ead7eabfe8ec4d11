#include "support/scripted_platform.h"

#include <string_view>
#include <type_traits>

namespace zevra::test {
namespace {

ScriptedPlatform* current = nullptr;

// What the journal says of a call beside its name.
template <class... Arguments>
std::string Detail(const Arguments&...) {
  return {};
}
std::string Detail(HANDLE, const LARGE_INTEGER* due, LONG period, PTIMERAPCROUTINE, LPVOID, BOOL) {
  return std::to_string(due->QuadPart) + " " + std::to_string(period);
}

// Records a call, then makes it, or gives `failure` where it is told to fail.
template <class Result, class... Arguments>
Result Tap(const char* name, Result (*system)(Arguments...), std::type_identity_t<Result> failure,
           Arguments... arguments) {
  if (current->Fails(name, Detail(arguments...))) {
    ::SetLastError(kFailureError);
    return failure;
  }
  if (std::string_view(name).starts_with("Create")) ++current->open_handles;
  return system(arguments...);
}

#define ZEVRA_TAP(name, failure) \
  .name = [](auto... arguments) { return Tap(#name, ::name, failure, arguments...); }

constexpr Operations kTapped = {
    ZEVRA_TAP(CoInitialize, kFailure),
    .CoUninitialize =
        [] {
          current->Fails("CoUninitialize");
          ::CoUninitialize();
        },
    ZEVRA_TAP(CreateEventW, nullptr),
    ZEVRA_TAP(SetEvent, FALSE),
    ZEVRA_TAP(CreateThread, nullptr),
    ZEVRA_TAP(CreateWaitableTimerW, nullptr),
    ZEVRA_TAP(SetWaitableTimer, FALSE),
    ZEVRA_TAP(CancelWaitableTimer, FALSE),
    ZEVRA_TAP(WaitForMultipleObjects, WAIT_FAILED),
    ZEVRA_TAP(WaitForSingleObject, WAIT_FAILED),
    .CloseHandle =
        [](HANDLE handle) {
          current->Fails("CloseHandle");
          --current->open_handles;
          return ::CloseHandle(handle);
        },
    .Sleep =
        [](DWORD milliseconds) {
          current->Fails("Sleep", std::to_string(milliseconds));
          ::Sleep(current->sleep_for_real ? milliseconds : 1);
        },
    ZEVRA_TAP(AvSetMmThreadCharacteristicsW, nullptr),
    ZEVRA_TAP(MFStartup, kFailure),
    ZEVRA_TAP(MFShutdown, kFailure),
    .MFCreateMediaType = CreateScriptedMediaType,
    .MFCreateSample = CreateScriptedSample,
    .MFCreateMemoryBuffer = CreateScriptedBuffer,
};

}  // namespace

ScriptedPlatform& CurrentScript() { return *current; }

ScriptedPlatform::ScriptedPlatform()
    : Script(current != nullptr ? static_cast<const Script&>(*current) : Script{}),
      previous_(std::exchange(current, this)),
      endpoint_class_(CLSID_MMDeviceEnumerator, CreateScriptedEnumerator),
      resampler_class_(CLSID_CResamplerMediaObject, CreateScriptedResampler) {
  ReplaceOperations(&kTapped);
}

ScriptedPlatform::~ScriptedPlatform() {
  current = previous_;
  if (previous_ == nullptr) ReplaceOperations(nullptr);
}

void ScriptedPlatform::Fail(const std::string& call, int occurrence) {
  const std::lock_guard hold(mutex_);
  failures_[call] = occurrence;
}

bool ScriptedPlatform::Fails(const std::string& name, const std::string& detail) {
  const std::string side = std::this_thread::get_id() == host_ ? "host:" : "stream:";
  const std::lock_guard hold(mutex_);
  journal_.emplace_back(side, detail.empty() ? name : name + " " + detail);
  const int occurrence = ++counts_[side + name];
  const auto failure = failures_.find(side + name);
  return failure != failures_.end() && failure->second == occurrence;
}

std::vector<std::string> ScriptedPlatform::Journal(const std::string& side) const {
  const std::lock_guard hold(mutex_);
  std::vector<std::string> calls;
  for (const auto& [caller, call] : journal_)
    if (caller == side) calls.push_back(call);
  return calls;
}

std::map<std::string, int> ScriptedPlatform::Counts() const {
  const std::lock_guard hold(mutex_);
  return counts_;
}

}  // namespace zevra::test
