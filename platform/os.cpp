#include "platform/os.h"

#include <atomic>

namespace zevra {
namespace {

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

}  // namespace

const Operations& SystemOperations() { return kSystem; }

const Operations& Os() { return *in_use.load(std::memory_order_acquire); }

void ReplaceOperations(const Operations* operations) {
  in_use.store(operations != nullptr ? operations : &kSystem, std::memory_order_release);
}

}  // namespace zevra
