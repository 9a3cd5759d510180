// Published declarations of what the shell opens for the user: a folder with a file selected in it, a folder, an
// address.
#pragma once

#include "platform/linux/win32_shell_items.h"
#include "platform/linux/win32_windows.h"

using PCIDLIST_ABSOLUTE = const ITEMIDLIST *;
using PCUITEMID_CHILD = const ITEMIDLIST *;
using PCUITEMID_CHILD_ARRAY = const PCUITEMID_CHILD *;

/// The item identifier list of what exists at a path, a link not being followed; to be freed with CoTaskMemFree. The
/// attributes are left alone.
HRESULT WINAPI SHParseDisplayName(PCWSTR name, IBindCtx *context, PIDLIST_ABSOLUTE *list, SFGAOF wanted,
                                  SFGAOF *attributes);
/// Only without children: shows the item, selected, in the window of the folder that it lies in. S_OK means that the
/// desktop's file manager has been asked; where it then declines, the folder alone is opened.
HRESULT WINAPI SHOpenFolderAndSelectItems(PCIDLIST_ABSOLUTE folder, UINT count, PCUITEMID_CHILD_ARRAY children,
                                          DWORD flags);

/// Only "open", of a folder by its path or of an http or https address, by the desktop's own opener, with no
/// parameters. A value above 32 for success.
HINSTANCE WINAPI ShellExecuteW(HWND window, LPCWSTR operation, LPCWSTR file, LPCWSTR parameters, LPCWSTR directory,
                               int show);
