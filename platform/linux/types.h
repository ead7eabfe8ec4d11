#ifndef ZEVRA_PLATFORM_LINUX_TYPES_H
#define ZEVRA_PLATFORM_LINUX_TYPES_H

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
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_NO_SYSTEM_RESOURCES = 1450;
inline constexpr DWORD ERROR_INVALID_TASK_NAME = 1550;
inline constexpr DWORD ERROR_INVALID_TASK_INDEX = 1551;

#endif
