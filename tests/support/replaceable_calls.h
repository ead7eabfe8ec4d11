#ifndef ZEVRA_TESTS_SUPPORT_REPLACEABLE_CALLS_H
#define ZEVRA_TESTS_SUPPORT_REPLACEABLE_CALLS_H

#include <functional>

#include "platform/calls.h"

// The tests' side of platform/calls.h: a table in the place of the system's functions, and classes
// in the place of the system's.

namespace zevra::test {

struct Operations {
  decltype(&os::CoInitialize) CoInitialize;
  decltype(&os::CoUninitialize) CoUninitialize;
  decltype(&os::CreateEventW) CreateEventW;
  decltype(&os::SetEvent) SetEvent;
  decltype(&os::CreateThread) CreateThread;
  decltype(&os::CreateWaitableTimerW) CreateWaitableTimerW;
  decltype(&os::SetWaitableTimer) SetWaitableTimer;
  decltype(&os::CancelWaitableTimer) CancelWaitableTimer;
  decltype(&os::WaitForMultipleObjects) WaitForMultipleObjects;
  decltype(&os::WaitForSingleObject) WaitForSingleObject;
  decltype(&os::CloseHandle) CloseHandle;
  decltype(&os::GetLastError) GetLastError;
  decltype(&os::Sleep) Sleep;
  decltype(&os::AvSetMmThreadCharacteristicsW) AvSetMmThreadCharacteristicsW;
  decltype(&os::MFStartup) MFStartup;
  decltype(&os::MFShutdown) MFShutdown;
  decltype(&os::MFCreateMediaType) MFCreateMediaType;
  decltype(&os::MFCreateSample) MFCreateSample;
  decltype(&os::MFCreateMemoryBuffer) MFCreateMemoryBuffer;
};

// The system's own functions.
const Operations& SystemOperations();

// Puts `operations` in the place of the system's, or the system's back for null. `operations` must
// outlive its use; call it while no stream runs.
void ReplaceOperations(const Operations* operations);

// Gives a reference for `iid` in `*object`, or a negative code and null. Called on the thread that
// creates the object.
using ClassFactory = std::function<HRESULT(REFIID iid, void** object)>;

// Puts a class in the place of the system's class of that id for the life of this object; the
// latest registration wins. Make and destroy one while no other thread creates objects.
class ClassRegistration {
 public:
  ClassRegistration(REFCLSID class_id, ClassFactory factory);
  ~ClassRegistration();
  ClassRegistration(const ClassRegistration&) = delete;
  ClassRegistration& operator=(const ClassRegistration&) = delete;

 private:
  GUID class_id_;
};

}  // namespace zevra::test

#endif
