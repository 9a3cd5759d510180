#include "platform/linux/trash_folders.h"

#include "platform/linux/base_folders.h"
#include "platform/linux/errors.h"
#include "platform/linux/path_text.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/volumes.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace dm::platform {
namespace {

constexpr const char *homeTrashName = "Trash";
constexpr const char *sharedTrashName = ".Trash";

std::string ownTrashName() {
    return ".Trash-" + std::to_string(geteuid());
}

/// Opens an absolute path that leads through no link.
Fd openWhole(const std::string &path) {
    struct open_how how = {};
    how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return Fd(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
}

bool isFolderOf(const Record &record, std::uint64_t device) {
    return S_ISDIR(record.stx_mode) && (attributesOf(record, device) & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

/// A place where a trash of this user may be.
struct Place {
    WChar letter;
    const Fd &parent;
    std::string parentPath;
    std::string name;
    std::string top;
};

Trash trashAt(const Place &place, Fd folder, const Record &record) {
    Trash trash{place.letter, joinPath(place.parentPath, place.name), place.top, std::move(folder), 0, 0};
    trash.index = fileIndexOf(trash.folder.get(), record);
    trash.device = idOf(record).device;
    return trash;
}

/// Adds the trash at a place if there is one of this user. 0 or an error code.
DWORD addTrash(const Place &place, std::vector<Trash> &trashes) {
    Record record;
    Fd folder = openFolder(place.parent.get(), place.name.c_str(), record);
    if (!folder)
        return errno == ENOENT ? ERROR_SUCCESS : errorOf(errno);
    if (record.stx_uid == geteuid())
        trashes.push_back(trashAt(place, std::move(folder), record));
    return ERROR_SUCCESS;
}

/// Null if the volume is away, or lies where this user cannot go.
Fd openTop(const Volume &volume) {
    Fd top = openWhole(volume.mountPoint);
    Record record;
    const bool isVolume = top && readRecord(top.get(), "", record) && idOf(record).device == volume.device &&
                          (volume.subvolume || record.stx_mnt_id == volume.mountId);
    return isVolume ? std::move(top) : Fd();
}

/// The folder that an administrator has made for everybody's trash; empty where there is none that may be used.
Fd openSharedTrash(const Fd &top, Record &record) {
    Fd folder = openFolder(top.get(), sharedTrashName, record);
    return folder && (record.stx_mode & S_ISVTX) != 0 ? std::move(folder) : Fd();
}

Place placeInShared(const Volume &volume, const Fd &shared) {
    return {volume.letter, shared, joinPath(volume.mountPoint, sharedTrashName), std::to_string(geteuid()),
            volume.mountPoint};
}

Place placeAtTop(const Volume &volume, const Fd &top) {
    return {volume.letter, top, volume.mountPoint, ownTrashName(), volume.mountPoint};
}

DWORD addTrashesOf(const Volume &volume, std::vector<Trash> &trashes) {
    const Fd top = openTop(volume);
    if (!top)
        return ERROR_SUCCESS;
    Record record;
    const Fd shared = openSharedTrash(top, record);
    DWORD code = shared ? addTrash(placeInShared(volume, shared), trashes) : ERROR_SUCCESS;
    if (code == ERROR_SUCCESS)
        code = addTrash(placeAtTop(volume, top), trashes);
    // Where this user may not look, no trash of his can be.
    return code == ERROR_ACCESS_DENIED ? ERROR_SUCCESS : code;
}

WChar letterOfHome() {
    const WString home = drivePath(baseFolders().dataHome);
    return home.empty() ? W('\0') : home.front();
}

Place placeAtHome(WChar letter, const Fd &base) {
    return {letter, base, baseFolders().dataHome, homeTrashName, std::string()};
}

DWORD addHomeTrash(WChar letter, std::vector<Trash> &trashes) {
    const Fd base = openWhole(baseFolders().dataHome);
    if (base)
        return addTrash(placeAtHome(letter, base), trashes);
    return errno == ENOENT || errno == ENOTDIR || errno == ELOOP ? ERROR_SUCCESS : errorOf(errno);
}

bool hasBin(const Volume &volume) {
    return volume.driveType != DRIVE_REMOTE && volume.driveType != DRIVE_CDROM;
}

/// The code for a folder of a trash that could not be made or entered: what this user may not do is no failure, but
/// means that the trash is none to be used.
DWORD codeOfUnusable(int errnoValue) {
    switch (errnoValue) {
    case EACCES:
    case EPERM:
    case EROFS:
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
        return ERROR_NOT_SUPPORTED;
    default:
        return errorOf(errnoValue);
    }
}

/// Opens a folder that is this user's, to which others have none of the rights in `closed`.
DWORD openOwn(int parent, const char *name, mode_t closed, bool make, Fd &folder, Record &record) {
    if (make && mkdirat(parent, name, S_IRWXU) != 0 && errno != EEXIST)
        return codeOfUnusable(errno);
    folder = openFolder(parent, name, record);
    if (!folder)
        return codeOfUnusable(errno);
    return record.stx_uid == geteuid() && (record.stx_mode & closed) == 0 ? ERROR_SUCCESS : ERROR_NOT_SUPPORTED;
}

bool mayChange(const Fd &folder) {
    return faccessat(folder.get(), "", W_OK | X_OK, AT_EMPTY_PATH | AT_EACCESS) == 0;
}

/// On a volume that others use too, what comes out of a closed folder must stay closed to them. The home folder has a
/// door of its own.
DWORD openTrashAt(const Place &place, bool make, OpenTrash &open) {
    constexpr mode_t toChange = S_IWGRP | S_IWOTH;
    Record record;
    Fd folder;
    DWORD code = openOwn(place.parent.get(), place.name.c_str(), place.top.empty() ? toChange : S_IRWXG | S_IRWXO, make,
                         folder, record);
    if (code != ERROR_SUCCESS)
        return code;
    open.trash = trashAt(place, std::move(folder), record);
    code = openOwn(open.trash.folder.get(), "files", toChange, make, open.files, record);
    if (code == ERROR_SUCCESS)
        code = openOwn(open.trash.folder.get(), "info", toChange, make, open.info, record);
    if (code == ERROR_SUCCESS && (!mayChange(open.files) || !mayChange(open.info)))
        code = ERROR_NOT_SUPPORTED;
    return code;
}

DWORD openHomeTrash(WChar letter, bool make, OpenTrash &open) {
    const std::string &dataHome = baseFolders().dataHome;
    if (make && !makeBaseFolder(dataHome))
        return codeOfUnusable(errno);
    const Fd base = openWhole(dataHome);
    return base ? openTrashAt(placeAtHome(letter, base), make, open) : codeOfUnusable(errno);
}

/// An administrator's folder counts only if it is one: whoever owns it could take what is in there away.
DWORD openTrashOf(const Volume &volume, bool make, OpenTrash &open) {
    const Fd top = openTop(volume);
    if (!top)
        return ERROR_NOT_SUPPORTED;
    Record record;
    const Fd shared = openSharedTrash(top, record);
    if (shared && (record.stx_uid == 0 || record.stx_uid == geteuid())) {
        const DWORD code = openTrashAt(placeInShared(volume, shared), make, open);
        if (code != ERROR_NOT_SUPPORTED)
            return code;
    }
    return openTrashAt(placeAtTop(volume, top), make, open);
}

/// Where a name leads to that object still.
bool leadsTo(int parent, const char *name, const Fd &folder) {
    Record there;
    Record held;
    return readRecord(parent, name, there) && readRecord(folder.get(), "", held) && idOf(there) == idOf(held);
}

} // namespace

DWORD findTrashes(WChar only, std::vector<Trash> &trashes) {
    const std::vector<Volume> volumes = mountedVolumes();
    const WChar homeLetter = letterOfHome();
    DWORD code = only == 0 || only == homeLetter ? addHomeTrash(homeLetter, trashes) : ERROR_SUCCESS;
    for (const Volume &volume : volumes) {
        if (code == ERROR_SUCCESS && hasBin(volume) && (only == 0 || only == volume.letter))
            code = addTrashesOf(volume, trashes);
    }
    return code;
}

DWORD openTrashFor(WChar letter, bool make, OpenTrash &open) {
    if (letter == letterOfHome())
        return openHomeTrash(letter, make, open);
    const std::optional<Volume> volume = volumeOf(letter);
    return volume && hasBin(*volume) ? openTrashOf(*volume, make, open) : ERROR_NOT_SUPPORTED;
}

bool isInPlace(const OpenTrash &open) {
    const Fd folder = openWhole(open.trash.path);
    return folder && leadsTo(folder.get(), "", open.trash.folder) && leadsTo(folder.get(), "files", open.files) &&
           leadsTo(folder.get(), "info", open.info);
}

bool isTrashName(const Folder &folder, std::string_view name) {
    constexpr std::string_view foreignTrash = "$recycle.bin";
    if (name.size() == foreignTrash.size() && name.front() == '$')
        return std::equal(name.begin(), name.end(), foreignTrash.begin(), [](char left, char right) {
            return (left >= 'A' && left <= 'Z' ? left - 'A' + 'a' : left) == right;
        });
    if (name == sharedTrashName || name.starts_with(".Trash-"))
        return folder.volumeRoot;
    // Root sees the home folders of others too; theirs lie at the usual place.
    return name == homeTrashName &&
           (folder.linuxPath == baseFolders().dataHome || folder.linuxPath.ends_with("/.local/share"));
}

bool isInTrash(const Folder &folder) {
    for (const Folder *level = &folder; level->parent != nullptr; level = level->parent.get()) {
        if (isTrashName(*level->parent, level->name))
            return true;
    }
    return false;
}

std::string recycleBinUser() {
    return std::to_string(geteuid());
}

Fd openFolder(int parent, const char *name, Record &record) {
    Record above;
    if (!readRecord(parent, "", above))
        return Fd();
    Fd folder = openName(parent, name);
    if (folder && !readRecord(folder.get(), "", record))
        return Fd();
    if (folder ? isFolderOf(record, idOf(above).device) : errno != EXDEV)
        return folder;
    errno = ENOENT;
    return Fd();
}

DWORD moveName(int from, const std::string &name, int to, const std::string &newName) {
    if (renameat2(from, name.c_str(), to, newName.c_str(), RENAME_NOREPLACE) == 0)
        return ERROR_SUCCESS;
    return errno == EINVAL ? ERROR_NOT_SUPPORTED : errorOf(errno);
}

bool moveBack(int from, const std::string &name, int to, const std::string &itsName) {
    const DWORD code = moveName(from, name, to, itsName);
    return code == ERROR_SUCCESS ||
           (code == ERROR_ALREADY_EXISTS && moveName(from, name, to, keptName(itsName)) == ERROR_SUCCESS);
}

std::uint64_t infoIndex(int folder, const std::string &name) {
    const Fd info = openName(folder, name.c_str());
    Record record;
    const bool isFile = info && readRecord(info.get(), "", record) && !S_ISDIR(record.stx_mode);
    return isFile ? fileIndexOf(info.get(), record) : 0;
}

} // namespace dm::platform
