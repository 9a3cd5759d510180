// The move of one file to the trash: a rename inside one volume, and never a copy.
//
// The info file comes first, so that the file is never in the trash without one: whoever ends this process at any
// moment finds the file in its place or where it can be restored from.
#pragma once

#include "platform/linux/trash_folders.h"

namespace dm::platform {

/// A file on its way. What was prepared and is not carried out takes its info file with it.
struct TrashMove {
    FolderRef folder; ///< where the file lies,
    std::string name; ///< its name there,
    Fd file;          ///< and itself, by O_PATH, so that nothing else can become the same inode
    Record record;    ///< as it was when it was opened
    OpenTrash target;
    std::string newName;         ///< in the trash
    std::uint64_t infoIndex = 0; ///< the identity of the info file that waits for the file; 0 if there is none

    TrashMove() = default;
    TrashMove(const TrashMove &) = delete;
    TrashMove &operator=(const TrashMove &) = delete;
    ~TrashMove();
};

/// Opens the regular file at a drive-form path and writes its info file. 0 or an error code: ERROR_NOT_SUPPORTED for
/// what is no regular file, for what lies in a trash already or at a path too long for other programs to restore it to,
/// and where no trash can be used.
DWORD prepareTrashMove(const WString &path, TrashMove &move);

/// Moves the file, and makes sure that what was moved is what was opened, and that its way back is what the info file
/// says. On any doubt what was moved goes back, and ERROR_FILE_INVALID is told. ERROR_NOT_SUPPORTED where only a copy
/// would bring the file to the trash. 0 or an error code.
DWORD carryOutTrashMove(TrashMove &move);

/// Where a file that was moved is found: below the Recycle Bin of its drive.
WString trashedPath(const TrashMove &move);

} // namespace dm::platform
