// Published declarations of the notification area.
#pragma once

#include "platform/linux/win32_windows.h"

#define NIM_ADD 0x00000000
#define NIM_MODIFY 0x00000001
#define NIM_DELETE 0x00000002
#define NIM_SETVERSION 0x00000004
#define NIF_MESSAGE 0x00000001
#define NIF_ICON 0x00000002
#define NIF_TIP 0x00000004
#define NIF_INFO 0x00000010
#define NIF_SHOWTIP 0x00000080
#define NIIF_INFO 0x00000001
#define NOTIFYICON_VERSION_4 4

#define NIN_SELECT (WM_USER + 0)
#define NINF_KEY 0x1
#define NIN_KEYSELECT (NIN_SELECT | NINF_KEY)
#define NIN_BALLOONUSERCLICK (WM_USER + 5)

struct NOTIFYICONDATAW {
    DWORD cbSize;
    HWND hWnd;
    UINT uID;
    UINT uFlags;
    UINT uCallbackMessage;
    HICON hIcon;
    WCHAR szTip[128];
    DWORD dwState;
    DWORD dwStateMask;
    WCHAR szInfo[256];
    union {
        UINT uTimeout;
        UINT uVersion;
    };
    WCHAR szInfoTitle[64];
    DWORD dwInfoFlags;
    GUID guidItem;
    HICON hBalloonIcon;
};

struct NOTIFYICONIDENTIFIER {
    DWORD cbSize;
    HWND hWnd;
    UINT uID;
    GUID guidItem;
};

/// One icon, by its window and id. It is a status notifier item where the desktop has a host for those, a host that
/// comes later or again included. Where it has none, it stands in a corner of the screen while the window is hidden.
BOOL WINAPI Shell_NotifyIconW(DWORD message, NOTIFYICONDATAW *data);
/// Only of an icon in the corner: the place of another one is its host's secret, and the answer E_FAIL.
HRESULT WINAPI Shell_NotifyIconGetRect(const NOTIFYICONIDENTIFIER *identifier, RECT *rect);
