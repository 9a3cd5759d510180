#include "platform/linux/folders.h"

#include "platform/linux/errors.h"
#include "platform/linux/names.h"
#include "platform/linux/volumes.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <mutex>
#include <unordered_map>

namespace dm::platform {
namespace {

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(WStringView text) const { return std::hash<WStringView>()(text); }
};

/// The folders that handles opened by one thread hold, by path. The lock is for a handle that another thread closes.
struct Registry {
    std::mutex mutex;
    std::unordered_map<WString, std::weak_ptr<Folder>, TextHash, std::equal_to<>> folders;
};

/// A folder that leaves the registry of its thread when the last reference goes.
struct RegisteredFolder : Folder {
    std::shared_ptr<Registry> registry;

    ~RegisteredFolder() {
        const std::lock_guard lock(registry->mutex);
        const auto found = registry->folders.find(path);
        if (found != registry->folders.end() && found->second.expired())
            registry->folders.erase(found);
    }
};

/// What a thread holds. The folder used last stays held, and with it all above it, so that the next pin of the
/// same way proves it instead of opening it anew.
struct Held {
    std::shared_ptr<Registry> registry = std::make_shared<Registry>();
    FolderRef recent;
};
thread_local Held held;

FolderRef findHeld(WStringView path) {
    if (held.recent && held.recent->path == path)
        return held.recent;
    const std::lock_guard lock(held.registry->mutex);
    const auto found = held.registry->folders.find(path);
    return found == held.registry->folders.end() ? nullptr : found->second.lock();
}

std::shared_ptr<RegisteredFolder> newFolder(WStringView path) {
    auto folder = std::make_shared<RegisteredFolder>();
    folder->path = path;
    folder->registry = held.registry;
    return folder;
}

FolderRef keep(const std::shared_ptr<RegisteredFolder> &folder) {
    const std::lock_guard lock(held.registry->mutex);
    held.registry->folders.insert_or_assign(folder->path, folder);
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
    folder.descriptor =
        openAt(AT_FDCWD, volume.mountPoint.c_str(), O_PATH | O_NOFOLLOW | O_DIRECTORY, RESOLVE_NO_SYMLINKS);
    if (!folder.descriptor || !readRecord(folder.descriptor.get(), "", folder.record))
        return false;
    folder.volumeRoot = true;
    folder.linuxPath = volume.mountPoint;
    return folder.id().device == volume.device && (volume.subvolume || folder.record.stx_mnt_id == volume.mountId);
}

FolderRef openVolume(WChar letter, WStringView path, bool driveRoot) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const std::optional<Volume> volume = volumeOf(letter);
        if (volume && driveRoot && !volume->folderName.empty()) {
            auto root = newFolder(path);
            root->record.stx_mode = S_IFDIR;
            root->record.stx_dev_major = major(volume->device);
            root->record.stx_dev_minor = minor(volume->device);
            return keep(root);
        }
        auto folder = newFolder(path);
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
    if (!parent->descriptor)
        return openNamedVolumeRoot(parent, path, name);
    Fd descriptor = openName(parent->descriptor.get(), name.c_str());
    Record record;
    if (!descriptor || !readRecord(descriptor.get(), "", record))
        return refuse(errno == EXDEV ? ERROR_CANT_ACCESS_FILE : errorOf(errno));
    const DWORD attributes = attributesOf(record, parent->id().device);
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        return refuse(ERROR_CANT_ACCESS_FILE);
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        return refuse(ERROR_PATH_NOT_FOUND);
    return adoptFolder(parent, path, std::move(name), std::move(descriptor), record);
}

/// The folder at a path, from what is held and still proved, or opened anew below what is.
FolderRef reach(WStringView normal) {
    const FolderRef folder = findHeld(normal);
    if (folder && (folder->pins > 0 || proveAllLevels(*folder)))
        return folder;
    WStringView parentPath;
    WStringView name;
    if (!splitPath(normal, parentPath, name))
        return openVolume(normal.front(), normal, true);
    const FolderRef parent = reach(parentPath);
    return parent ? openChild(parent, normal, name) : nullptr;
}

bool isLetter(WChar unit) {
    return (unit >= W('A') && unit <= W('Z')) || (unit >= W('a') && unit <= W('z'));
}

} // namespace

FolderRef openNamedVolumeRoot(const FolderRef &root, WStringView path, std::string_view name) {
    const std::optional<Volume> volume = volumeOf(path.front());
    if (!volume || volume->folderName != name)
        return refuse(ERROR_FILE_NOT_FOUND);
    const FolderRef folder = openVolume(path.front(), path, false);
    if (folder) {
        folder->parent = root;
        folder->name = name;
    }
    return folder;
}

bool parsePath(LPCWSTR path, WString &normal) {
    WStringView text = path == nullptr ? WStringView() : WStringView(path);
    if (text.starts_with(W("\\\\?\\")))
        text.remove_prefix(4);
    if (text.size() < 3 || !isLetter(text[0]) || text[1] != W(':') || text[2] != W('\\'))
        return false;
    while (text.size() > 3 && text.back() == W('\\'))
        text.remove_suffix(1);
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
    FolderRef folder = reach(normal);
    if (folder)
        held.recent = folder;
    return folder;
}

FolderRef openDriveRoot(WStringView normal) {
    const FolderRef folder = findHeld(normal);
    return folder && proveLevel(*folder) ? folder : openVolume(normal.front(), normal, true);
}

FolderRef heldChild(const FolderRef &parent, WStringView normal) {
    FolderRef folder = findHeld(normal);
    if (!folder || folder->parent != parent || !proveLevel(*folder))
        return nullptr;
    held.recent = folder;
    return folder;
}

FolderRef adoptFolder(const FolderRef &parent, WStringView normal, std::string name, Fd descriptor,
                      const Record &record) {
    const auto folder = newFolder(normal);
    folder->parent = parent;
    folder->name = std::move(name);
    folder->descriptor = std::move(descriptor);
    folder->record = record;
    folder->linuxPath = parent->linuxPath.size() > 1 ? parent->linuxPath + "/" : parent->linuxPath;
    folder->linuxPath += folder->name;
    held.recent = keep(folder);
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

bool proveLevel(const Folder &folder) {
    // The root of all cannot be moved, and a drive's root that exists in name alone is nowhere.
    if (!folder.descriptor || folder.linuxPath == "/")
        return true;
    Record record;
    const bool found = folder.volumeRoot ? readRecord(AT_FDCWD, folder.linuxPath.c_str(), record)
                                         : readRecord(folder.parent->descriptor.get(), folder.name.c_str(), record);
    return found && idOf(record) == folder.id() && record.stx_mnt_id == folder.record.stx_mnt_id;
}

bool proveAllLevels(const Folder &folder) {
    for (const Folder *level = &folder; level != nullptr; level = level->parent.get()) {
        if (!proveLevel(*level))
            return false;
    }
    return true;
}

bool provePath(const Folder &folder, std::string_view name, const ObjectId &id) {
    if (!folder.descriptor)
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
        name.empty() || (readRecord(folder.descriptor.get(), std::string(name).c_str(), record) && idOf(record) == id);
    return named && proveAllLevels(folder);
}

bool isWritable(Folder &folder) {
    if (!folder.writable)
        folder.writable = faccessat(folder.descriptor.get(), "", W_OK | X_OK, AT_EMPTY_PATH | AT_EACCESS) == 0 &&
                          (folder.record.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) == 0;
    return *folder.writable;
}

} // namespace dm::platform
