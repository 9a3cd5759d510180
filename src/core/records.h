// The records that scan, preview and clean-up hand to each other.
//
// Paths are normalised (engine/paths.h). File times are 100-nanosecond ticks since 1601 UTC.
#pragma once

#include "platform/text.h"

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace dm {

enum class CleanCategory : std::uint32_t {
    Temp = 0,    ///< temporary files of the user and of the system
    Browser = 1, ///< browser caches
};

inline constexpr std::size_t cleanCategoryCount = 2;

/// One folder that a scan walks.
struct ScanTarget {
    WString path; ///< an expectation: not verified, may not exist
    CleanCategory category = CleanCategory::Temp;
    bool enforceAgeCutoff = true; ///< only files older than `ageCutoff` qualify
};

/// One file that a scan offers for deletion. Size, time, index and serial, with the path, are its identity: a file that
/// differs in any of them later is not the one that the user saw.
struct FileEntry {
    WString path;     ///< final path, read from the file's own handle
    WString rootPath; ///< final path of the scan root
    std::uint64_t size = 0;
    CleanCategory category = CleanCategory::Temp;
    std::uint64_t lastWriteTime = 0;
    std::uint64_t fileIndex = 0;
    std::uint32_t volumeSerial = 0;
};

/// One scan root as it was when it was scanned.
struct RootIdentity {
    WString path; ///< final path
    std::uint64_t fileIndex = 0;
    std::uint32_t volumeSerial = 0;
};

struct ScanResult {
    std::vector<FileEntry> entries; ///< in the order of discovery
    std::array<std::uint64_t, cleanCategoryCount> bytesByCategory{};
    std::uint64_t recycleBytes = 0;
    std::uint64_t recycleItems = 0;
    std::uint64_t skipped = 0; ///< passed over on purpose or out of reach
    std::uint64_t errors = 0;  ///< failed unexpectedly
    std::vector<RootIdentity> roots;
};

/// What the user chose to clean.
struct CleanSelection {
    bool temp = false;
    bool browser = false;
    bool recycleBin = false;
};

struct CleanOptions {
    bool skipLockedFiles = true; ///< true: a file in use is skipped at once; false: its open is tried again first
};

struct CleanResult {
    std::uint64_t bytesFreed = 0;    ///< with the scanned size of an emptied Recycle Bin
    std::uint64_t filesDeleted = 0;  ///< with the scanned items of an emptied Recycle Bin
    std::uint64_t skipped = 0;       ///< kept on purpose: changed, gone, denied, or in use under the default policy
    std::uint64_t errors = 0;        ///< failed unexpectedly, or still in use after the retries
    std::uint64_t lockedSkipped = 0; ///< the part of `skipped` that was in use
    std::uint64_t lockedErrors = 0;  ///< the part of `errors` that was in use
    std::uint64_t retries = 0;       ///< waits that the retry policy spent
    bool recycleEmptied = false;
    bool cancelled = false;
};

/// What a background operation hands to the main window.
struct ProgressRecord {
    WString text; ///< the current path, or a label
    std::uint64_t processed = 0;
    std::uint64_t total = 0; ///< 0 when it is not known
};

/// How the engine reports: the fields of a ProgressRecord. The text lives only as long as the call, so that an entry
/// whose report is dropped costs no copy. An empty callable means no reporting.
using ProgressReport = std::function<void(WStringView text, std::uint64_t processed, std::uint64_t total)>;

} // namespace dm
