// Published declarations of messages and of the queue that they come from.
#pragma once

#include "platform/linux/win32_base.h"

#define WM_NULL 0x0000
#define WM_CREATE 0x0001
#define WM_DESTROY 0x0002
#define WM_SIZE 0x0005
#define WM_ACTIVATE 0x0006
#define WM_SETFOCUS 0x0007
#define WM_KILLFOCUS 0x0008
#define WM_ENABLE 0x000A
#define WM_SETTEXT 0x000C
#define WM_GETTEXT 0x000D
#define WM_GETTEXTLENGTH 0x000E
#define WM_PAINT 0x000F
#define WM_CLOSE 0x0010
#define WM_QUIT 0x0012
#define WM_ERASEBKGND 0x0014
#define WM_SHOWWINDOW 0x0018
#define WM_SETTINGCHANGE 0x001A
#define WM_FONTCHANGE 0x001D
#define WM_CANCELMODE 0x001F
#define WM_GETMINMAXINFO 0x0024
#define WM_DRAWITEM 0x002B
#define WM_MEASUREITEM 0x002C
#define WM_SETFONT 0x0030
#define WM_NOTIFY 0x004E
#define WM_CONTEXTMENU 0x007B
#define WM_STYLECHANGED 0x007D
#define WM_DISPLAYCHANGE 0x007E
#define WM_SETICON 0x0080
#define WM_NCCREATE 0x0081
#define WM_NCDESTROY 0x0082
#define WM_NCHITTEST 0x0084
#define WM_NCPAINT 0x0085
#define WM_GETDLGCODE 0x0087
#define WM_NCMOUSEMOVE 0x00A0
#define WM_NCLBUTTONDOWN 0x00A1
#define WM_NCLBUTTONUP 0x00A2
#define WM_KEYFIRST 0x0100
#define WM_KEYDOWN 0x0100
#define WM_KEYUP 0x0101
#define WM_SYSKEYDOWN 0x0104
#define WM_SYSKEYUP 0x0105
#define WM_KEYLAST 0x0109
#define WM_COMMAND 0x0111
#define WM_TIMER 0x0113
#define WM_HSCROLL 0x0114
#define WM_VSCROLL 0x0115
#define WM_CTLCOLOREDIT 0x0133
#define WM_CTLCOLORLISTBOX 0x0134
#define WM_CTLCOLORBTN 0x0135
#define WM_CTLCOLORSTATIC 0x0138
#define WM_MOUSEFIRST 0x0200
#define WM_MOUSEMOVE 0x0200
#define WM_LBUTTONDOWN 0x0201
#define WM_LBUTTONUP 0x0202
#define WM_LBUTTONDBLCLK 0x0203
#define WM_RBUTTONUP 0x0205
#define WM_MOUSEWHEEL 0x020A
#define WM_MOUSELAST 0x020E
#define WM_CAPTURECHANGED 0x0215
#define WM_EXITSIZEMOVE 0x0232
#define WM_MOUSELEAVE 0x02A3
#define WM_DPICHANGED 0x02E0
#define WM_PRINT 0x0317
#define WM_USER 0x0400
#define WM_APP 0x8000

#define SIZE_RESTORED 0
#define SIZE_MINIMIZED 1
#define SIZE_MAXIMIZED 2
#define WA_INACTIVE 0
#define WA_ACTIVE 1
#define ICON_SMALL 0
#define ICON_BIG 1
#define HTTRANSPARENT (-1)
#define HTCLIENT 1
#define HTCAPTION 2
#define MK_LBUTTON 0x0001
#define MK_SHIFT 0x0004
#define MK_CONTROL 0x0008
#define WHEEL_DELTA 120

#define VK_BACK 0x08
#define VK_TAB 0x09
#define VK_RETURN 0x0D
#define VK_SHIFT 0x10
#define VK_CONTROL 0x11
#define VK_MENU 0x12
#define VK_CAPITAL 0x14
#define VK_ESCAPE 0x1B
#define VK_SPACE 0x20
#define VK_PRIOR 0x21
#define VK_NEXT 0x22
#define VK_END 0x23
#define VK_HOME 0x24
#define VK_LEFT 0x25
#define VK_UP 0x26
#define VK_RIGHT 0x27
#define VK_DOWN 0x28
#define VK_INSERT 0x2D
#define VK_DELETE 0x2E
#define VK_APPS 0x5D
#define VK_F1 0x70
#define VK_PACKET 0xE7

#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001

#define LOWORD(value) (static_cast<WORD>((value)&0xFFFF))
#define HIWORD(value) (static_cast<WORD>(((value) >> 16) & 0xFFFF))
#define MAKELONG(low, high)                                                                                            \
    (static_cast<LONG>(static_cast<WORD>((low)&0xFFFF) | (static_cast<DWORD>(static_cast<WORD>((high)&0xFFFF)) << 16)))
#define MAKEWPARAM(low, high) (static_cast<WPARAM>(static_cast<DWORD>(MAKELONG(low, high))))
#define MAKELPARAM(low, high) (static_cast<LPARAM>(static_cast<DWORD>(MAKELONG(low, high))))
#define GET_X_LPARAM(value) (static_cast<int>(static_cast<short>(LOWORD(value))))
#define GET_Y_LPARAM(value) (static_cast<int>(static_cast<short>(HIWORD(value))))
#define GET_WHEEL_DELTA_WPARAM(value) (static_cast<short>(HIWORD(value)))

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt; ///< not filled in
};

struct MINMAXINFO {
    POINT ptReserved;
    POINT ptMaxSize;
    POINT ptMaxPosition;
    POINT ptMinTrackSize;
    POINT ptMaxTrackSize;
};

// The windows and the one queue belong to the thread that makes the first window; only PostMessageW (declared with the
// windows of other programs) and IsWindow may be called from others.
//
// Posted are the program's own messages and the keys, so that the loop sees each key before its control does; what a
// mouse does behind a key that has not been fetched yet is posted too. All else that the system has to tell is sent
// while GetMessageW waits, or while a dialog or a menu is open; posted messages then go to their windows without the
// program's loop.

/// Calls the window's procedure and gives its answer; 0 for a window that is gone.
LRESULT WINAPI SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
/// Waits for the next posted message of a window (null: of any) in the range of numbers (0 and 0: all), in the order
/// in which they were posted. Gives 0 for WM_QUIT, which comes when nothing else is left.
BOOL WINAPI GetMessageW(MSG *message, HWND window, UINT first, UINT last);
/// The same without waiting; 0 where there is none.
BOOL WINAPI PeekMessageW(MSG *message, HWND window, UINT first, UINT last, UINT remove);
/// TRUE for a key's message. Its characters reach the control together with the key, by the control's own handling.
BOOL WINAPI TranslateMessage(const MSG *message);
LRESULT WINAPI DispatchMessageW(const MSG *message);
void WINAPI PostQuitMessage(int exitCode);
/// The same number for the same name as long as the process lives, from 0xC000 on. No other process sends it.
UINT WINAPI RegisterWindowMessageW(LPCWSTR name);
