// Published base types, error codes, time, text comparison and COM start-up.
#pragma once

#include <cstddef>
#include <cstdint>

#define WINAPI
#define CALLBACK
#define TRUE 1
#define FALSE 0
#define MAX_PATH 260

using BYTE = std::uint8_t;
using BOOLEAN = BYTE;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using BOOL = int;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using ULONG_PTR = std::uintptr_t;
using INT_PTR = std::intptr_t;
using DWORD_PTR = std::uintptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;
using HRESULT = LONG;
using WCHAR = char16_t;
using LPWSTR = WCHAR *;
using LPCWSTR = const WCHAR *;
using PCWSTR = const WCHAR *;
using LPOLESTR = WCHAR *;
using LPVOID = void *;
using LPCVOID = const void *;
using PVOID = void *;
using LPDWORD = DWORD *;
using PDWORD = DWORD *;
using HANDLE = void *;
using PHANDLE = HANDLE *;
using PSID = void *;

struct HINSTANCE__;
using HINSTANCE = HINSTANCE__ *;
struct HWND__;
using HWND = HWND__ *;
struct HDC__;
using HDC = HDC__ *;
struct HBITMAP__;
using HBITMAP = HBITMAP__ *;
struct HBRUSH__;
using HBRUSH = HBRUSH__ *;
struct HFONT__;
using HFONT = HFONT__ *;
struct HPEN__;
using HPEN = HPEN__ *;
using HGDIOBJ = void *;
using COLORREF = DWORD;

struct POINT {
    LONG x;
    LONG y;
};

struct SIZE {
    LONG cx;
    LONG cy;
};

struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};
using PLARGE_INTEGER = LARGE_INTEGER *;

union ULARGE_INTEGER {
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};
using PULARGE_INTEGER = ULARGE_INTEGER *;

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
using IID = GUID;
using REFGUID = const GUID &;
using REFIID = const IID &;

inline bool operator==(const GUID &left, const GUID &right) {
    return __builtin_memcmp(&left, &right, sizeof(GUID)) == 0;
}

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))

// Last-error codes.
#define NO_ERROR 0
#define ERROR_SUCCESS 0
#define ERROR_FILE_NOT_FOUND 2
#define ERROR_PATH_NOT_FOUND 3
#define ERROR_TOO_MANY_OPEN_FILES 4
#define ERROR_ACCESS_DENIED 5
#define ERROR_INVALID_HANDLE 6
#define ERROR_NOT_ENOUGH_MEMORY 8
#define ERROR_INVALID_DATA 13
#define ERROR_NOT_SAME_DEVICE 17
#define ERROR_NO_MORE_FILES 18
#define ERROR_WRITE_PROTECT 19
#define ERROR_BAD_LENGTH 24
#define ERROR_GEN_FAILURE 31
#define ERROR_SHARING_VIOLATION 32
#define ERROR_LOCK_VIOLATION 33
#define ERROR_NOT_SUPPORTED 50
#define ERROR_INVALID_PARAMETER 87
#define ERROR_DISK_FULL 112
#define ERROR_INSUFFICIENT_BUFFER 122
#define ERROR_INVALID_NAME 123
#define ERROR_DIR_NOT_EMPTY 145
#define ERROR_BUSY 170
#define ERROR_ALREADY_EXISTS 183
#define ERROR_FILENAME_EXCED_RANGE 206
#define ERROR_FILE_TOO_LARGE 223
#define ERROR_DIRECTORY 267
#define ERROR_INVALID_FLAGS 1004
#define ERROR_FILE_INVALID 1006
#define ERROR_DISK_QUOTA_EXCEEDED 1295
#define ERROR_CANCELLED 1223
#define ERROR_NO_UNICODE_TRANSLATION 1113
#define ERROR_IO_DEVICE 1117
#define ERROR_TOO_MANY_LINKS 1142
#define ERROR_CANT_ACCESS_FILE 1920
#define ERROR_CANT_RESOLVE_FILENAME 1921
#define ERROR_REPARSE_TAG_INVALID 4393

#define S_OK (static_cast<HRESULT>(0))
#define E_NOTIMPL (static_cast<HRESULT>(0x80004001))
#define E_NOINTERFACE (static_cast<HRESULT>(0x80004002))
#define E_POINTER (static_cast<HRESULT>(0x80004003))
#define E_ABORT (static_cast<HRESULT>(0x80004004))
#define E_FAIL (static_cast<HRESULT>(0x80004005))
#define E_UNEXPECTED (static_cast<HRESULT>(0x8000FFFF))
#define E_ACCESSDENIED (static_cast<HRESULT>(0x80070005))
#define E_OUTOFMEMORY (static_cast<HRESULT>(0x8007000E))
#define E_INVALIDARG (static_cast<HRESULT>(0x80070057))
#define SUCCEEDED(result) ((static_cast<HRESULT>(result)) >= 0)
#define FAILED(result) ((static_cast<HRESULT>(result)) < 0)
#define HRESULT_FROM_WIN32(code)                                                                                       \
    (static_cast<HRESULT>(code) <= 0 ? static_cast<HRESULT>(code)                                                      \
                                     : static_cast<HRESULT>(((code)&0x0000FFFFU) | 0x80070000U))

/// The calling thread's last error. Every function of the layer that fails sets it.
DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD code);

/// The current time in 100-nanosecond ticks since 1601 UTC.
void WINAPI GetSystemTimeAsFileTime(FILETIME *time);
/// Milliseconds of a clock that never goes back.
ULONGLONG WINAPI GetTickCount64();
void WINAPI Sleep(DWORD milliseconds);

#define CSTR_LESS_THAN 1
#define CSTR_EQUAL 2
#define CSTR_GREATER_THAN 3
/// Compares unit by unit; a length of -1 means null-terminated. With ignoreCase both sides are folded
/// to upper case by a fixed table. Gives 0 and ERROR_INVALID_PARAMETER on a null text or a bad length.
int WINAPI CompareStringOrdinal(LPCWSTR left, int leftLength, LPCWSTR right, int rightLength, BOOL ignoreCase);

/// Lower and upper case of one UTF-16 unit by a fixed table, whatever the locale. These stand beside the
/// C library's functions of the same name, whose answer depends on the locale.
WCHAR towlower(WCHAR unit);
WCHAR towupper(WCHAR unit);
/// Compares null-terminated texts after towlower; below, equal to or above zero.
int _wcsicmp(const WCHAR *left, const WCHAR *right);

#define COINIT_APARTMENTTHREADED 0x2
#define COINIT_DISABLE_OLE1DDE 0x4
/// COM has no counterpart here: the start and the end of it succeed and do nothing.
HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD flags);
void WINAPI CoUninitialize();
void WINAPI CoTaskMemFree(LPVOID memory);
/// A random (version 4) GUID.
HRESULT WINAPI CoCreateGuid(GUID *guid);
/// Writes the form in braces, 38 units and a null; gives the units written with the null, or 0.
int WINAPI StringFromGUID2(REFGUID guid, LPOLESTR text, int units);
