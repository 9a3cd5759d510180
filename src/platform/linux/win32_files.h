// Published declarations of files, folders and volumes.
#pragma once

#include "platform/linux/win32_base.h"

#define DELETE 0x00010000U
#define FILE_READ_DATA 0x0001U
#define FILE_WRITE_DATA 0x0002U
#define FILE_APPEND_DATA 0x0004U
#define FILE_READ_ATTRIBUTES 0x0080U
#define FILE_WRITE_ATTRIBUTES 0x0100U
#define GENERIC_READ 0x80000000U
#define GENERIC_WRITE 0x40000000U

#define FILE_SHARE_READ 0x1U
#define FILE_SHARE_WRITE 0x2U
#define FILE_SHARE_DELETE 0x4U

#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4

#define FILE_ATTRIBUTE_READONLY 0x00000001U
#define FILE_ATTRIBUTE_SYSTEM 0x00000004U
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010U
#define FILE_ATTRIBUTE_DEVICE 0x00000040U
#define FILE_ATTRIBUTE_NORMAL 0x00000080U
#define FILE_ATTRIBUTE_REPARSE_POINT 0x00000400U
#define FILE_ATTRIBUTE_OFFLINE 0x00001000U
#define FILE_ATTRIBUTE_RECALL_ON_OPEN 0x00040000U
#define FILE_ATTRIBUTE_RECALL_ON_DATA_ACCESS 0x00400000U
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFU

#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000U
#define FILE_FLAG_OPEN_REPARSE_POINT 0x00200000U

#define IO_REPARSE_TAG_MOUNT_POINT 0xA0000003U
#define FSCTL_SET_REPARSE_POINT 0x000900A4U

#define FILE_BEGIN 0

#define MOVEFILE_REPLACE_EXISTING 0x1
#define MOVEFILE_WRITE_THROUGH 0x8

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
struct OVERLAPPED;

struct BY_HANDLE_FILE_INFORMATION {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD dwVolumeSerialNumber;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD nNumberOfLinks;
    DWORD nFileIndexHigh;
    DWORD nFileIndexLow;
};

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    WCHAR cFileName[MAX_PATH];
    WCHAR cAlternateFileName[14];
};

enum FINDEX_INFO_LEVELS { FindExInfoStandard, FindExInfoBasic };
enum FINDEX_SEARCH_OPS { FindExSearchNameMatch };
#define FIND_FIRST_EX_LARGE_FETCH 0x2

enum FILE_INFO_BY_HANDLE_CLASS { FileDispositionInfo = 4 };
struct FILE_DISPOSITION_INFO {
    BOOLEAN DeleteFile;
};

// Files and folders. Paths are absolute, on a drive letter, with or without the extended-length prefix. No component
// of a path is ever followed through a link: a link as the last component is opened as itself.

/// Opens or creates. Gives INVALID_HANDLE_VALUE with the last error set on failure.
/// Folders need FILE_FLAG_BACKUP_SEMANTICS. A file opened for nothing but its attributes is refused with
/// ERROR_ACCESS_DENIED where this user could never remove it. An open with DELETE and no sharing fails with
/// ERROR_SHARING_VIOLATION while anyone has the file open or mapped, and with ERROR_ACCESS_DENIED where that cannot
/// be known. An open for data that shares nothing fails with ERROR_SHARING_VIOLATION while any process of the program
/// has the file open for data, keeps them out until it is closed, and truncates only once it has the file. All other
/// opens for data, so also those for appending, go beside each other.
HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES *security, DWORD disposition,
                          DWORD flagsAndAttributes, HANDLE templateFile);
BOOL WINAPI CloseHandle(HANDLE handle);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID bytes, DWORD count, LPDWORD written, OVERLAPPED *overlapped);
/// Reads up to so many bytes; fewer only at the end of the file.
BOOL WINAPI ReadFile(HANDLE file, LPVOID bytes, DWORD count, LPDWORD read, OVERLAPPED *overlapped);
/// Gives back once the disk has all that was written.
BOOL WINAPI FlushFileBuffers(HANDLE file);
BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER size);
#define FILE_TYPE_UNKNOWN 0x0
#define FILE_TYPE_DISK 0x1
#define FILE_TYPE_CHAR 0x2
#define FILE_TYPE_PIPE 0x3
DWORD WINAPI GetFileType(HANDLE file);
BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD from);
BOOL WINAPI SetFileTime(HANDLE file, const FILETIME *creation, const FILETIME *lastAccess, const FILETIME *lastWrite);
BOOL WINAPI GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION *information);
/// The path by which the open object can be reached at this moment, with the extended-length prefix, composed from the
/// folders held open above it and proved level by level. Gives the units written without the null; or, for a buffer
/// too small, the units needed with the null; or 0 where the object is no longer at that path.
/// Asking with no buffer composes only; the proof belongs to the call that fills one.
DWORD WINAPI GetFinalPathNameByHandleW(HANDLE file, LPWSTR path, DWORD units, DWORD flags);
/// FileDispositionInfo with DeleteFile set removes the very object that the handle holds, at once, or nothing.
BOOL WINAPI SetFileInformationByHandle(HANDLE file, FILE_INFO_BY_HANDLE_CLASS infoClass, LPVOID info, DWORD size);
/// FSCTL_SET_REPARSE_POINT with a mount-point buffer turns the empty folder into a link to the target folder.
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                            LPDWORD returned, OVERLAPPED *overlapped);

/// Attributes of the thing itself, a link not being followed; INVALID_FILE_ATTRIBUTES on failure.
DWORD WINAPI GetFileAttributesW(LPCWSTR path);
BOOL WINAPI CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES *security);
/// Removes an empty folder, or a link as itself.
BOOL WINAPI RemoveDirectoryW(LPCWSTR path);
/// ERROR_SHARING_VIOLATION while a process of the program has the file open without sharing.
BOOL WINAPI DeleteFileW(LPCWSTR path);
/// MoveFileExW without flags.
BOOL WINAPI MoveFileW(LPCWSTR from, LPCWSTR to);
/// Renames inside one volume; an existing target is an error. With MOVEFILE_REPLACE_EXISTING it is replaced by the file
/// in one step if it is a plain file of this user's that is not read-only (otherwise ERROR_ACCESS_DENIED); who is
/// reading it goes on with the old one. With MOVEFILE_WRITE_THROUGH the disk has the new name when the call gives back.
/// ERROR_SHARING_VIOLATION while a process of the program has either file open without sharing, and where another
/// process has changed what this one last wrote without sharing, under the first name.
BOOL WINAPI MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags);
BOOL WINAPI CreateHardLinkW(LPCWSTR newPath, LPCWSTR existingPath, SECURITY_ATTRIBUTES *security);

/// Starts the listing of a folder; the path ends in "\*". The names "." and ".." are not listed. An empty folder gives
/// INVALID_HANDLE_VALUE with ERROR_FILE_NOT_FOUND.
HANDLE WINAPI FindFirstFileExW(LPCWSTR path, FINDEX_INFO_LEVELS level, LPVOID data, FINDEX_SEARCH_OPS search,
                               LPVOID filter, DWORD flags);
/// False with ERROR_NO_MORE_FILES at the end.
BOOL WINAPI FindNextFileW(HANDLE find, WIN32_FIND_DATAW *data);
BOOL WINAPI FindClose(HANDLE find);

// Volumes.

#define DRIVE_NO_ROOT_DIR 1
#define DRIVE_REMOVABLE 2
#define DRIVE_FIXED 3
#define DRIVE_REMOTE 4
#define DRIVE_CDROM 5
#define DRIVE_RAMDISK 6

/// The roots of what a person would call a drive, each null-terminated, with a null at the end. Gives the units
/// written without the last null, or the units needed with it.
DWORD WINAPI GetLogicalDriveStringsW(DWORD units, LPWSTR roots);
UINT WINAPI GetDriveTypeW(LPCWSTR root);
/// The root of the drive that a path starts with; nothing is looked up but the letter. False with the last error set
/// for a letter that no drive has (ERROR_PATH_NOT_FOUND) and for too little room (ERROR_FILENAME_EXCED_RANGE).
BOOL WINAPI GetVolumePathNameW(LPCWSTR path, LPWSTR root, DWORD units);
/// Bytes free to this user, bytes in all, bytes free; any of the three may be null.
BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR folder, PULARGE_INTEGER available, PULARGE_INTEGER total,
                                PULARGE_INTEGER totalFree);

/// The user's folder for temporary files ($TMPDIR, else /tmp) with a backslash at the end. Gives the units
/// written without the null, the units needed with it, or 0.
DWORD WINAPI GetTempPathW(DWORD units, LPWSTR path);
