// The deletion under attack: a cleaner process scans and deletes in a folder while other processes of the same user
// change everything about it at full speed. In the end every file is accounted for. The same for the move to the
// Recycle Bin, of which nothing at all may be missing in the end.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace dm::torture {

struct TortureOptions {
    std::uint64_t attempts = 1000; ///< deletions tried, at least
    std::uint64_t seed = 1;
    bool kill = false;          ///< the cleaner is killed at random moments and started again
    bool dataElsewhere = false; ///< its data folder is on another volume, and so the private folder among the files
    bool moves = false;         ///< it moves to the Recycle Bin instead of deleting
    bool attackTrash = false;   ///< the trash is among what is watched and exchanged
    bool attackJournal = false; ///< and so are the journals of private folders, without which nobody knows any more
                                ///< where a file came from
    std::string folder = {};    ///< where the files are made, on this disk; they are removed in the end
};

struct TortureReport {
    std::string unavailable; ///< why this machine allows no torture; then nothing else counts
    std::string volume;      ///< the kind of file system under attack
    std::uint64_t attempts = 0;
    std::uint64_t deleted = 0;
    std::uint64_t moved = 0; ///< to the Recycle Bin
    std::uint64_t skipped = 0;
    std::uint64_t errors = 0;
    std::uint64_t lockedSkipped = 0;
    std::uint64_t lockedErrors = 0;
    std::uint64_t retries = 0;
    std::uint64_t starts = 0;
    std::uint64_t stops = 0;             ///< the cleaner was held up for a moment,
    std::uint64_t stopsWithNameGone = 0; ///< when the file that it was at was not under its name
    std::uint64_t kills = 0;
    std::uint64_t killsInDeletion = 0; ///< in the middle of an attempt,
    std::uint64_t killsWithNameGone = 0;
    std::uint64_t filesMade = 0;       ///< that may be deleted
    std::uint64_t preciousChecked = 0; ///< that may never be
    std::uint64_t sealed = 0;          ///< may not be any more, since an attacker changed them in time
    std::uint64_t violationCount = 0;
    std::vector<std::string> violations;                           ///< the first of them, in words
    std::vector<std::pair<std::string, std::uint64_t>> operations; ///< of the attackers, that succeeded
};

/// Works in process and mount namespaces of its own, where /tmp and /var/tmp are private, as an ordinary user. The
/// calling process must not have looked up its base folders or volumes.
TortureReport runTorture(const TortureOptions &options);

} // namespace dm::torture
