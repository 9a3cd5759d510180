// A tree of old files to measure scans and clean-ups on.
#pragma once

#include <cstdint>
#include <string>

namespace dm::bench {

/// What was made. A scan offers the plain files and passes over all others.
struct TreeFigures {
    std::uint64_t folders = 0;
    std::uint64_t offered = 0;
    std::uint64_t offeredBytes = 0;
    std::uint64_t symbolicLinks = 0;
    std::uint64_t hardLinkedNames = 0; ///< two for each file that has a second name
    std::uint64_t readOnly = 0;
    std::uint64_t fresh = 0;
    std::uint64_t large = 0; ///< of those offered
};

/// Fills an empty or missing folder with about the folders and files asked for: one folder with a tenth of the files, a
/// chain of up to 90 folders, and for the rest small folders at depth 2 to 5. One file in a hundred is a symbolic link,
/// has a second name, is read-only or is fresh, in turn. `largeFiles` of the plain ones, evenly spread, have 101 MiB
/// and more of which the disk holds next to nothing. The same arguments make the same tree, up to the times, which
/// count back from now. Throws std::runtime_error.
TreeFigures makeTree(const std::string &folder, std::uint64_t folders, std::uint64_t files,
                     std::uint64_t largeFiles = 0);

} // namespace dm::bench
