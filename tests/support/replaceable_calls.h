#ifndef ZEVRA_TESTS_SUPPORT_REPLACEABLE_CALLS_H
#define ZEVRA_TESTS_SUPPORT_REPLACEABLE_CALLS_H

#include <functional>
#include <list>
#include <utility>

#include "platform/calls.h"

// The tests' side of platform/calls.h: functions and classes in the place of the system's.

namespace zevra::test {

// The functions of calls.h but for CoCreateInstance and GetLastError. Their arguments are only
// passed on.
#define ZEVRA_REPLACEABLE_CALLS(CALL)                                                            \
  CALL(HRESULT, CoInitialize, (LPVOID a), (a))                                                   \
  CALL(void, CoUninitialize, (), ())                                                             \
  CALL(HANDLE, CreateEventW, (SECURITY_ATTRIBUTES * a, BOOL b, BOOL c, LPCWSTR d), (a, b, c, d)) \
  CALL(BOOL, SetEvent, (HANDLE a), (a))                                                          \
  CALL(HANDLE, CreateThread,                                                                     \
       (SECURITY_ATTRIBUTES * a, std::size_t b, PTHREAD_START_ROUTINE c, LPVOID d, DWORD e,      \
        DWORD * f),                                                                              \
       (a, b, c, d, e, f))                                                                       \
  CALL(HANDLE, CreateWaitableTimerW, (SECURITY_ATTRIBUTES * a, BOOL b, LPCWSTR c), (a, b, c))    \
  CALL(BOOL, SetWaitableTimer,                                                                   \
       (HANDLE a, const LARGE_INTEGER* b, LONG c, PTIMERAPCROUTINE d, LPVOID e, BOOL f),         \
       (a, b, c, d, e, f))                                                                       \
  CALL(BOOL, CancelWaitableTimer, (HANDLE a), (a))                                               \
  CALL(DWORD, WaitForMultipleObjects, (DWORD a, const HANDLE* b, BOOL c, DWORD d), (a, b, c, d)) \
  CALL(DWORD, WaitForSingleObject, (HANDLE a, DWORD b), (a, b))                                  \
  CALL(BOOL, CloseHandle, (HANDLE a), (a))                                                       \
  CALL(void, Sleep, (DWORD a), (a))                                                              \
  CALL(HANDLE, AvSetMmThreadCharacteristicsW, (LPCWSTR a, DWORD * b), (a, b))                    \
  CALL(HRESULT, MFStartup, (ULONG a, DWORD b), (a, b))                                           \
  CALL(HRESULT, MFShutdown, (), ())                                                              \
  CALL(HRESULT, MFCreateMediaType, (IMFMediaType * *a), (a))                                     \
  CALL(HRESULT, MFCreateSample, (IMFSample * *a), (a))                                           \
  CALL(HRESULT, MFCreateMemoryBuffer, (DWORD a, IMFMediaBuffer * *b), (a, b))

// A table of them, the system's own to begin with.
struct Operations {
// NOLINTNEXTLINE(bugprone-macro-parentheses): it declares a member
#define ZEVRA_MEMBER(result, name, parameters, arguments) decltype(&os::name) name = ::name;
  ZEVRA_REPLACEABLE_CALLS(ZEVRA_MEMBER)
#undef ZEVRA_MEMBER
};

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
  ClassRegistration(REFCLSID class_id, ClassFactory factory)
      : entry_(Table().insert(Table().begin(), {class_id, std::move(factory)})) {}
  ~ClassRegistration() { Table().erase(entry_); }
  ClassRegistration(const ClassRegistration&) = delete;
  ClassRegistration& operator=(const ClassRegistration&) = delete;

  // Latest first.
  static std::list<std::pair<CLSID, ClassFactory>>& Table();

 private:
  std::list<std::pair<CLSID, ClassFactory>>::iterator entry_;
};

}  // namespace zevra::test

#endif
