// Published declarations of the conversion between UTF-16 and bytes.
#pragma once

#include "platform/linux/win32_base.h"

using LPCSTR = const char *;
using LPSTR = char *;
using LPBOOL = BOOL *;

#define CP_UTF8 65001
#define MB_ERR_INVALID_CHARS 0x00000008

// Both work on counted text, not on one that ends with a null, and know CP_UTF8 only. With no room given they tell the
// room needed. 0 is a failure: ERROR_INSUFFICIENT_BUFFER, or ERROR_INVALID_PARAMETER for an empty text and whatever
// else they do not know.

/// Only with MB_ERR_INVALID_CHARS: ERROR_NO_UNICODE_TRANSLATION for any invalid sequence.
int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR bytes, int byteCount, LPWSTR text, int units);
/// Only without flags: an unpaired surrogate becomes U+FFFD.
int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int units, LPSTR bytes, int byteCount,
                               LPCSTR defaultChar, LPBOOL usedDefaultChar);
