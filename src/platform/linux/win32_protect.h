// Published declarations of data protection.
#pragma once

#include "platform/linux/win32_base.h"

struct DATA_BLOB {
    DWORD cbData;
    BYTE *pbData;
};
struct CRYPTPROTECT_PROMPTSTRUCT;
using HLOCAL = HANDLE;

#define CRYPTPROTECT_UI_FORBIDDEN 0x1

/// Turns the bytes into a block that only this user opens, on this machine, and only unchanged. The block is to be
/// freed with LocalFree; the description is not kept. Entropy, prompts and other flags are ERROR_INVALID_PARAMETER.
/// Fails where this user's key is damaged, open to others or cannot be made.
BOOL WINAPI CryptProtectData(DATA_BLOB *plain, LPCWSTR description, DATA_BLOB *entropy, PVOID reserved,
                             CRYPTPROTECT_PROMPTSTRUCT *prompt, DWORD flags, DATA_BLOB *block);
/// The bytes again, to be freed with LocalFree. ERROR_INVALID_DATA for anything but such a block.
BOOL WINAPI CryptUnprotectData(DATA_BLOB *block, LPWSTR *description, DATA_BLOB *entropy, PVOID reserved,
                               CRYPTPROTECT_PROMPTSTRUCT *prompt, DWORD flags, DATA_BLOB *plain);
/// Gives null.
HLOCAL WINAPI LocalFree(HLOCAL memory);
