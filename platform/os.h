#ifndef ZEVRA_PLATFORM_OS_H
#define ZEVRA_PLATFORM_OS_H

#include "platform/com.h"
#include "platform/kernel.h"
#include "platform/media_foundation.h"

namespace zevra {

// The system's free functions that the logic calls, under their own names. They stand in a table
// so that a test can make any one of them fail, on both systems in the same way; what each does is
// told where the platform declares it.
struct Operations {
  decltype(&::CoInitialize) CoInitialize;
  decltype(&::CoUninitialize) CoUninitialize;

  decltype(&::CreateEventW) CreateEventW;
  decltype(&::SetEvent) SetEvent;
  decltype(&::CreateThread) CreateThread;
  decltype(&::CreateWaitableTimerW) CreateWaitableTimerW;
  decltype(&::SetWaitableTimer) SetWaitableTimer;
  decltype(&::CancelWaitableTimer) CancelWaitableTimer;
  decltype(&::WaitForMultipleObjects) WaitForMultipleObjects;
  decltype(&::WaitForSingleObject) WaitForSingleObject;
  decltype(&::CloseHandle) CloseHandle;
  decltype(&::GetLastError) GetLastError;
  decltype(&::Sleep) Sleep;
  decltype(&::AvSetMmThreadCharacteristicsW) AvSetMmThreadCharacteristicsW;

  decltype(&::MFStartup) MFStartup;
  decltype(&::MFShutdown) MFShutdown;
  decltype(&::MFCreateMediaType) MFCreateMediaType;
  decltype(&::MFCreateSample) MFCreateSample;
  decltype(&::MFCreateMemoryBuffer) MFCreateMemoryBuffer;
};

// The system's own functions.
const Operations& SystemOperations();

// What the logic calls: the system's, unless a test has put others in their place.
const Operations& Os();

// Puts `operations` in the place of the system's, or the system's back for null. `operations` must
// outlive its use; call it while no stream runs.
void ReplaceOperations(const Operations* operations);

}  // namespace zevra

namespace zevra {
}  // namespace zevra

#endif
