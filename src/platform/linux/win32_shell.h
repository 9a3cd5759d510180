// Published declarations of the shell: known folders and the Recycle Bin.
#pragma once

#include "platform/linux/win32_base.h"

using KNOWNFOLDERID = GUID;
using REFKNOWNFOLDERID = const KNOWNFOLDERID &;

inline constexpr KNOWNFOLDERID FOLDERID_LocalAppData = {
    0xF1B32785, 0x6FBA, 0x4FCF, {0x9D, 0x55, 0x7B, 0x8E, 0x7F, 0x15, 0x70, 0x91}};

/// The path of a known folder, to be freed with CoTaskMemFree.
HRESULT WINAPI SHGetKnownFolderPath(REFKNOWNFOLDERID folder, DWORD flags, HANDLE token, PWSTR *path);

#define CSIDL_LOCAL_APPDATA 0x001C
enum SHGFP_TYPE { SHGFP_TYPE_CURRENT = 0 };

/// The same for the folders of the older numbers, into room for MAX_PATH units; a longer path is a failure.
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
