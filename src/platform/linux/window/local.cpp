// Stands in for the windows' side of the layer: a system without settings, and windows that are never painted.
#include "platform/linux/win32_local.h"
#include "platform/linux/window/application.h"

QApplication &dm::platform::application() {
    static int count = 1;
    static char name[] = "dustmere";
    static char *arguments[] = {name, nullptr};
    static QApplication application(count, arguments);
    return application;
}

BOOL WINAPI SystemParametersInfoW(UINT, UINT, PVOID, UINT) {
    return FALSE;
}
DWORD WINAPI GetSysColor(int) {
    return 0;
}
LSTATUS WINAPI RegGetValueW(HKEY, LPCWSTR, LPCWSTR, DWORD, LPDWORD, PVOID, LPDWORD) {
    return ERROR_FILE_NOT_FOUND;
}
HMODULE WINAPI LoadLibraryExW(LPCWSTR, HANDLE, DWORD) {
    return nullptr;
}
FARPROC WINAPI GetProcAddress(HMODULE, const char *) {
    return nullptr;
}
BOOL WINAPI FreeLibrary(HMODULE) {
    return FALSE;
}
BOOL WINAPI InvalidateRect(HWND, const RECT *, BOOL) {
    return FALSE;
}
BOOL WINAPI GetClientRect(HWND, RECT *) {
    return FALSE;
}
HDC WINAPI BeginPaint(HWND, PAINTSTRUCT *) {
    return nullptr;
}
BOOL WINAPI EndPaint(HWND, const PAINTSTRUCT *) {
    return TRUE;
}
