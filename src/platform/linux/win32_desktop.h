// Published declarations of what the desktop is like: screens, scale, settings, colours; and of the functions that are
// looked up at run time.
#pragma once

#include "platform/linux/win32_windows.h"

#define SPI_GETWORKAREA 0x0030
#define SPI_GETHIGHCONTRAST 0x0042
#define SPI_GETFONTSMOOTHING 0x004A
#define SPI_GETCLIENTAREAANIMATION 0x1042
#define SPI_GETFONTSMOOTHINGTYPE 0x200A
#define FE_FONTSMOOTHINGSTANDARD 0x0001
#define FE_FONTSMOOTHINGCLEARTYPE 0x0002
#define HCF_HIGHCONTRASTON 0x00000001

struct HIGHCONTRASTW {
    UINT cbSize;
    DWORD dwFlags;
    LPWSTR lpszDefaultScheme;
};

/// The parameters above. When the desktop's settings change, every top-level window gets WM_SETTINGCHANGE.
BOOL WINAPI SystemParametersInfoW(UINT action, UINT parameter, PVOID value, UINT winIni);

#define COLOR_WINDOW 5
#define COLOR_WINDOWTEXT 8
#define COLOR_HIGHLIGHT 13
#define COLOR_HIGHLIGHTTEXT 14
/// The colours above; black for any other.
DWORD WINAPI GetSysColor(int index);

struct HKEY__;
using HKEY = HKEY__ *;
using LSTATUS = LONG;
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000001))))
#define RRF_RT_REG_DWORD 0x00000010
#define REG_DWORD 4U
/// One value exists: whether applications are to be light, as a number, by the desktop's own settings.
LSTATUS WINAPI RegGetValueW(HKEY key, LPCWSTR subKey, LPCWSTR value, DWORD flags, LPDWORD type, PVOID data,
                            LPDWORD size);

struct HMONITOR__;
using HMONITOR = HMONITOR__ *;
#define MONITOR_DEFAULTTONEAREST 0x00000002
#define MONITORINFOF_PRIMARY 0x00000001

struct MONITORINFO {
    DWORD cbSize;
    RECT rcMonitor;
    RECT rcWork;
    DWORD dwFlags;
};

/// Only MONITOR_DEFAULTTONEAREST.
HMONITOR WINAPI MonitorFromWindow(HWND window, DWORD flags);
HMONITOR WINAPI MonitorFromRect(const RECT *rect, DWORD flags);
BOOL WINAPI GetMonitorInfoW(HMONITOR monitor, MONITORINFO *info);

#define USER_DEFAULT_SCREEN_DPI 96
#define LOGPIXELSX 88
/// The screen's device context, which is only good to be asked.
HDC WINAPI GetDC(HWND window);
/// Only LOGPIXELSX: the desktop's logical dots per inch, the same in both directions.
int WINAPI GetDeviceCaps(HDC dc, int index);

struct DPI_AWARENESS_CONTEXT__;
using DPI_AWARENESS_CONTEXT = DPI_AWARENESS_CONTEXT__ *;
#define DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2 (reinterpret_cast<DPI_AWARENESS_CONTEXT>(static_cast<LONG_PTR>(-4)))
/// Pixels are real pixels here whether this is called or not.
BOOL WINAPI SetProcessDPIAware();

#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x00000800
using HMODULE = HINSTANCE;
using FARPROC = INT_PTR(WINAPI *)();

/// Null names the program, which exports nothing. "user32.dll" and "dwmapi.dll" are always there; null with
/// ERROR_MOD_NOT_FOUND for any other.
HMODULE WINAPI GetModuleHandleW(LPCWSTR name);
HMODULE WINAPI LoadLibraryExW(LPCWSTR name, HANDLE file, DWORD flags);
BOOL WINAPI FreeLibrary(HMODULE module);
/// Of user32: SetProcessDpiAwarenessContext and GetDpiForWindow. Of dwmapi: DwmSetWindowAttribute, which knows
/// DWMWA_USE_IMMERSIVE_DARK_MODE. Null with ERROR_PROC_NOT_FOUND for any other.
FARPROC WINAPI GetProcAddress(HMODULE module, const char *name);

#define ERROR_MOD_NOT_FOUND 126
#define ERROR_PROC_NOT_FOUND 127
#define DWMWA_USE_IMMERSIVE_DARK_MODE 20
