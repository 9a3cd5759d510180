// The trash folders of this user, as the Trash specification 1.0 of freedesktop.org lays them out: one in the home
// folder, and up to two at the top of every other volume. In each, "files" holds what was trashed and "info" a file
// about each item.
#pragma once

#include "platform/linux/folders.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace dm::platform {

struct Trash {
    WChar letter;        ///< of its drive; 0 where it lies on none
    std::string path;    ///< absolute Linux path
    std::string top;     ///< its volume's root, from which info files count paths; empty for the home folder's trash
    Fd folder;           ///< O_PATH
    std::uint64_t index; ///< fileIndexOf the folder
    std::uint64_t device;
};

/// This user's trashes on one drive, or on all for 0. Network drives are left out, as the Recycle Bin of Windows leaves
/// them out (and a server that does not answer would stop every scan), and so are discs, on which nothing can be
/// removed. The home folder's trash counts wherever it lies. 0 or an error code.
DWORD findTrashes(WChar only, std::vector<Trash> &trashes);

/// A trash that something can be moved to: this user's and nobody else's business.
struct OpenTrash {
    Trash trash;
    Fd files; ///< O_PATH
    Fd info;  ///< O_PATH
};

/// The trash for what lies on a drive: the home folder's, if that is on this drive; otherwise this user's part of the
/// one that an administrator has made for all, or else this user's own. With `make`, what is missing of it is made.
/// 0, or an error code: ERROR_NOT_SUPPORTED where none can be used.
DWORD openTrashFor(WChar letter, bool make, OpenTrash &open);

/// All three folders are still what their names lead to, through no link.
bool isInPlace(const OpenTrash &open);

/// A folder of that name in that folder is a trash, or was one of another system; no walk goes into it.
bool isTrashName(const Folder &folder, std::string_view name);

/// The folder lies in a trash.
bool isInTrash(const Folder &folder);

// The Recycle Bin as the program sees it: "X:\$Recycle.Bin\<user number>" is "files" of openTrashFor(X).
inline constexpr WStringView recycleBinName = W("$Recycle.Bin");
inline constexpr std::string_view recycleBinLinuxName = "$Recycle.Bin";
/// The name in there of this user's folder.
std::string recycleBinUser();

/// Opens a real folder that lies on the file system of the one above it. Empty with errno set, which is ENOENT for
/// anything else under the name.
Fd openFolder(int parent, const char *name, Record &record);

/// Renames without replacing. 0 or an error code; ERROR_NOT_SUPPORTED where the file system cannot do that.
DWORD moveName(int from, const std::string &name, int to, const std::string &newName);
/// Moves something back under its name, or beside it where that is taken meanwhile. False where it stays.
bool moveBack(int from, const std::string &name, int to, const std::string &itsName);

inline constexpr std::string_view infoSuffix = ".trashinfo";

/// The identity of an info file; 0 where there is none.
std::uint64_t infoIndex(int folder, const std::string &name);

} // namespace dm::platform
