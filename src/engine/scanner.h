// The walk that finds what may be deleted. It changes nothing on the disk.
#pragma once

#include "core/records.h"
#include "platform/text.h"

#include <atomic>
#include <cstdint>
#include <optional>

namespace dm {

/// The least age of a file in a temp folder: 24 hours in 100-nanosecond ticks.
inline constexpr std::uint64_t ageCutoff = 864'000'000'000;

/// The age test on a last-write time. An unset time and one in the future are never old enough.
constexpr bool isOldEnough(std::uint64_t lastWriteTime, std::uint64_t now) {
    return lastWriteTime != 0 && lastWriteTime <= now && now - lastWriteTime >= ageCutoff;
}

/// The system's time in 100-nanosecond ticks since 1601 UTC.
std::uint64_t currentTime();

/// The user's Recycle Bin on all drives.
struct RecycleBinFigures {
    std::uint64_t bytes = 0;
    std::uint64_t items = 0;
};

/// Empty if the query fails or answers with a negative figure.
std::optional<RecycleBinFigures> queryRecycleBin();

/// Walks all targets and queries the Recycle Bin. Progress gives the full path of each directory entry met, the count
/// of entries so far and a total of 0. When cancelled, gives what was found until then, without the Recycle Bin.
/// No failure stops the scan: each is counted in the result.
ScanResult scanAll(const std::atomic<bool> &cancelFlag, const ProgressReport &progress);

/// Walks this one folder as temporary files. The result has no root if the folder cannot be pinned or is a drive root.
ScanResult scanRoot(WStringView path, const std::atomic<bool> &cancelFlag);

/// Walks one folder and what is below it. The caller holds the folder pinned. `now` is the time that ages count from,
/// `count` the entries met so far; the root has depth 0.
void scanFolder(WStringView folder, const ScanTarget &target, const WString &rootPath, ScanResult &result,
                const std::atomic<bool> &cancelFlag, const ProgressReport &progress, std::uint64_t now,
                std::uint64_t &count, unsigned depth);

} // namespace dm
