// Published declarations of the shell: known folders and the Recycle Bin.
#pragma once

#include "platform/linux/win32_base.h"

using KNOWNFOLDERID = GUID;
using REFKNOWNFOLDERID = const KNOWNFOLDERID &;

#define CSIDL_LOCAL_APPDATA 0x001C
enum SHGFP_TYPE { SHGFP_TYPE_CURRENT = 0 };

/// The folder of local application data, which is made if it is missing, into room for MAX_PATH units; a longer path
/// is a failure.
HRESULT WINAPI SHGetFolderPathW(HWND window, int folder, HANDLE token, DWORD type, LPWSTR path);

struct SHQUERYRBINFO {
    DWORD cbSize;
    LONGLONG i64Size;
    LONGLONG i64NumItems;
};

#define SHERB_NOCONFIRMATION 0x1
#define SHERB_NOPROGRESSUI 0x2
#define SHERB_NOSOUND 0x4

/// Size in bytes and number of items in this user's Recycle Bin; a null root means all drives.
HRESULT WINAPI SHQueryRecycleBinW(LPCWSTR root, SHQUERYRBINFO *info);
/// Empties what the last query of this process counted, and nothing else; a null root means all drives.
HRESULT WINAPI SHEmptyRecycleBinW(HWND window, LPCWSTR root, DWORD flags);
