#include "support/replaceable_calls.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace zevra::test {
namespace {

struct Entry {
  GUID class_id;
  ClassFactory factory;
};

std::mutex table_mutex;

std::vector<Entry>& Table() {
  static std::vector<Entry> table;
  return table;
}

// Empty if the class is the system's. The latest registration wins.
ClassFactory FindFactory(REFCLSID class_id) {
  const std::lock_guard hold(table_mutex);
  const auto& table = Table();
  const auto found = std::find_if(table.rbegin(), table.rend(), [&](const Entry& entry) {
    return IsEqualGUID(entry.class_id, class_id);
  });
  return found != table.rend() ? found->factory : ClassFactory();
}

constexpr Operations kSystem = {
    .CoInitialize = ::CoInitialize,
    .CoUninitialize = ::CoUninitialize,
    .CreateEventW = ::CreateEventW,
    .SetEvent = ::SetEvent,
    .CreateThread = ::CreateThread,
    .CreateWaitableTimerW = ::CreateWaitableTimerW,
    .SetWaitableTimer = ::SetWaitableTimer,
    .CancelWaitableTimer = ::CancelWaitableTimer,
    .WaitForMultipleObjects = ::WaitForMultipleObjects,
    .WaitForSingleObject = ::WaitForSingleObject,
    .CloseHandle = ::CloseHandle,
    .GetLastError = ::GetLastError,
    .Sleep = ::Sleep,
    .AvSetMmThreadCharacteristicsW = ::AvSetMmThreadCharacteristicsW,
    .MFStartup = ::MFStartup,
    .MFShutdown = ::MFShutdown,
    .MFCreateMediaType = ::MFCreateMediaType,
    .MFCreateSample = ::MFCreateSample,
    .MFCreateMemoryBuffer = ::MFCreateMemoryBuffer,
};

std::atomic<const Operations*> in_use{&kSystem};

const Operations& InUse() { return *in_use.load(std::memory_order_acquire); }

// The system itself is asked, by way of a class that it does not know: on Windows a thread may
// create objects without a CoInitialize of its own once another thread has made the multithreaded
// apartment.
bool ComIsInitialized() {
  void* object = nullptr;
  return ::CoCreateInstance(GUID{}, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &object) !=
         CO_E_NOTINITIALIZED;
}

}  // namespace

const Operations& SystemOperations() { return kSystem; }

void ReplaceOperations(const Operations* operations) {
  in_use.store(operations != nullptr ? operations : &kSystem, std::memory_order_release);
}

ClassRegistration::ClassRegistration(REFCLSID class_id, ClassFactory factory)
    : class_id_(class_id) {
  const std::lock_guard hold(table_mutex);
  Table().push_back({class_id, std::move(factory)});
}

ClassRegistration::~ClassRegistration() {
  const std::lock_guard hold(table_mutex);
  auto& table = Table();
  for (auto entry = table.end(); entry != table.begin();) {
    if (IsEqualGUID((--entry)->class_id, class_id_)) {
      table.erase(entry);
      return;
    }
  }
}

}  // namespace zevra::test

namespace zevra::os {

HRESULT CoCreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                         void** object) {
  *object = nullptr;
  const test::ClassFactory factory = test::FindFactory(class_id);
  if (!factory) return ::CoCreateInstance(class_id, outer, context, iid, object);
  if (!test::ComIsInitialized()) return CO_E_NOTINITIALIZED;
  return outer != nullptr ? CLASS_E_NOAGGREGATION : factory(iid, object);
}

HRESULT CoInitialize(LPVOID reserved) { return test::InUse().CoInitialize(reserved); }

void CoUninitialize() { test::InUse().CoUninitialize(); }

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    LPCWSTR name) {
  return test::InUse().CreateEventW(security, manual_reset, initial_state, name);
}

BOOL SetEvent(HANDLE event) { return test::InUse().SetEvent(event); }

HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stack_bytes,
                    PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* thread_id) {
  return test::InUse().CreateThread(security, stack_bytes, entry, argument, flags, thread_id);
}

HANDLE CreateWaitableTimerW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name) {
  return test::InUse().CreateWaitableTimerW(security, manual_reset, name);
}

BOOL SetWaitableTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
                      PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume) {
  return test::InUse().SetWaitableTimer(timer, due_time, period_ms, completion, argument, resume);
}

BOOL CancelWaitableTimer(HANDLE timer) { return test::InUse().CancelWaitableTimer(timer); }

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms) {
  return test::InUse().WaitForMultipleObjects(count, handles, wait_all, timeout_ms);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms) {
  return test::InUse().WaitForSingleObject(handle, timeout_ms);
}

BOOL CloseHandle(HANDLE handle) { return test::InUse().CloseHandle(handle); }

DWORD GetLastError() { return test::InUse().GetLastError(); }

void Sleep(DWORD milliseconds) { test::InUse().Sleep(milliseconds); }

HANDLE AvSetMmThreadCharacteristicsW(LPCWSTR task_name, DWORD* task_index) {
  return test::InUse().AvSetMmThreadCharacteristicsW(task_name, task_index);
}

HRESULT MFStartup(ULONG version, DWORD flags) { return test::InUse().MFStartup(version, flags); }

HRESULT MFShutdown() { return test::InUse().MFShutdown(); }

HRESULT MFCreateMediaType(IMFMediaType** type) { return test::InUse().MFCreateMediaType(type); }

HRESULT MFCreateSample(IMFSample** sample) { return test::InUse().MFCreateSample(sample); }

HRESULT MFCreateMemoryBuffer(DWORD bytes, IMFMediaBuffer** buffer) {
  return test::InUse().MFCreateMemoryBuffer(bytes, buffer);
}

}  // namespace zevra::os
