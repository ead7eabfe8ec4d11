#ifndef ZEVRA_PLATFORM_LINUX_COM_H
#define ZEVRA_PLATFORM_LINUX_COM_H

#include <cstddef>

#include "platform/linux/types.h"

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

// Creates an object of a class of the system. See zevra::CreateInstance.
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
