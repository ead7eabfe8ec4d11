#ifndef ZEVRA_TESTS_SUPPORT_REPLACEABLE_CALLS_H
#define ZEVRA_TESTS_SUPPORT_REPLACEABLE_CALLS_H

#include <functional>
#include <list>
#include <utility>

#include "platform/calls.h"

// The tests' side of platform/calls.h: functions and classes in the place of the system's.

namespace zevra::test {

// The functions of calls.h but for CoCreateInstance and GetLastError.
#define ZEVRA_REPLACEABLE_CALLS(CALL)                                                             \
  CALL(HRESULT, CoInitialize, (LPVOID reserved), (reserved))                                      \
  CALL(void, CoUninitialize, (), ())                                                              \
  CALL(HANDLE, CreateEventW,                                                                      \
       (SECURITY_ATTRIBUTES * security, BOOL manual_reset, BOOL initial_state, LPCWSTR name),     \
       (security, manual_reset, initial_state, name))                                             \
  CALL(BOOL, SetEvent, (HANDLE event), (event))                                                   \
  CALL(HANDLE, CreateThread,                                                                      \
       (SECURITY_ATTRIBUTES * security, std::size_t stack_bytes, PTHREAD_START_ROUTINE entry,     \
        LPVOID argument, DWORD flags, DWORD * thread_id),                                         \
       (security, stack_bytes, entry, argument, flags, thread_id))                                \
  CALL(HANDLE, CreateWaitableTimerW,                                                              \
       (SECURITY_ATTRIBUTES * security, BOOL manual_reset, LPCWSTR name),                         \
       (security, manual_reset, name))                                                            \
  CALL(BOOL, SetWaitableTimer,                                                                    \
       (HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms, PTIMERAPCROUTINE completion, \
        LPVOID argument, BOOL resume),                                                            \
       (timer, due_time, period_ms, completion, argument, resume))                                \
  CALL(BOOL, CancelWaitableTimer, (HANDLE timer), (timer))                                        \
  CALL(DWORD, WaitForMultipleObjects,                                                             \
       (DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms),                     \
       (count, handles, wait_all, timeout_ms))                                                    \
  CALL(DWORD, WaitForSingleObject, (HANDLE handle, DWORD timeout_ms), (handle, timeout_ms))       \
  CALL(BOOL, CloseHandle, (HANDLE handle), (handle))                                              \
  CALL(void, Sleep, (DWORD milliseconds), (milliseconds))                                         \
  CALL(HANDLE, AvSetMmThreadCharacteristicsW, (LPCWSTR task_name, DWORD * task_index),            \
       (task_name, task_index))                                                                   \
  CALL(HRESULT, MFStartup, (ULONG version, DWORD flags), (version, flags))                        \
  CALL(HRESULT, MFShutdown, (), ())                                                               \
  CALL(HRESULT, MFCreateMediaType, (IMFMediaType * *type), (type))                                \
  CALL(HRESULT, MFCreateSample, (IMFSample * *sample), (sample))                                  \
  CALL(HRESULT, MFCreateMemoryBuffer, (DWORD bytes, IMFMediaBuffer * *buffer), (bytes, buffer))

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
