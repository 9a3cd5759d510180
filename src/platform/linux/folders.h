// Folders held open, and the proof of where they are.
//
// A held folder is an O_PATH descriptor opened by name under the descriptor of its parent, one level at a time, through
// no link and over no mount. All handles of one thread that pin the same folder share one descriptor.
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
    Fd descriptor;                  ///< -1 only for a drive's root that exists in name alone (Volume::folderName)
    std::shared_ptr<Folder> parent; ///< null for a drive's root
    std::string name;               ///< under the parent
    bool volumeRoot = false;        ///< the root of a mounted volume
    WString path;                   ///< drive form: "C:\" or "C:\folder\folder"
    std::string linuxPath;          ///< the same as an absolute Linux path; empty where there is no descriptor
    Record record = {};             ///< as it was when the folder was opened
    std::atomic<int> pins = 0;      ///< handles of the program that hold this folder
    std::optional<bool> writable;   ///< names in it may be added and removed by this user, once asked

    ObjectId id() const { return idOf(record); }
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
/// The only folder in a drive's root that exists in name alone, or null with the last error set.
FolderRef openNamedVolumeRoot(const FolderRef &root, WStringView path, std::string_view name);
/// A folder that this thread holds already and that is still what its name under the parent leads to, or null.
FolderRef heldChild(const FolderRef &parent, WStringView normal);
/// Takes a folder just opened under its parent into those that this thread holds.
FolderRef adoptFolder(const FolderRef &parent, WStringView normal, std::string name, Fd descriptor,
                      const Record &record);

/// Opens one name under a folder: O_PATH, through no link, over no mount. Empty with errno set (EXDEV at a mount
/// point).
Fd openName(int folder, const char *name);
/// Opens the very object that an O_PATH descriptor holds once more, for its data. The caller has looked at its type: a
/// special file is never opened. Empty with errno set.
Fd openAgain(int path, int flags);

/// The name under its held parent is still the held folder; a volume's root is still mounted where it was.
bool proveLevel(const Folder &folder);
/// proveLevel for the folder and everything above it.
bool proveAllLevels(const Folder &folder);
/// The whole path of what is held leads to it now: one look-up from the root of all, whatever the depth. Every level
/// was opened through no link; one that has since become a link to where it was moved is not told apart, which is why a
/// removal proves all levels instead. `name` is one below the folder, or empty for the folder itself.
bool provePath(const Folder &folder, std::string_view name, const ObjectId &id);

/// Names in the folder may be added and removed by this user, as the kernel answers it.
bool isWritable(Folder &folder);

} // namespace dm::platform
