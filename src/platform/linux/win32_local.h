// Published declarations of the system's settings, as far as the look of programs goes.
#pragma once

#include "platform/linux/win32_base.h"

#define SPI_GETHIGHCONTRAST 0x0042
#define SPI_GETFONTSMOOTHING 0x004A
#define SPI_GETCLIENTAREAANIMATION 0x1042
#define SPI_GETFONTSMOOTHINGTYPE 0x200A
#define FE_FONTSMOOTHINGCLEARTYPE 0x0002
#define HCF_HIGHCONTRASTON 0x00000001
#define COLOR_WINDOW 5
#define COLOR_WINDOWTEXT 8
#define COLOR_HIGHLIGHT 13
#define COLOR_HIGHLIGHTTEXT 14
#define RRF_RT_REG_DWORD 0x00000010
#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x00000800
#define WM_PAINT 0x000F
#define WM_SETFONT 0x0030
#define CB_SETITEMHEIGHT 0x0153

struct HKEY__;
using HKEY = HKEY__ *;
using HMODULE = HINSTANCE;
using FARPROC = INT_PTR(WINAPI *)();
using LSTATUS = LONG;
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000001))))

struct HIGHCONTRASTW {
    UINT cbSize;
    DWORD dwFlags;
    LPWSTR lpszDefaultScheme;
};

struct PAINTSTRUCT {
    HDC hdc;
    BOOL fErase;
    RECT rcPaint;
    BOOL fRestore;
    BOOL fIncUpdate;
    BYTE rgbReserved[32];
};

BOOL WINAPI SystemParametersInfoW(UINT action, UINT parameter, PVOID value, UINT update);
DWORD WINAPI GetSysColor(int index);
LSTATUS WINAPI RegGetValueW(HKEY key, LPCWSTR subKey, LPCWSTR value, DWORD flags, LPDWORD type, PVOID data,
                            LPDWORD size);
HMODULE WINAPI LoadLibraryExW(LPCWSTR name, HANDLE file, DWORD flags);
FARPROC WINAPI GetProcAddress(HMODULE module, const char *name);
BOOL WINAPI FreeLibrary(HMODULE module);
BOOL WINAPI InvalidateRect(HWND window, const RECT *rect, BOOL erase);
BOOL WINAPI GetClientRect(HWND window, RECT *rect);
HDC WINAPI BeginPaint(HWND window, PAINTSTRUCT *paint);
BOOL WINAPI EndPaint(HWND window, const PAINTSTRUCT *paint);
