// Published declarations of processes, sessions and owners.
#pragma once

#include "platform/linux/win32_base.h"

#define TH32CS_SNAPPROCESS 0x2U
#define PROCESS_QUERY_LIMITED_INFORMATION 0x1000U
#define TOKEN_QUERY 0x8U

struct PROCESSENTRY32W {
    DWORD dwSize;
    DWORD cntUsage;
    DWORD th32ProcessID;
    ULONG_PTR th32DefaultHeapID;
    DWORD th32ModuleID;
    DWORD cntThreads;
    DWORD th32ParentProcessID;
    LONG pcPriClassBase;
    DWORD dwFlags;
    WCHAR szExeFile[MAX_PATH];
};

enum TOKEN_INFORMATION_CLASS { TokenUser = 1 };
struct SID_AND_ATTRIBUTES {
    PSID Sid;
    DWORD Attributes;
};
struct TOKEN_USER {
    SID_AND_ATTRIBUTES User;
};

HANDLE WINAPI CreateToolhelp32Snapshot(DWORD flags, DWORD processId);
BOOL WINAPI Process32FirstW(HANDLE snapshot, PROCESSENTRY32W *entry);
/// False with ERROR_NO_MORE_FILES at the end.
BOOL WINAPI Process32NextW(HANDLE snapshot, PROCESSENTRY32W *entry);
DWORD WINAPI GetCurrentProcessId();
HANDLE WINAPI GetCurrentProcess();
/// One session number for all processes: the owner decides whose a process is.
BOOL WINAPI ProcessIdToSessionId(DWORD processId, DWORD *sessionId);
/// Null with ERROR_INVALID_PARAMETER where no such process exists.
HANDLE WINAPI OpenProcess(DWORD access, BOOL inherit, DWORD processId);
BOOL WINAPI OpenProcessToken(HANDLE process, DWORD access, PHANDLE token);
BOOL WINAPI GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS infoClass, LPVOID information, DWORD size,
                                PDWORD needed);
BOOL WINAPI EqualSid(PSID left, PSID right);
