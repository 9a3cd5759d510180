// The Win32 interface as far as the program calls it. On Windows these are the system's own headers;
// elsewhere the same published declarations, implemented by the platform layer.
#pragma once

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <windowsx.h>

#include <commctrl.h>
#include <objbase.h>

#include <gdiplus.h>
#include <shellapi.h>
#include <sherrors.h>
#include <shlobj.h>
#include <tlhelp32.h>
#include <wincrypt.h>
#include <winhttp.h>
#include <winioctl.h>

#include <ctime>
#include <cwchar>
#include <cwctype>

// Published since Windows 10, but not in every set of headers.
#ifndef FILE_ATTRIBUTE_RECALL_ON_OPEN
#define FILE_ATTRIBUTE_RECALL_ON_OPEN 0x00040000
#endif
#ifndef FILE_ATTRIBUTE_RECALL_ON_DATA_ACCESS
#define FILE_ATTRIBUTE_RECALL_ON_DATA_ACCESS 0x00400000
#endif
#else
#include "platform/linux/win32_base.h"
#include "platform/linux/win32_controls.h"
#include "platform/linux/win32_desktop.h"
#include "platform/linux/win32_dialogs.h"
#include "platform/linux/win32_files.h"
#include "platform/linux/win32_gdi.h"
#include "platform/linux/win32_gdiplus.h"
#include "platform/linux/win32_http.h"
#include "platform/linux/win32_locale.h"
#include "platform/linux/win32_messages.h"
#include "platform/linux/win32_notify.h"
#include "platform/linux/win32_processes.h"
#include "platform/linux/win32_protect.h"
#include "platform/linux/win32_shell.h"
#include "platform/linux/win32_shell_items.h"
#include "platform/linux/win32_shell_open.h"
#include "platform/linux/win32_text.h"
#include "platform/linux/win32_windows.h"
#endif
