// Published declarations of windows, as far as other programs' windows are looked at, and of posting to any window.
#pragma once

#include "platform/linux/win32_base.h"

#define WM_CLOSE 0x0010
#define GW_OWNER 4
#define SW_SHOWDEFAULT 10
#define ERROR_INVALID_WINDOW_HANDLE 1400

using WNDENUMPROC = BOOL(CALLBACK *)(HWND window, LPARAM parameter);

/// Calls back for every top-level window of the desktop until the callback gives FALSE.
BOOL WINAPI EnumWindows(WNDENUMPROC callback, LPARAM parameter);
DWORD WINAPI GetWindowThreadProcessId(HWND window, LPDWORD processId);
BOOL WINAPI IsWindowVisible(HWND window);
HWND WINAPI GetWindow(HWND window, UINT relation);
/// To a window of this program from any thread, in the order of the calls; to another program's only WM_CLOSE.
BOOL WINAPI PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
