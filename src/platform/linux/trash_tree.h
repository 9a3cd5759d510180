// Whole trees in the trash: what they hold, and their removal.
//
// Both walk by names under held folders, never by a path, so that no depth is too deep, and neither goes through a link
// or over a mount. The deepest folders of a walk stay open; one further up that is needed again is opened from the one
// below it and must be the folder that it was.
#pragma once

#include "platform/linux/record.h"

#include <cstdint>
#include <string>
#include <vector>

namespace dm::platform {

/// What a tree holds, its own root included.
struct TreeFigure {
    std::uint64_t entries = 0;
    std::uint64_t bytes = 0;  ///< sizes of its regular files; the greatest value where the sum would be greater
    std::uint64_t inodes = 0; ///< the sum of the inode numbers, in which an exchange of like for like shows
    bool operator==(const TreeFigure &) const = default;
};

struct TreeSurvey {
    TreeFigure figure;
    DWORD obstacle = ERROR_SUCCESS; ///< the first thing seen because of which not all of it could be removed
};

/// Looks at everything below an object that is held open, changing nothing. Its parent's device tells whether it
/// belongs to another file system. What this user may not read counts as an entry without content.
TreeSurvey surveyTree(int object, const Record &record, std::uint64_t parentDevice);

/// Removes what a name stands for with all that is below it: links as links, and folders of this user also without
/// permission to write in them. Goes on after a failure; gives the first, or 0 when all is gone.
DWORD removeTree(int folder, const std::string &name);

/// Lets the owner list, enter and change a folder.
void makeAccessible(int folder, const Record &record);

/// Sets the mode of an object that is held by an O_PATH descriptor; no link.
bool setMode(int object, mode_t mode);

/// The names in a folder other than "." and "..", added to `names`. 0 or an error code.
DWORD listNames(int folder, std::vector<std::string> &names);

} // namespace dm::platform
