// The one place where files are deleted. It trusts nothing that it is handed.
#pragma once

#include "core/records.h"

#include <atomic>
#include <functional>

namespace dm {

/// What one attempt to open a file came to.
enum class OpenAttempt {
    Opened = 0,
    Locked = 1, ///< in use: another attempt may succeed
    Failed = 2,
};

/// What all attempts came to.
enum class OpenCode {
    Opened,
    Locked, ///< in use, and the default policy does not wait
    Failed, ///< also: still in use after the last attempt
    Cancelled,
};

struct OpenOutcome {
    OpenCode code;
    unsigned waits; ///< whole waits spent between attempts
};

/// Tries to open a file: once if files in use are skipped, else up to three times with a wait in between. The wait gets
/// its length in milliseconds and may end early when the flag goes up.
OpenOutcome openWithRetry(bool skipLockedFiles, const std::atomic<bool> &cancelFlag,
                          const std::function<OpenAttempt()> &attempt, const std::function<void(unsigned)> &wait);

/// Deletes the file that the entry tells of if it is still that very file in that very place, and fits for deletion;
/// otherwise keeps it. Counts the outcome in the result.
void deleteEntry(const FileEntry &entry, const RootIdentity &root, bool enforceAgeCutoff,
                 const std::atomic<bool> &cancelFlag, CleanResult &result, CleanOptions options);

/// Deletes the entries of the chosen categories, and empties the Recycle Bin if it is chosen and still what was
/// scanned. Progress gives the path, the items started so far and the number of items chosen. No failure stops it:
/// each is counted.
CleanResult cleanSelected(const ScanResult &scan, const CleanSelection &selection, const std::atomic<bool> &cancelFlag,
                          const ProgressReport &progress, CleanOptions options);

} // namespace dm
