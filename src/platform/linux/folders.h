// Folders held open, and the proof of where they are.
//
// A held folder is a descriptor opened by name under the descriptor of its parent, one level at a time, through no link
// and over no mount: O_PATH, or for reading where a listing is to follow. All handles of one thread that pin the same
// folder share one descriptor, and however deep a path is, only the folders near its end keep theirs.
#pragma once

#include "platform/linux/fd.h"
#include "platform/linux/record.h"
#include "platform/text.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace dm::platform {

struct Folder {
    std::shared_ptr<Folder> parent; ///< null for a drive's root
    std::string name;               ///< under the parent
    bool volumeRoot = false;        ///< the root of a mounted volume
    bool ofTrash = false;           ///< "files" of a trash, under the path that it has in the Recycle Bin
    WString path;                   ///< drive form: "C:\" or "C:\folder\folder"
    std::string linuxPath;          ///< the same as an absolute Linux path; empty for one without a descriptor
    Record record = {};             ///< as it was when the folder was opened or last proved to be at its place
    std::atomic<int> pins = 0;      ///< handles of the program that hold this folder
    std::optional<bool> writable;   ///< names in it may be added and removed by this user, once asked
    unsigned depth = 0;             ///< folders above it
    SharedFd held;                  ///< empty also while the folder is let go
    bool isToList = false;          ///< `held` is open for reading, and nobody has read from it
    std::uint64_t index = 0;        ///< what it is told by then: fileIndexOf

    ObjectId id() const { return idOf(record); }
    /// It exists in name alone and has no descriptor: a drive's root (Volume::folderName), the Recycle Bin.
    bool isNameless() const { return linuxPath.empty(); }
    /// It lies elsewhere than under its parent, at a path of its own.
    bool hasOwnPlace() const { return volumeRoot || ofTrash; }
    /// For use at once, by the thread whose folder it is. -1 with errno set for one that has none, and for one that was
    /// let go and is no longer at its place.
    int descriptor();
};
using FolderRef = std::shared_ptr<Folder>;

/// The normal text of a path as it was given to a function: no extended-length prefix, upper-case letter, no backslash
/// at the end but that of a drive's root. False for anything that is not absolute on a drive letter.
bool parsePath(LPCWSTR path, WString &normal);

/// Splits a normal path at its last backslash; the parent of "C:\a" is "C:\". False for a drive's root.
bool splitPath(WStringView normal, WStringView &parent, WStringView &name);

/// The folder at a normal path in which something is to be opened. One that is pinned is taken as it is held, since
/// its place is proved with what is opened in it; any other is proved on its whole way. Null with the last error set; a
/// link or a mount point on the way or at the end is ERROR_CANT_ACCESS_FILE.
FolderRef folderToOpenIn(WStringView normal);

/// The root of a drive ("C:\"), or null with the last error set.
FolderRef openDriveRoot(WStringView normal);
/// A name that is no entry of the folder's on the disk: in a drive's root that exists in name alone, the Recycle Bin in
/// any drive's root, and whatever is in that.
bool isInNameOnly(const Folder &folder, std::string_view name);
/// The folder that such a name leads to, or null with the last error set.
FolderRef openNamed(const FolderRef &folder, WStringView path, std::string_view name);
/// The folder at a path as it is given to a function, if this thread holds it already, has its parent pinned, and it is
/// still what its name under that leads to; otherwise null. It is what the long way would give.
FolderRef heldBelowPinned(LPCWSTR path);
/// A folder that this thread holds already and that is still what its name under the parent leads to, or null.
FolderRef heldChild(const FolderRef &parent, WStringView normal);
/// Takes a folder just opened under its parent into those that this thread holds.
FolderRef adoptFolder(const FolderRef &parent, WStringView normal, std::string name, SharedFd descriptor,
                      const Record &record);

/// A folder whose whole way was proved, level by level from the drive's root, by calls that came one right after the
/// other, the last one being the one before this. Null where there is no such folder; until setProvedWay there is none.
FolderRef takeProvedWay();
void setProvedWay(const FolderRef &folder);

/// Opens one name under a folder: O_PATH, through no link, over no mount. Empty with errno set (EXDEV at a mount
/// point).
Fd openName(int folder, const char *name);
/// Opens the very object that an O_PATH descriptor holds once more, for its data. The caller has looked at its type: a
/// special file is never opened. Empty with errno set.
Fd openAgain(int path, int flags);

/// The name under its held parent is still the held folder; a volume's root is still mounted where it was. The record
/// read for that, if it is asked for, goes to `now`.
bool proveLevel(Folder &folder, Record *now = nullptr);
/// proveLevel for the folder and everything above it.
bool proveAllLevels(Folder &folder);
/// The whole path of what is held leads to it now: one look-up from the root of all, whatever the depth. Every level
/// was opened through no link; one that has since become a link to where it was moved is not told apart, which is why a
/// removal proves all levels instead. `name` is one below the folder, or empty for the folder itself.
bool provePath(Folder &folder, std::string_view name, const ObjectId &id);

/// Names in the folder may be added and removed by this user, as the kernel answers it.
bool isWritable(Folder &folder);

} // namespace dm::platform
