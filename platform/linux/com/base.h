#ifndef ZEVRA_PLATFORM_LINUX_COM_BASE_H
#define ZEVRA_PLATFORM_LINUX_COM_BASE_H

// What the logic uses of the Windows API below audio, under its names: types and results, kernel
// objects, COM.

#include <cstddef>
#include <cstdint>
#include <cstring>

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using UINT32 = std::uint32_t;
using UINT64 = std::uint64_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = std::int64_t;
using HRESULT = std::int32_t;
using HANDLE = void*;
using LPVOID = void*;
using WCHAR = char16_t;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;

union LARGE_INTEGER {
  LONGLONG QuadPart;
};

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool IsEqualGUID(REFGUID a, REFGUID b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool operator==(REFGUID a, REFGUID b) { return IsEqualGUID(a, b); }

constexpr bool SUCCEEDED(HRESULT result) { return result >= 0; }
constexpr bool FAILED(HRESULT result) { return result < 0; }

// Values of the Win32 and COM error tables.
constexpr HRESULT HresultFromBits(std::uint32_t bits) { return static_cast<HRESULT>(bits); }
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = HresultFromBits(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = HresultFromBits(0x80004002);
inline constexpr HRESULT E_POINTER = HresultFromBits(0x80004003);
inline constexpr HRESULT E_FAIL = HresultFromBits(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = HresultFromBits(0x8000FFFF);
inline constexpr HRESULT E_HANDLE = HresultFromBits(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = HresultFromBits(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = HresultFromBits(0x80070057);
inline constexpr HRESULT CO_E_NOTINITIALIZED = HresultFromBits(0x800401F0);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = HresultFromBits(0x80040110);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = HresultFromBits(0x80040154);

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_NO_SYSTEM_RESOURCES = 1450;
inline constexpr DWORD ERROR_INVALID_TASK_NAME = 1550;
inline constexpr DWORD ERROR_INVALID_TASK_INDEX = 1551;

// --- Kernel objects ---

// Handles stand for an event, a timer or a thread. A null handle fails every operation with
// ERROR_INVALID_HANDLE; a closed one must not be used again. All operations may be called on any
// thread. A failed one leaves its code in GetLastError, which each thread has for itself. Arguments
// that the logic never passes are refused with ERROR_INVALID_PARAMETER.

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

struct SECURITY_ATTRIBUTES;
using PTHREAD_START_ROUTINE = DWORD (*)(LPVOID argument);
using PTIMERAPCROUTINE = void (*)(LPVOID argument, DWORD low, DWORD high);

DWORD GetLastError();
void SetLastError(DWORD code);

// Null on failure. Only auto-reset events that begin unsignalled, without security and name.
HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, BOOL initial_state,
                    LPCWSTR name);
// Signals do not pile up: an event set twice ends one wait.
BOOL SetEvent(HANDLE event);

// The thread starts at once, with the default stack; its id cannot be asked for. Its handle becomes
// signalled when it has ended and stays so. Only one thread at a time may wait for it. Closing the
// handle of a running thread lets it run on.
HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stack_bytes,
                    PTHREAD_START_ROUTINE entry, LPVOID argument, DWORD flags, DWORD* thread_id);

// `due_time` is negative, in 100-ns units from now; `period_ms` of 0 is a single shot. Ticks that
// nobody has waited for do not pile up. No completion routine, no resume. Data for the stream that
// this thread has opened for recording signal it too.
HANDLE CreateWaitableTimerW(SECURITY_ATTRIBUTES* security, BOOL manual_reset, LPCWSTR name);
BOOL SetWaitableTimer(HANDLE timer, const LARGE_INTEGER* due_time, LONG period_ms,
                      PTIMERAPCROUTINE completion, LPVOID argument, BOOL resume);
BOOL CancelWaitableTimer(HANDLE timer);

// WAIT_OBJECT_0 plus the lowest signalled index, WAIT_TIMEOUT or WAIT_FAILED, for at most two
// handles. `wait_all` must be FALSE. An interrupted wait goes on with what is left of its time.
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all, DWORD timeout_ms);
DWORD WaitForSingleObject(HANDLE handle, DWORD timeout_ms);

BOOL CloseHandle(HANDLE handle);
void Sleep(DWORD milliseconds);

// Puts the calling thread into a scheduling class until it ends; `task_index` is 0 at first. Not
// null on success. On Linux a larger share of the processor where the user may have it.
HANDLE AvSetMmThreadCharacteristicsW(LPCWSTR task_name, DWORD* task_index);

// --- COM ---

// Every object counts its references; the last Release destroys it. AddRef and Release may be
// called on any thread where an interface does not say otherwise, the other operations as each one
// says. No operation throws.
struct IUnknown {
  // Gives a new reference for `iid`, or E_NOINTERFACE and null.
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  // Both give the count after the call; it is for diagnosis only.
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  ~IUnknown() = default;
};

inline constexpr IID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;
inline constexpr DWORD CLSCTX_ALL = 23;
inline constexpr DWORD STGM_READ = 0;

// Opens the calling thread for objects. S_OK the first time, S_FALSE when it was open already;
// each of them is owed one CoUninitialize on the same thread. `reserved` must be null.
HRESULT CoInitialize(void* reserved);
void CoUninitialize();

// Creates an object of a class of the system. `*object` is null on failure. The
// calling thread must have COM initialised; otherwise the result is CO_E_NOTINITIALIZED.
HRESULT CoCreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                         void** object);

// Memory whose owner changes across an interface: whoever is handed a block frees it. Any thread.
void* CoTaskMemAlloc(std::size_t bytes);
void CoTaskMemFree(void* block);

using VARTYPE = std::uint16_t;
inline constexpr VARTYPE VT_EMPTY = 0;
inline constexpr VARTYPE VT_UI4 = 19;
inline constexpr VARTYPE VT_LPWSTR = 31;

// A value with its type. `pwszVal` is zero-terminated UTF-16 in task memory, valid for VT_LPWSTR.
struct PROPVARIANT {
  VARTYPE vt;
  union {
    LPWSTR pwszVal;
    ULONG ulVal;
  };
};

// Frees what the value owns and makes it VT_EMPTY.
HRESULT PropVariantClear(PROPVARIANT* value);

#endif
