// Moves files that a search found to the Recycle Bin, one at a time. Nothing is deleted: a file reaches the Recycle Bin
// and can be restored from there, or it stays where it is.
//
// Nothing of the list is trusted but the identity that it recorded: each file is opened anew, through no link and for
// nobody else, and compared before it is moved, and again where it is found afterwards.
#pragma once

#include "core/records.h"
#include "large/search.h"
#include "platform/win32.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace dm::large {

/// What became of one file.
enum class RecycleStatus : std::uint32_t {
    Moved = 0,       ///< in the Recycle Bin, and found there
    Changed = 1,     ///< the file, its folder or the searched folder is no longer what the list says, or is gone
    InUse = 2,       ///< another process holds the file
    Unsupported = 3, ///< the file's place or the shell allows no move
    Failed = 4,      ///< anything else; also a move whose result could not be verified
    Cancelled = 5,   ///< stopped on request, and all after it
};

struct RecycleOutcome {
    std::uint64_t entryIndex = 0; ///< into the entries of the search
    RecycleStatus status = RecycleStatus::Moved;
    std::uint32_t code = 0; ///< the Windows error code or HRESULT behind the status; 0 for a moved file
};

struct RecycleResult {
    std::uint64_t moved = 0;
    std::uint64_t movedBytes = 0; ///< their recorded sizes; the greatest value where the sum would be greater
    std::uint64_t kept = 0;       ///< changed, in use or unsupported
    std::uint64_t errors = 0;     ///< failed
    bool cancelled = false;
    std::vector<RecycleOutcome> outcomes; ///< in the order handled; a file not reached after a cancel has no row
};

/// The indexes below `count`, each only where it comes first.
std::vector<std::uint64_t> uniqueIndexes(const std::vector<std::uint64_t> &chosen, std::uint64_t count);

/// Moves the chosen entries of a search. Progress gives an entry's path before and after it is dealt with, the number
/// of those done and of all. The window is not used, since nothing here shows one. Only running out of memory throws.
RecycleResult moveToRecycleBin(const LargeSearchResult &search, const std::vector<std::uint64_t> &chosen,
                               const std::atomic<bool> &cancelFlag, const ProgressReport &reportProgress, HWND window);

} // namespace dm::large
