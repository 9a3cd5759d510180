// Private folders: where a name is taken to before it is removed for good.
//
// Linux removes names, not handles. So a file that is to go is first renamed, under a random name, into a folder that
// no other process can list or watch (mode 0300), and only what is proved there is unlinked. There is one such folder a
// mount, made when the first file of that mount is held for removal (a full disk would refuse it later) and kept until
// the process ends. Where each taken object came from stands in a record beside it, so that what a killed process left
// is brought back at the next start.
#pragma once

#include "platform/linux/folders.h"

#include <memory>
#include <string>
#include <string_view>

namespace dm::platform {

struct PrivateFolder {
    Fd descriptor;               ///< O_PATH
    Fd claim;                    ///< tells other processes that the folder is in use
    Fd journal;                  ///< locked as long as the process lives
    std::size_t journalSize = 0; ///< bytes set aside on the disk
    std::string record;          ///< as it was last written: where the taken object came from
    std::string path;            ///< absolute Linux path
    std::string memory;          ///< where it is remembered; empty if it lies where each start looks
    std::uint64_t mountId = 0;
    std::uint64_t device = 0;
    bool leasesTell = false; ///< a write lease is refused here while a file is mapped with its descriptor closed
    bool retired = false;    ///< holds something that could not be put back; left for the next start
};

/// The private folder on the mount of a folder, made if it is not there yet. Null with the last error set where none
/// can be made: no folder of this user, modes not honoured, no space, or no way to find it again after a crash.
std::shared_ptr<PrivateFolder> privateFolderFor(const FolderRef &folder);

/// Forgets a private folder that somebody removed or that must not be used any more.
void retire(PrivateFolder &folder);

/// A random name of 32 hexadecimal digits.
std::string randomName();

/// The name of a new private folder, and whether a name is one of that kind, as against what somebody else has called
/// by the same beginning.
std::string newPrivateName();
bool isPrivateName(std::string_view name);

/// "name.kept-" and a random end, cut to the length that a name may have, for what finds its name taken when it comes
/// back.
std::string keptName(const std::string &name);

/// Moves what `from` has under `name` to the private folder under `taken`, having noted where it came from.
/// 0 or the error code.
DWORD takeName(PrivateFolder &folder, const FolderRef &from, const std::string &name, const std::string &taken);

/// How an object came back.
enum class PutBack { UnderItsName, Beside, Failed };

/// Moves a taken object back under its name; beside it, as "name.kept-" and a random end, where the name is taken
/// meanwhile; into the nearest folder above that still exists, where its own is gone.
PutBack putBack(PrivateFolder &folder, const std::string &taken, Folder &to, const std::string &name);

/// True for a private folder met in a listing; no scan ever offers what is in one.
bool isPrivateFolder(std::string_view name, const Record &record);

/// Brings back what earlier processes that were killed left in their private folders. Called once at the start.
void recoverPrivateFolders();

/// Removes this process's private folders. Called once at the end.
void removePrivateFolders();

} // namespace dm::platform
