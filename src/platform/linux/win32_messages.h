// Published declarations of the program's own windows, as far as messages are concerned, and of message boxes' flags.
#pragma once

#include "platform/linux/win32_base.h"

#define WM_CREATE 0x0001
#define WM_DESTROY 0x0002
#define WM_QUIT 0x0012
#define WM_NCCREATE 0x0081
#define WM_NCDESTROY 0x0082
#define WM_APP 0x8000

#define GWLP_USERDATA (-21)
#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001

#define MB_OK 0x00000000U
#define MB_YESNO 0x00000004U
#define MB_ICONQUESTION 0x00000020U
#define MB_ICONWARNING 0x00000030U
#define MB_ICONINFORMATION 0x00000040U
#define MB_DEFBUTTON2 0x00000100U
#define IDYES 6
#define IDNO 7

#define ERROR_CANNOT_FIND_WND_CLASS 1407
#define ERROR_CLASS_ALREADY_EXISTS 1410

struct HICON__;
using HICON = HICON__ *;
struct HMENU__;
using HMENU = HMENU__ *;
using HCURSOR = HICON;
using ATOM = WORD;

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};

using WNDPROC = LRESULT(CALLBACK *)(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

struct WNDCLASSEXW {
    UINT cbSize;
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
    HICON hIconSm;
};

struct CREATESTRUCTW {
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCWSTR lpszName;
    LPCWSTR lpszClass;
    DWORD dwExStyle;
};

// The windows and the one queue belong to the thread that makes the first window; only PostMessageW (declared with the
// windows of other programs) and IsWindow may be called from others.

/// 0 with ERROR_CLASS_ALREADY_EXISTS for a name that is taken.
ATOM WINAPI RegisterClassExW(const WNDCLASSEXW *windowClass);
/// Sends WM_NCCREATE and WM_CREATE, either of which can refuse. Null with the last error set on failure.
HWND WINAPI CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width,
                            int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter);
/// Sends WM_DESTROY and WM_NCDESTROY; what was posted to the window and not fetched is gone with it.
BOOL WINAPI DestroyWindow(HWND window);
BOOL WINAPI IsWindow(HWND window);
LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LONG_PTR WINAPI GetWindowLongPtrW(HWND window, int index);
LONG_PTR WINAPI SetWindowLongPtrW(HWND window, int index, LONG_PTR value);

/// Calls the window's procedure and gives its answer; 0 for a window that is gone.
LRESULT WINAPI SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
/// Waits for the next posted message of a window (null: of any) in the range of numbers (0 and 0: all), in the order
/// in which they were posted. Gives 0 for WM_QUIT, which comes when nothing else is left.
BOOL WINAPI GetMessageW(MSG *message, HWND window, UINT first, UINT last);
/// The same without waiting; 0 where there is none.
BOOL WINAPI PeekMessageW(MSG *message, HWND window, UINT first, UINT last, UINT remove);
LRESULT WINAPI DispatchMessageW(const MSG *message);
void WINAPI PostQuitMessage(int exitCode);
