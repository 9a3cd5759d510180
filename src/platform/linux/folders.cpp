#include "platform/linux/folders.h"

#include "platform/linux/errors.h"
#include "platform/linux/names.h"
#include "platform/linux/trash_folders.h"
#include "platform/linux/volumes.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

namespace dm::platform {
namespace {

/// Levels above the folder of the moment that keep their descriptors; many a process may have no more than 256.
constexpr unsigned mostHeld = 32;

struct RegisteredFolder;
using Siblings = std::vector<RegisteredFolder *>;

/// The folders that handles opened by one thread hold, as trees. The lock is for a handle that another thread closes.
struct Registry {
    std::mutex mutex;
    Siblings roots;
};

/// A folder that leaves the registry of its thread when the last reference goes. Of two with one path, the newer one is
/// registered.
struct RegisteredFolder : Folder, std::enable_shared_from_this<RegisteredFolder> {
    std::shared_ptr<Registry> registry;
    Siblings children; ///< under the registry's lock

    ~RegisteredFolder() {
        const std::lock_guard lock(registry->mutex);
        std::erase(siblings(), this);
    }
    Siblings &siblings() { return parent ? static_cast<RegisteredFolder &>(*parent).children : registry->roots; }
};

/// For texts of a hundred units and more the comparison of views goes unit by unit.
bool isSameText(WStringView left, WStringView right) {
    return left.size() == right.size() && std::memcmp(left.data(), right.data(), left.size() * sizeof(WChar)) == 0;
}

/// What a thread holds. The folder used last stays held, and with it all above it, so that the next pin of the
/// same way proves it instead of opening it anew.
struct Held {
    std::shared_ptr<Registry> registry = std::make_shared<Registry>();
    FolderRef recent;
    FolderRef proved; ///< as takeProvedWay gives it
};
thread_local Held held;

/// The one with this path among folders of one parent, whose path is the first `known` units of it; or null.
RegisteredFolder *findAmong(const Siblings &siblings, WStringView path, std::size_t known) {
    const auto found = std::find_if(siblings.begin(), siblings.end(), [&](const RegisteredFolder *folder) {
        return folder->path.size() == path.size() &&
               isSameText(WStringView(folder->path).substr(known), path.substr(known));
    });
    return found == siblings.end() ? nullptr : *found;
}

FolderRef findHeld(WStringView path) {
    if (held.recent && isSameText(held.recent->path, path))
        return held.recent;
    const std::lock_guard lock(held.registry->mutex);
    std::size_t units = 3;
    RegisteredFolder *folder = findAmong(held.registry->roots, path.substr(0, units), 0);
    while (folder != nullptr && units < path.size()) {
        const std::size_t known = units;
        units = std::min(path.find(W('\\'), known + 1), path.size());
        folder = findAmong(folder->children, path.substr(0, units), known);
    }
    return folder == nullptr ? nullptr : folder->weak_from_this().lock();
}

std::shared_ptr<RegisteredFolder> newFolder(WStringView path) {
    auto folder = std::make_shared<RegisteredFolder>();
    folder->registry = held.registry; // first: its end needs it, also where memory runs out below
    folder->path = path;
    return folder;
}

std::shared_ptr<RegisteredFolder> newFolderIn(const FolderRef &parent, WStringView path) {
    const auto folder = newFolder(path);
    folder->parent = parent;
    folder->depth = parent ? parent->depth + 1 : 0;
    return folder;
}

/// Opens a folder that was let go again under its parent. Empty with errno set where that is not what it was.
Fd openLetGo(const Folder &folder, int parent, Record &record) {
    Fd opened = openName(parent, folder.name.c_str());
    if (!opened || !readRecord(opened.get(), "", record))
        return Fd();
    const bool same = idOf(record) == folder.id() && record.stx_mnt_id == folder.record.stx_mnt_id &&
                      fileIndexOf(opened.get(), record) == folder.index;
    errno = ENOENT;
    return same ? std::move(opened) : Fd();
}

/// The name under the held parent, or the mount point, is the held folder now.
bool isAtItsPlace(const Folder &folder, int parent, Record &now) {
    const bool found = folder.hasOwnPlace() ? readRecord(AT_FDCWD, folder.linuxPath.c_str(), now)
                                            : readRecord(parent, folder.name.c_str(), now);
    return found && idOf(now) == folder.id() && now.stx_mnt_id == folder.record.stx_mnt_id;
}

/// The root of all cannot be moved, and a drive's root that exists in name alone is nowhere.
bool hasNoPlace(const Folder &folder) {
    return folder.isNameless() || folder.linuxPath == "/";
}

void letGo(Folder &folder) {
    if (!folder.held || folder.hasOwnPlace())
        return;
    folder.index = fileIndexOf(folder.held->get(), folder.record);
    folder.held.reset();
}

/// A walk goes on from here. What lies far above is let go.
void makeRecent(const FolderRef &folder) {
    held.recent = folder;
    if (folder->depth <= mostHeld)
        return;
    Folder *above = folder.get();
    for (unsigned levels = 0; levels < mostHeld; ++levels)
        above = above->parent.get();
    letGo(*above);
}

FolderRef keep(const std::shared_ptr<RegisteredFolder> &folder) {
    const std::lock_guard lock(held.registry->mutex);
    Siblings &siblings = folder->siblings();
    std::erase(siblings, findAmong(siblings, folder->path, 0));
    siblings.push_back(folder.get());
    return folder;
}

FolderRef refuse(DWORD code) {
    SetLastError(code);
    return nullptr;
}

Fd openAt(int folder, const char *name, std::uint64_t flags, std::uint64_t resolve) {
    struct open_how how = {};
    how.flags = flags | O_CLOEXEC;
    how.resolve = resolve;
    return Fd(static_cast<int>(syscall(SYS_openat2, folder, name, &how, sizeof how)));
}

/// Opens a mounted volume's root and makes sure that it is the volume that the letter stands for.
bool openVolumeRoot(const Volume &volume, Folder &folder) {
    Fd opened = openAt(AT_FDCWD, volume.mountPoint.c_str(), O_PATH | O_NOFOLLOW | O_DIRECTORY, RESOLVE_NO_SYMLINKS);
    if (!opened || !readRecord(opened.get(), "", folder.record))
        return false;
    folder.held = std::make_shared<const Fd>(std::move(opened));
    folder.volumeRoot = true;
    folder.linuxPath = volume.mountPoint;
    return folder.id().device == volume.device && (volume.subvolume || folder.record.stx_mnt_id == volume.mountId);
}

/// The volume's root is the drive's root, or the only folder in `driveRoot`.
FolderRef openVolume(WChar letter, WStringView path, const FolderRef &driveRoot) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const std::optional<Volume> volume = volumeOf(letter);
        if (volume && !driveRoot && !volume->folderName.empty()) {
            auto root = newFolder(path);
            root->record.stx_mode = S_IFDIR;
            root->record.stx_dev_major = major(volume->device);
            root->record.stx_dev_minor = minor(volume->device);
            return keep(root);
        }
        const auto folder = newFolderIn(driveRoot, path);
        if (volume && openVolumeRoot(*volume, *folder))
            return keep(folder);
        refreshVolumes();
    }
    return refuse(ERROR_PATH_NOT_FOUND);
}

FolderRef openChild(const FolderRef &parent, WStringView path, WStringView wideName) {
    std::string name;
    if (!linuxName(wideName, name))
        return refuse(ERROR_INVALID_NAME);
    if (isInNameOnly(*parent, name))
        return openNamed(parent, path, name);
    Fd descriptor = openName(parent->descriptor(), name.c_str());
    Record record;
    if (!descriptor || !readRecord(descriptor.get(), "", record))
        return refuse(errno == EXDEV ? ERROR_CANT_ACCESS_FILE : errorOf(errno));
    const DWORD attributes = attributesOf(record, parent->id().device);
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        return refuse(ERROR_CANT_ACCESS_FILE);
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        return refuse(ERROR_PATH_NOT_FOUND);
    return adoptFolder(parent, path, std::move(name), std::make_shared<const Fd>(std::move(descriptor)), record);
}

/// The folder at a path, from what is held and still proved, or opened anew below what is.
FolderRef reach(WStringView normal) {
    const FolderRef folder = findHeld(normal);
    if (folder && (folder->pins > 0 || proveAllLevels(*folder)))
        return folder;
    WStringView parentPath;
    WStringView name;
    if (!splitPath(normal, parentPath, name))
        return openVolume(normal.front(), normal, nullptr);
    const FolderRef parent = reach(parentPath);
    return parent ? openChild(parent, normal, name) : nullptr;
}

bool isDrivePath(WStringView path) {
    const auto isLetter = [](WChar unit) {
        return (unit >= W('A') && unit <= W('Z')) || (unit >= W('a') && unit <= W('z'));
    };
    return path.size() >= 3 && isLetter(path[0]) && path[1] == W(':') && path[2] == W('\\');
}

/// A path as it is given to a function, without the extended-length prefix and backslashes at the end.
WStringView pathText(LPCWSTR path) {
    WStringView text = path == nullptr ? WStringView() : WStringView(path);
    if (text.starts_with(W("\\\\?\\")))
        text.remove_prefix(4);
    while (text.size() > 3 && text.back() == W('\\'))
        text.remove_suffix(1);
    return text;
}

bool isDriveRoot(const Folder &folder) {
    return folder.parent == nullptr;
}

FolderRef openNamedVolumeRoot(const FolderRef &root, WStringView path, std::string_view name) {
    const std::optional<Volume> volume = volumeOf(path.front());
    if (!volume || volume->folderName != name)
        return refuse(ERROR_FILE_NOT_FOUND);
    const FolderRef folder = openVolume(path.front(), path, root);
    if (folder)
        folder->name = name;
    return folder;
}

FolderRef openRecycleBin(const FolderRef &root, WStringView path) {
    const auto bin = newFolderIn(root, path);
    bin->name = recycleBinLinuxName;
    bin->record = root->record;
    return keep(bin);
}

FolderRef openFilesOfTrash(const FolderRef &bin, WStringView path, std::string_view user) {
    OpenTrash open;
    const auto files = newFolderIn(bin, path);
    if (user != recycleBinUser() || openTrashFor(path.front(), false, open) != ERROR_SUCCESS ||
        !readRecord(open.files.get(), "", files->record))
        return refuse(ERROR_FILE_NOT_FOUND);
    files->ofTrash = true;
    files->name = user;
    files->held = std::make_shared<const Fd>(std::move(open.files));
    files->linuxPath = open.trash.path + "/files";
    return keep(files);
}

} // namespace

bool isInNameOnly(const Folder &folder, std::string_view name) {
    return folder.isNameless() || (isDriveRoot(folder) && name == recycleBinLinuxName);
}

FolderRef openNamed(const FolderRef &folder, WStringView path, std::string_view name) {
    if (!isDriveRoot(*folder))
        return openFilesOfTrash(folder, path, name);
    return name == recycleBinLinuxName ? openRecycleBin(folder, path) : openNamedVolumeRoot(folder, path, name);
}

bool parsePath(LPCWSTR path, WString &normal) {
    const WStringView text = pathText(path);
    if (!isDrivePath(text))
        return false;
    normal = text;
    normal[0] = towupper(normal[0]);
    return true;
}

bool splitPath(WStringView normal, WStringView &parent, WStringView &name) {
    if (normal.size() <= 3)
        return false;
    const std::size_t backslash = normal.rfind(W('\\'));
    name = normal.substr(backslash + 1);
    parent = normal.substr(0, backslash == 2 ? 3 : backslash);
    return true;
}

FolderRef folderToOpenIn(WStringView normal) {
    held.proved.reset();
    FolderRef folder = reach(normal);
    if (folder)
        makeRecent(folder);
    return folder;
}

FolderRef openDriveRoot(WStringView normal) {
    const FolderRef folder = findHeld(normal);
    return folder && proveLevel(*folder) ? folder : openVolume(normal.front(), normal, nullptr);
}

FolderRef takeProvedWay() {
    return std::exchange(held.proved, nullptr);
}

void setProvedWay(const FolderRef &folder) {
    held.proved = folder;
}

FolderRef heldBelowPinned(LPCWSTR path) {
    const WStringView normal = pathText(path);
    WStringView parentPath;
    WStringView name;
    if (!isDrivePath(normal) || !splitPath(normal, parentPath, name))
        return nullptr;
    const FolderRef parent = findHeld(parentPath);
    return parent && parent->pins > 0 ? heldChild(parent, normal) : nullptr;
}

FolderRef heldChild(const FolderRef &parent, WStringView normal) {
    FolderRef folder;
    {
        const std::lock_guard lock(held.registry->mutex);
        if (RegisteredFolder *child =
                findAmong(static_cast<RegisteredFolder &>(*parent).children, normal, parent->path.size()))
            folder = child->weak_from_this().lock();
    }
    Record now;
    if (!folder || !proveLevel(*folder, &now))
        return nullptr;
    if (!folder->isNameless())
        folder->record = now;
    makeRecent(folder);
    return folder;
}

FolderRef adoptFolder(const FolderRef &parent, WStringView normal, std::string name, SharedFd descriptor,
                      const Record &record) {
    const auto folder = newFolderIn(parent, normal);
    folder->name = std::move(name);
    folder->held = std::move(descriptor);
    folder->record = record;
    folder->linuxPath = parent->linuxPath.size() > 1 ? parent->linuxPath + "/" : parent->linuxPath;
    folder->linuxPath += folder->name;
    makeRecent(keep(folder));
    return folder;
}

Fd openName(int folder, const char *name) {
    return openAt(folder, name, O_PATH | O_NOFOLLOW, RESOLVE_NO_XDEV | RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH);
}

Fd openAgain(int path, int flags) {
    char self[32];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", path);
    return Fd(open(self, flags | O_NONBLOCK | O_CLOEXEC));
}

int Folder::descriptor() {
    if (!held && !isNameless() && parent) {
        Record now;
        const int above = parent->descriptor();
        Fd opened = above < 0 ? Fd() : openLetGo(*this, above, now);
        if (opened) {
            held = std::make_shared<const Fd>(std::move(opened));
            isToList = false;
            record = now;
        }
    }
    return held ? held->get() : -1;
}

bool proveLevel(Folder &folder, Record *now) {
    if (hasNoPlace(folder))
        return true;
    Record own;
    Record &record = now == nullptr ? own : *now;
    if (folder.held)
        return isAtItsPlace(folder, folder.hasOwnPlace() ? -1 : folder.parent->descriptor(), record);
    const bool found = folder.descriptor() >= 0;
    record = folder.record;
    return found;
}

bool proveAllLevels(Folder &folder) {
    std::vector<Folder *> levels;
    for (Folder *level = &folder; level != nullptr; level = level->parent.get())
        levels.push_back(level);
    // From the top, so that of those let go no more than one is open at a time.
    Fd passing;
    Record now;
    for (auto next = levels.rbegin(); next != levels.rend(); ++next) {
        Folder &level = **next;
        if (hasNoPlace(level))
            continue;
        const int above = passing ? passing.get() : level.parent && level.parent->held ? level.parent->held->get() : -1;
        if (level.held ? !isAtItsPlace(level, above, now) : !(passing = openLetGo(level, above, now)))
            return false;
        if (level.held)
            passing.reset();
    }
    return true;
}

bool provePath(Folder &folder, std::string_view name, const ObjectId &id) {
    if (folder.isNameless())
        return true;
    thread_local std::string path;
    path = folder.linuxPath;
    if (!name.empty()) {
        if (path.size() > 1)
            path += '/';
        path += name;
    }
    Record record;
    if (path.size() < PATH_MAX)
        return readRecord(AT_FDCWD, path.c_str(), record) && idOf(record) == id &&
               record.stx_mnt_id == folder.record.stx_mnt_id;
    // Longer than the kernel takes at once.
    const bool named =
        name.empty() || (readRecord(folder.descriptor(), std::string(name).c_str(), record) && idOf(record) == id);
    return named && proveAllLevels(folder);
}

bool isWritable(Folder &folder) {
    if (!folder.writable)
        folder.writable = faccessat(folder.descriptor(), "", W_OK | X_OK, AT_EMPTY_PATH | AT_EACCESS) == 0 &&
                          (folder.record.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) == 0;
    return *folder.writable;
}

} // namespace dm::platform
