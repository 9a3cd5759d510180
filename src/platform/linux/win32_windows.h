// Published declarations of windows: the program's own, and as much of other programs' as is looked at.
#pragma once

#include "platform/linux/win32_base.h"
#include "platform/linux/win32_messages.h"

#define WS_OVERLAPPED 0x00000000U
#define WS_POPUP 0x80000000U
#define WS_CHILD 0x40000000U
#define WS_VISIBLE 0x10000000U
#define WS_DISABLED 0x08000000U
#define WS_CLIPSIBLINGS 0x04000000U
#define WS_CLIPCHILDREN 0x02000000U
#define WS_CAPTION 0x00C00000U
#define WS_VSCROLL 0x00200000U
#define WS_SYSMENU 0x00080000U
#define WS_THICKFRAME 0x00040000U
#define WS_MINIMIZEBOX 0x00020000U
#define WS_TABSTOP 0x00010000U
#define WS_MAXIMIZEBOX 0x00010000U
#define WS_OVERLAPPEDWINDOW (WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX)

#define WS_EX_TOOLWINDOW 0x00000080U
#define WS_EX_RTLREADING 0x00002000U
#define WS_EX_APPWINDOW 0x00040000U
#define WS_EX_LAYERED 0x00080000U
#define WS_EX_LAYOUTRTL 0x00400000U

#define CW_USEDEFAULT (static_cast<int>(0x80000000))
#define GW_OWNER 4
#define GWL_STYLE (-16)
#define GWL_EXSTYLE (-20)
#define GWLP_USERDATA (-21)

#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_SHOWNOACTIVATE 4
#define SW_SHOW 5
#define SW_RESTORE 9
#define SW_SHOWDEFAULT 10

#define SWP_NOSIZE 0x0001
#define SWP_NOMOVE 0x0002
#define SWP_NOZORDER 0x0004
#define SWP_NOREDRAW 0x0008
#define SWP_NOACTIVATE 0x0010
#define SWP_FRAMECHANGED 0x0020
#define SWP_SHOWWINDOW 0x0040
#define SWP_NOCOPYBITS 0x0100

#define RDW_INVALIDATE 0x0001
#define RDW_ERASE 0x0004
#define RDW_NOERASE 0x0020
#define RDW_NOCHILDREN 0x0040
#define RDW_FRAME 0x0400

#define TME_LEAVE 0x00000002
#define ULW_ALPHA 0x00000002
#define AC_SRC_OVER 0x00
#define AC_SRC_ALPHA 0x01

#define EVENT_OBJECT_STATECHANGE 0x800A
#define OBJID_CLIENT (static_cast<LONG>(0xFFFFFFFC))
#define OBJID_VSCROLL (static_cast<LONG>(0xFFFFFFFB))
#define OBJID_HSCROLL (static_cast<LONG>(0xFFFFFFFA))
#define CHILDID_SELF 0
#define STATE_SYSTEM_UNAVAILABLE 0x00000001
#define STATE_SYSTEM_INVISIBLE 0x00008000
#define STATE_SYSTEM_OFFSCREEN 0x00010000

#define IDOK 1
#define IDCANCEL 2
#define IDYES 6
#define IDNO 7

#define ERROR_INVALID_WINDOW_HANDLE 1400
#define ERROR_CANNOT_FIND_WND_CLASS 1407
#define ERROR_CLASS_ALREADY_EXISTS 1410

#define MAKEINTRESOURCEW(id) (reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(id))))
#define IDI_APPLICATION MAKEINTRESOURCEW(32512)
#define IDC_ARROW MAKEINTRESOURCEW(32512)

struct HICON__;
using HICON = HICON__ *;
using HCURSOR = HICON;
struct HMENU__;
using HMENU = HMENU__ *;
struct HRGN__;
using HRGN = HRGN__ *;
using HDWP = HANDLE;
using ATOM = WORD;
using DWORD_PTR = ULONG_PTR;
using TIMERPROC = void(CALLBACK *)(HWND window, UINT message, UINT_PTR id, DWORD time);
using WNDPROC = LRESULT(CALLBACK *)(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
using SUBCLASSPROC = LRESULT(CALLBACK *)(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                                         DWORD_PTR reference);
using WNDENUMPROC = BOOL(CALLBACK *)(HWND window, LPARAM parameter);

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

struct PAINTSTRUCT {
    HDC hdc;
    BOOL fErase;
    RECT rcPaint;
    BOOL fRestore;
    BOOL fIncUpdate;
    BYTE rgbReserved[32];
};

struct TRACKMOUSEEVENT {
    DWORD cbSize;
    DWORD dwFlags;
    HWND hwndTrack;
    DWORD dwHoverTime;
};

struct BLENDFUNCTION {
    BYTE BlendOp;
    BYTE BlendFlags;
    BYTE SourceConstantAlpha;
    BYTE AlphaFormat;
};

#define CCHILDREN_SCROLLBAR 5
struct SCROLLBARINFO {
    DWORD cbSize;
    RECT rcScrollBar;
    int dxyLineButton;
    int xyThumbTop;
    int xyThumbBottom;
    int reserved;
    DWORD rgstate[CCHILDREN_SCROLLBAR + 1];
};

// Without the window library (in the engine alone) a window has no place on the screen: it only gets messages.

/// 0 with ERROR_CLASS_ALREADY_EXISTS for a name that is taken. Of the class counts the procedure, the name and the two
/// icons; its cursor is the arrow, and its background is never erased by the system.
ATOM WINAPI RegisterClassExW(const WNDCLASSEXW *windowClass);
/// Sends WM_NCCREATE and WM_CREATE, either of which can refuse, then WM_SIZE. Null with the last error set on failure.
/// A window with a default position starts in the middle of the work area.
HWND WINAPI CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width,
                            int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter);
/// Hides it and destroys what it owns, then sends WM_DESTROY from the top down and WM_NCDESTROY from the bottom up;
/// what was posted to the windows and not fetched, and their timers, are gone with them.
BOOL WINAPI DestroyWindow(HWND window);
BOOL WINAPI IsWindow(HWND window);
BOOL WINAPI IsChild(HWND parent, HWND window);
/// The parent of a child, the owner of another window, or null.
HWND WINAPI GetParent(HWND window);
HWND WINAPI GetWindow(HWND window, UINT relation);
HWND WINAPI GetDlgItem(HWND window, int id);
int WINAPI GetDlgCtrlID(HWND window);
LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LONG_PTR WINAPI GetWindowLongPtrW(HWND window, int index);
/// A changed extended style counts with the next SetWindowPos with SWP_FRAMECHANGED.
LONG_PTR WINAPI SetWindowLongPtrW(HWND window, int index, LONG_PTR value);

/// The newest subclass is asked first. The same procedure with the same id again only changes its reference.
BOOL WINAPI SetWindowSubclass(HWND window, SUBCLASSPROC procedure, UINT_PTR id, DWORD_PTR reference);
BOOL WINAPI RemoveWindowSubclass(HWND window, SUBCLASSPROC procedure, UINT_PTR id);
LRESULT WINAPI DefSubclassProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// Gives whether it was visible. WM_SHOWWINDOW is sent before, where that changes.
BOOL WINAPI ShowWindow(HWND window, int command);
/// Visible itself, and so are all its parents; also a minimised one.
BOOL WINAPI IsWindowVisible(HWND window);
BOOL WINAPI IsIconic(HWND window);
/// Gives whether it was disabled.
BOOL WINAPI EnableWindow(HWND window, BOOL enable);
BOOL WINAPI IsWindowEnabled(HWND window);
/// The order of the windows stays as it is.
BOOL WINAPI SetWindowPos(HWND window, HWND after, int x, int y, int width, int height, UINT flags);
HDWP WINAPI BeginDeferWindowPos(int count);
HDWP WINAPI DeferWindowPos(HDWP batch, HWND window, HWND after, int x, int y, int width, int height, UINT flags);
BOOL WINAPI EndDeferWindowPos(HDWP batch);
/// In screen coordinates, with the frame as far as the window manager has told it.
BOOL WINAPI GetWindowRect(HWND window, RECT *rect);
BOOL WINAPI GetClientRect(HWND window, RECT *rect);
/// Null stands for the screen. Gives the shift in its two halves.
int WINAPI MapWindowPoints(HWND from, HWND to, POINT *points, UINT count);
BOOL WINAPI SetWindowTextW(HWND window, LPCWSTR text);
int WINAPI GetWindowTextW(HWND window, LPWSTR text, int units);
int WINAPI GetWindowTextLengthW(HWND window);
/// Only with an image in memory, ULW_ALPHA and AC_SRC_ALPHA. Where it is fully transparent the window lets clicks
/// through. Without a compositing desktop, what is translucent is seen over black.
BOOL WINAPI UpdateLayeredWindow(HWND window, HDC screen, POINT *position, SIZE *size, HDC source, POINT *sourcePosition,
                                COLORREF key, BLENDFUNCTION *blend, DWORD flags);

HWND WINAPI SetFocus(HWND window);
HWND WINAPI GetFocus(); ///< null while a dialog of theirs has the keyboard
BOOL WINAPI SetForegroundWindow(HWND window);
/// The window that it owns and that was last active, if it is still there; else itself.
HWND WINAPI GetLastActivePopup(HWND window);
/// Tab, arrows, Enter and Escape among the controls of a window; whatever else is for it or for a child of it is
/// dispatched. FALSE for what is for another.
BOOL WINAPI IsDialogMessageW(HWND window, MSG *message);
/// Only TME_LEAVE.
BOOL WINAPI TrackMouseEvent(TRACKMOUSEEVENT *track);
BOOL WINAPI GetCursorPos(POINT *position);

/// WM_TIMER is sent while GetMessageW waits. The same id again starts anew.
UINT_PTR WINAPI SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure);
BOOL WINAPI KillTimer(HWND window, UINT_PTR id);

BOOL WINAPI InvalidateRect(HWND window, const RECT *rect, BOOL erase);
/// Only RDW_INVALIDATE, RDW_ERASE, RDW_NOERASE, RDW_FRAME and RDW_NOCHILDREN, and no region.
BOOL WINAPI RedrawWindow(HWND window, const RECT *rect, HRGN region, UINT flags);
/// Sends WM_PAINT if a part of it is invalid; not while another window is being painted.
BOOL WINAPI UpdateWindow(HWND window);
/// Only in answer to WM_PAINT. Null otherwise.
HDC WINAPI BeginPaint(HWND window, PAINTSTRUCT *paint);
BOOL WINAPI EndPaint(HWND window, const PAINTSTRUCT *paint);
/// In window coordinates. What is drawn shows only in answer to WM_NCPAINT, on the scroll bar that is being painted.
HDC WINAPI GetWindowDC(HWND window);
int WINAPI ReleaseDC(HWND window, HDC dc);
BOOL WINAPI GetScrollBarInfo(HWND window, LONG object, SCROLLBARINFO *info);

/// Resource 1 is the program's icon.
HICON WINAPI LoadIconW(HINSTANCE instance, LPCWSTR name);
HCURSOR WINAPI LoadCursorW(HINSTANCE instance, LPCWSTR name);

/// Tells screen readers that a control is to be read anew.
void WINAPI NotifyWinEvent(DWORD event, HWND window, LONG object, LONG child);

/// Calls back for every top-level window of the desktop until the callback gives FALSE.
BOOL WINAPI EnumWindows(WNDENUMPROC callback, LPARAM parameter);
DWORD WINAPI GetWindowThreadProcessId(HWND window, LPDWORD processId);
/// To a window of this program from any thread, in the order of the calls; to another program's only WM_CLOSE.
BOOL WINAPI PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
