#pragma once
// Basic Windows types, error codes and constants. On Windows these are the SDK's own; elsewhere
// they are declared here with the same sizes and values, so code written against the Win32
// API compiles unchanged in the native build.

#ifdef _WIN32
#include <windows.h>
#include <winerror.h>
#else
#include <cstdint>
#include <cstddef>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using INT = int;
using UINT = unsigned int;
using BOOL = int;
using WINBOOL = int;
using USHORT = std::uint16_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORD_PTR = std::uintptr_t;
using ULONG_PTR = std::uintptr_t;
using HRESULT = std::int32_t;
using LSTATUS = LONG;
using REGSAM = DWORD;
using WCHAR = wchar_t;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPVOID = void*;
using LPDWORD = DWORD*;
using LPBYTE = BYTE*;
using PVOID = void*;
using HANDLE = void*;

struct HKEY__;
using HKEY = HKEY__*;
using PHKEY = HKEY*;

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

#define STDMETHODCALLTYPE
#define WINAPI

#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000000u)))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000001u)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000002u)))
#define HKEY_USERS (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000003u)))

// Win32 error codes used across the seams.
constexpr LONG ERROR_SUCCESS = 0;
constexpr LONG ERROR_INVALID_FUNCTION = 1;
constexpr LONG ERROR_FILE_NOT_FOUND = 2;
constexpr LONG ERROR_PATH_NOT_FOUND = 3;
constexpr LONG ERROR_ACCESS_DENIED = 5;
constexpr LONG ERROR_INVALID_HANDLE = 6;
constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr LONG ERROR_BAD_FORMAT = 11;
constexpr LONG ERROR_INVALID_DATA = 13;
constexpr LONG ERROR_OUTOFMEMORY = 14;
constexpr LONG ERROR_GEN_FAILURE = 31;
constexpr LONG ERROR_NOT_SUPPORTED = 50;
constexpr LONG ERROR_INVALID_PARAMETER = 87;
constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
constexpr LONG ERROR_MORE_DATA = 234;
constexpr LONG ERROR_NO_MORE_ITEMS = 259;
constexpr LONG ERROR_UNSUPPORTED_TYPE = 1630;
constexpr LONG ERROR_TIMEOUT = 1460;
constexpr LONG ERROR_SERVICE_DOES_NOT_EXIST = 1060;

// Registry value types, RegGetValue type filters and access rights.
constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_QWORD = 11;
constexpr DWORD RRF_RT_REG_NONE = 0x00000001;
constexpr DWORD RRF_RT_REG_SZ = 0x00000002;
constexpr DWORD RRF_RT_REG_EXPAND_SZ = 0x00000004;
constexpr DWORD RRF_RT_REG_BINARY = 0x00000008;
constexpr DWORD RRF_RT_REG_DWORD = 0x00000010;
constexpr DWORD RRF_RT_REG_MULTI_SZ = 0x00000020;
constexpr DWORD RRF_RT_REG_QWORD = 0x00000040;
constexpr DWORD RRF_RT_DWORD = RRF_RT_REG_BINARY | RRF_RT_REG_DWORD;
constexpr DWORD RRF_RT_QWORD = RRF_RT_REG_BINARY | RRF_RT_REG_QWORD;
constexpr DWORD RRF_RT_ANY = 0x0000ffff;
constexpr DWORD RRF_NOEXPAND = 0x10000000;
constexpr DWORD RRF_ZEROONFAILURE = 0x20000000;
constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
constexpr REGSAM KEY_READ = 0x20019;
constexpr REGSAM KEY_WRITE = 0x20006;
constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

// Event log record types.
constexpr WORD EVENTLOG_SUCCESS = 0x0000;
constexpr WORD EVENTLOG_ERROR_TYPE = 0x0001;
constexpr WORD EVENTLOG_WARNING_TYPE = 0x0002;
constexpr WORD EVENTLOG_INFORMATION_TYPE = 0x0004;

constexpr DWORD INFINITE = 0xFFFFFFFFu;
#endif

// HRESULT values the provider returns or checks (same on every platform).
#ifndef _WIN32
constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
#endif
