// An open file or folder: what CreateFileW gives.
#pragma once

#include "platform/linux/folders.h"
#include "platform/linux/handle.h"

#include <optional>
#include <string>

namespace dm::platform {

struct PrivateFolder;

struct OpenFile final : Object {
    FolderRef folder;                             ///< a pinned folder: the folder itself
    FolderRef parent;                             ///< anything else: the folder that it was opened in,
    std::string name;                             ///< its name there,
    Fd descriptor;                                ///< its own descriptor (-1 for a mount point, which is never opened),
    ObjectId id;                                  ///< and which object it is
    WString path;                                 ///< drive form; a pinned folder has its own
    Record record;                                ///< as it was last read
    bool recordIsFresh = false;                   ///< the open itself read it: the first question need not read again
    bool placeIsProved = false;                   ///< the open itself proved it below a pinned folder: likewise
    bool writtenAlone = false;                    ///< open for writing without sharing
    std::shared_ptr<PrivateFolder> privateFolder; ///< set while the file is held for removal, under a lease

    OpenFile() = default;
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;
    ~OpenFile() override;
};

/// Turns a file opened by O_PATH into one held for removal: opened for nobody but us, proved so by a write lease.
/// False with the last error set: ERROR_SHARING_VIOLATION while anyone has it open or mapped, ERROR_ACCESS_DENIED where
/// the kernel cannot tell or this user may not remove it.
bool holdForRemoval(OpenFile &file);

/// This user could remove a file of that record from the folder: by the folder's mode and flags, its sticky bit and
/// owner, the file's flags, and whether the kernel would tell this user who has the file open.
bool mayRemove(Folder &folder, const Record &record);

/// Removes the file that is held for removal, or nothing: takes its name into a private folder where nobody else can
/// reach it, proves that what was taken is the held file and that every level above it is in place, and only then
/// unlinks it. On any doubt the object goes back under its name.
/// 0, or the error; ERROR_FILE_INVALID where its name was taken meanwhile and it now stands beside it as
/// "name.kept-" and a random end.
DWORD removeHeld(OpenFile &file);

/// Gives up the lease, if there is one.
void releaseHeld(OpenFile &file);

} // namespace dm::platform
