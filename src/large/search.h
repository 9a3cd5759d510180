// The walk that finds the largest files of a folder or drive, and the checks of paths and identity that a later move of
// what it found shares with it. It opens files for their attributes alone and changes nothing on the disk.
//
// Paths are as normalizeSearchPath gives them. File times are 100-nanosecond ticks since 1601 UTC.
#pragma once

#include "core/records.h"
#include "engine/identity.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace dm::large {

struct LargeSearchOptions {
    WString root;                         ///< the folder as the user gave it
    std::uint64_t minBytes = 104'857'600; ///< the smallest size that counts: 100 MB
    std::uint64_t maxEntries = 100'000;   ///< the longest list
};

/// One large file. The numbers, with the path, are its identity: a file that differs in any of them later is not the
/// one that the user saw.
struct LargeFileEntry {
    WString path; ///< final path, read from the file's own handle
    std::uint64_t size = 0;
    std::uint64_t lastWriteTime = 0;
    std::uint64_t fileIndex = 0;
    std::uint32_t volumeSerial = 0;
};

struct LargeSearchResult {
    WString root; ///< final path of the searched folder; empty if it was refused
    std::uint64_t rootFileIndex = 0;
    std::uint32_t rootVolumeSerial = 0;
    std::vector<LargeFileEntry> entries; ///< in the order of discovery
    std::uint64_t filesChecked = 0;      ///< files met, of any size; no reparse points
    std::uint64_t totalBytes = 0; ///< sum of the entries' sizes; the greatest value where the sum would be greater
    std::uint64_t skipped = 0;    ///< passed over on purpose
    std::uint64_t errors = 0;     ///< failed; a refused search has 1
    bool cancelled = false;
    bool limited = false; ///< there is more than the list holds, or a folder too deep to be read
    std::uint32_t lastError =
        0;             ///< last-error code of a refused search, or of one cancelled before its folder was open
    WString errorText; ///< source text of the catalogue for a refused search
};

/// Attributes that no file of the list has: of the system, a folder, a device, a link, or not wholly on the disk.
inline constexpr DWORD excludedFileAttributes =
    FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_REPARSE_POINT |
    FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_RECALL_ON_OPEN | FILE_ATTRIBUTE_RECALL_ON_DATA_ACCESS;

/// Finds the plain files of at least the least size below a folder. Progress gives the path of every 64th file, the
/// files met so far and a total of 0. No failure stops the search: each is counted in the result. Only running out of
/// memory throws.
LargeSearchResult searchLargeFiles(const LargeSearchOptions &options, const std::atomic<bool> &cancelFlag,
                                   const ProgressReport &reportProgress);

/// A stricter gate than normalizePath: it bounds the lengths and refuses the names of devices too. False, with an empty
/// output, for a refused path.
bool normalizeSearchPath(WStringView text, WString &output) noexcept;
/// Both paths pass normalizeSearchPath and are equal unit by unit after towlower.
bool pathsEqual(WStringView left, WStringView right);
/// Both paths pass normalizeSearchPath and the child lies strictly below the parent, compared likewise.
bool pathIsUnder(WStringView child, WStringView parent);
/// A folder of the Recycle Bin or of the system volume data; case does not matter.
bool isExcludedFolderName(WStringView name);
/// The path does not pass normalizeSearchPath, or one of its components is an excluded folder.
bool pathHasExcludedFolder(WStringView path);
/// The path lies on a fixed or, unless `fixedOnly`, a removable drive.
bool isLocalDrive(const WString &path, bool fixedOnly);

/// What an open file is. The path is empty where there is none on a drive letter.
LargeFileEntry readFileIdentity(HANDLE handle, const BY_HANDLE_FILE_INFORMATION &information);
/// Equal paths and equal numbers.
bool sameFileIdentity(const LargeFileEntry &left, const LargeFileEntry &right);
/// Equal numbers, wherever the files lie.
bool sameFileData(const LargeFileEntry &left, const LargeFileEntry &right);

/// Pins the drive root and every folder from there down to the path, each proved to lie where it was asked for. False
/// with the last error set: ERROR_CANCELLED once the flag is set, ERROR_INVALID_NAME for a path that is refused or a
/// folder that lies elsewhere, ERROR_REPARSE_TAG_INVALID for what is no plain folder, or that of the failing call.
bool pinSearchPath(PinnedPath &pinned, WStringView path, const std::atomic<bool> &cancelFlag);

} // namespace dm::large
