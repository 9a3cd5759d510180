// What a thing on the disk is, told by its open handle and never by its path.
#pragma once

#include "core/handles.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <cstdint>
#include <vector>

namespace dm {

/// A verified folder. Holds every folder from the drive root down to it open, in a share mode that forbids renaming and
/// removing them. After a failed pin it holds what was opened before the failure.
struct PinnedPath {
    std::vector<OwnedHandle> handles;  ///< from the drive root down
    WString finalPath;                 ///< of the last folder opened
    BY_HANDLE_FILE_INFORMATION info{}; ///< of the last folder opened
};

/// Units of a drive root such as "C:\". A final path that is no longer than this names a whole drive.
inline constexpr std::size_t driveRootUnits = 3;

constexpr std::uint64_t joinHalves(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32 | low;
}

/// 100-nanosecond ticks since 1601 UTC.
constexpr std::uint64_t ticksOf(const FILETIME &time) {
    return joinHalves(time.dwHighDateTime, time.dwLowDateTime);
}

constexpr std::uint64_t fileIndexOf(const BY_HANDLE_FILE_INFORMATION &info) {
    return joinHalves(info.nFileIndexHigh, info.nFileIndexLow);
}

constexpr std::uint64_t fileSizeOf(const BY_HANDLE_FILE_INFORMATION &info) {
    return joinHalves(info.nFileSizeHigh, info.nFileSizeLow);
}

/// A folder and no link.
constexpr bool isPlainFolder(DWORD attributes) {
    return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == FILE_ATTRIBUTE_DIRECTORY;
}

/// A writable file with one name, and no link.
constexpr bool isPlainFile(const BY_HANDLE_FILE_INFORMATION &info) {
    return (info.dwFileAttributes &
            (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0 &&
           info.nNumberOfLinks == 1;
}

// The opens. None follows a link. Each takes the path as toExtendedPath gives it, so that a walk can keep one text for
// all its entries; each gives an empty owner with the last error set on failure.

/// Shares reading and writing but not deleting: while the handle is open, nobody can rename or remove the folder.
OwnedHandle openFolder(const WString &extendedPath);
/// For the attributes alone, in nobody's way.
OwnedHandle openForScan(const WString &extendedPath);
/// Exclusive: a file that anybody else has open gives ERROR_SHARING_VIOLATION.
OwnedHandle openForDeletion(const WString &extendedPath);

/// Normalised final path of an open handle. Empty where there is none on a drive letter.
WString finalPathOf(HANDLE handle);

/// Opens and verifies one folder and adds it to the pin. False with the last error set: that of the failing call,
/// ERROR_REPARSE_TAG_INVALID for what is no plain folder, ERROR_INVALID_NAME for a folder without a final path.
bool pinDirectory(PinnedPath &pinned, WStringView path);

/// Pins the drive root and every folder from there down to the path. False with the last error set: as above, and
/// ERROR_INVALID_NAME for a path that normalizePath refuses.
bool pinPath(PinnedPath &pinned, WStringView path);

/// True for the errors that mean that an item is simply out of reach: gone, denied, in use or locked.
bool isBenignFileError(DWORD error);

} // namespace dm
