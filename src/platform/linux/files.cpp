#include "platform/linux/errors.h"
#include "platform/linux/folder_listing.h"
#include "platform/linux/folder_names.h"
#include "platform/linux/names.h"
#include "platform/linux/open_file.h"
#include "platform/linux/volumes.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>

using namespace dm;
using namespace dm::platform;

namespace dm::platform {

namespace {

/// The file that this process last wrote without sharing, as it was when it was closed. Between that and its move to
/// another name a second process may begin to write it, and be killed at that; what it left must not be moved in place
/// of what this process wrote. (Times tell nothing: a server may set its own when a file is closed.)
struct LastWritten {
    std::mutex mutex;
    WString path;
    ObjectId id;
    std::uint64_t size = 0;
};
LastWritten lastWritten;

void rememberWritten(const OpenFile &file) {
    Record record = {};
    const bool known = readRecord(file.descriptor.get(), "", record);
    const std::lock_guard lock(lastWritten.mutex);
    lastWritten.path = known ? file.path : WString();
    lastWritten.id = idOf(record);
    lastWritten.size = record.stx_size;
}

bool isAsWritten(WStringView path, const Record &now) {
    const std::lock_guard lock(lastWritten.mutex);
    return lastWritten.path != path || (lastWritten.id == idOf(now) && lastWritten.size == now.stx_size);
}

} // namespace

OpenFile::~OpenFile() {
    if (folder)
        --folder->pins;
    if (writtenAlone)
        rememberWritten(*this);
    releaseHeld(*this);
}

} // namespace dm::platform

namespace {

constexpr DWORD readAccess = GENERIC_READ | FILE_READ_DATA;
constexpr DWORD overwriteAccess = GENERIC_WRITE | FILE_WRITE_DATA;
constexpr DWORD writeAccess = overwriteAccess | FILE_APPEND_DATA;

/// A path split into the folder to work in and a Linux name under it.
struct Place {
    WString path;
    FolderRef parent;
    std::string name;
};

/// False with the last error set; also for a drive's root, which has no parent.
bool findPlace(LPCWSTR path, Place &place) {
    WStringView parentPath;
    WStringView wideName;
    if (!parsePath(path, place.path) || !splitPath(place.path, parentPath, wideName) ||
        !linuxName(wideName, place.name)) {
        SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    place.parent = folderToOpenIn(parentPath);
    // A missing folder on the way is told apart from a missing name at its end.
    if (!place.parent && GetLastError() == ERROR_FILE_NOT_FOUND)
        SetLastError(ERROR_PATH_NOT_FOUND);
    return place.parent != nullptr;
}

/// What exists in name alone has no descriptor; nothing can be made or removed in it.
bool isNameless(const Place &place) {
    return place.parent->isNameless();
}

bool findPlaceToChange(LPCWSTR path, Place &place) {
    if (!findPlace(path, place))
        return false;
    if (isNameless(place))
        return fail(ERROR_ACCESS_DENIED) != FALSE;
    return true;
}

HANDLE refuse(DWORD code) {
    SetLastError(code);
    return INVALID_HANDLE_VALUE;
}

/// A handle to a folder that was just opened or proved under its parent. `provedWay` is what was proved before that.
HANDLE pinned(FolderRef folder, const FolderRef &provedWay) {
    auto file = std::make_unique<OpenFile>();
    ++folder->pins;
    file->placeIsProved = !folder->parent || folder->parent == provedWay;
    if (file->placeIsProved)
        setProvedWay(folder);
    file->record = folder->record;
    file->id = folder->id();
    file->folder = std::move(folder);
    file->recordIsFresh = true;
    return newHandle(file.release());
}

std::unique_ptr<OpenFile> openedFile(Place place, Fd descriptor, const Record &record) {
    auto file = std::make_unique<OpenFile>();
    file->path = std::move(place.path);
    file->parent = std::move(place.parent);
    file->name = std::move(place.name);
    file->descriptor = std::move(descriptor);
    file->record = record;
    file->id = idOf(record);
    file->recordIsFresh = true;
    return file;
}

int openFlags(DWORD access) {
    if ((access & writeAccess) == 0)
        return O_RDONLY;
    const int append = (access & overwriteAccess) == 0 ? O_APPEND : 0;
    return append | ((access & readAccess) == 0 ? O_WRONLY : O_RDWR);
}

/// Our own copies keep to the sharing that was asked for; an open that shares nothing is the only one.
bool lockAsShared(int descriptor, DWORD share) {
    if (flock(descriptor, (share == 0 ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0)
        return true;
    SetLastError(errno == EWOULDBLOCK ? ERROR_SHARING_VIOLATION : errorOf(errno));
    return false;
}

/// Replaces the O_PATH descriptor of a regular file by one for its data.
bool openData(OpenFile &file, DWORD access, DWORD share) {
    Fd data = openAgain(file.descriptor.get(), openFlags(access));
    if (!data)
        return failErrno() != FALSE;
    if (!lockAsShared(data.get(), share))
        return false;
    file.descriptor = std::move(data);
    file.writtenAlone = share == 0 && (access & writeAccess) != 0;
    return true;
}

bool isRegular(const Record &record) {
    return S_ISREG(record.stx_mode) && (record.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0;
}

/// Opens a folder that a listing may follow for, so that it needs no second descriptor; what was read ahead of it
/// already serves if it is what has this name now. Null for whatever is no such folder.
FolderRef openToList(const Place &place) {
    const int parent = place.parent->descriptor();
    Record record;
    Record ahead;
    SharedFd descriptor = openedAhead(place.parent, place.name, ahead);
    const bool isReadAhead = descriptor != nullptr;
    if (!isReadAhead) {
        Fd opened = openForListing(parent, place.name.c_str());
        if (!opened || !readRecord(opened.get(), "", record))
            return nullptr;
        descriptor = std::make_shared<const Fd>(std::move(opened));
    } else if (!readRecord(parent, place.name.c_str(), record) || idOf(record) != idOf(ahead) ||
               record.stx_mnt_id != ahead.stx_mnt_id) {
        return nullptr;
    }
    if (attributesOf(record, place.parent->id().device) != FILE_ATTRIBUTE_DIRECTORY)
        return nullptr;
    FolderRef folder = adoptFolder(place.parent, place.path, place.name, std::move(descriptor), record);
    folder->isToList = !isReadAhead;
    return folder;
}

HANDLE openMountPoint(Place place) {
    Record record;
    if (!readRecord(place.parent->descriptor(), place.name.c_str(), record))
        return refuse(errorOf(errno));
    // What was mounted when the open met it may be gone again.
    if ((record.stx_attributes & (STATX_ATTR_MOUNT_ROOT | STATX_ATTR_AUTOMOUNT)) == 0)
        return refuse(ERROR_CANT_ACCESS_FILE);
    return newHandle(openedFile(std::move(place), Fd(), record).release());
}

/// Opens what has this name now; a link, a mount point or a special file only as itself.
HANDLE openExisting(Place place, DWORD access, DWORD share, DWORD flags, bool truncate,
                    const FolderRef &provedWay = nullptr) {
    if ((flags & FILE_FLAG_BACKUP_SEMANTICS) != 0 && (access & readAccess) != 0)
        if (FolderRef folder = openToList(place))
            return pinned(std::move(folder), provedWay);
    Fd descriptor = openName(place.parent->descriptor(), place.name.c_str());
    Record record;
    if (!descriptor && errno == EXDEV)
        return openMountPoint(std::move(place));
    if (!descriptor || !readRecord(descriptor.get(), "", record))
        return refuse(errorOf(errno));
    const DWORD attributes = attributesOf(record, place.parent->id().device);
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        if ((flags & FILE_FLAG_BACKUP_SEMANTICS) == 0)
            return refuse(ERROR_ACCESS_DENIED);
        if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
            auto shared = std::make_shared<const Fd>(std::move(descriptor));
            return pinned(adoptFolder(place.parent, place.path, std::move(place.name), std::move(shared), record),
                          provedWay);
        }
    }
    const bool wantsData = (access & (readAccess | writeAccess)) != 0;
    const bool regular = isRegular(record);
    if (regular && access == FILE_READ_ATTRIBUTES && !mayRemove(*place.parent, record))
        return refuse(ERROR_ACCESS_DENIED);
    auto file = openedFile(std::move(place), std::move(descriptor), record);
    if (regular && (access & DELETE) != 0 && !holdForRemoval(*file))
        return INVALID_HANDLE_VALUE;
    if (wantsData && (flags & FILE_FLAG_BACKUP_SEMANTICS) == 0) {
        if (!regular)
            return refuse(ERROR_CANT_ACCESS_FILE);
        if (!openData(*file, access, share))
            return INVALID_HANDLE_VALUE;
        if (truncate && ftruncate(file->descriptor.get(), 0) != 0)
            return refuse(errorOf(errno));
        file->recordIsFresh = false;
    }
    return newHandle(file.release());
}

/// Makes a file that was not there before; empty with errno EEXIST where something is.
Fd createNew(const Place &place, DWORD access) {
    struct open_how how = {};
    how.flags = static_cast<unsigned>(openFlags(access)) | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    how.mode = S_IRUSR | S_IWUSR;
    how.resolve = RESOLVE_NO_XDEV | RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH;
    return Fd(static_cast<int>(syscall(SYS_openat2, place.parent->descriptor(), place.name.c_str(), &how, sizeof how)));
}

/// Opens what has this name, or makes it. The lock on the names makes that one step for other processes.
HANDLE openOrCreate(Place place, DWORD access, DWORD share, DWORD flags, bool truncate) {
    const Fd names = lockNames(place.parent->descriptor());
    if (!names)
        return refuse(errorOf(errno));
    Fd descriptor = createNew(place, access);
    if (!descriptor && errno == EEXIST)
        return openExisting(std::move(place), access, share, flags, truncate);
    Record record;
    if (!descriptor || !readRecord(descriptor.get(), "", record))
        return refuse(errorOf(errno));
    if (!lockAsShared(descriptor.get(), share))
        return INVALID_HANDLE_VALUE;
    auto file = openedFile(std::move(place), std::move(descriptor), record);
    file->recordIsFresh = false;
    file->writtenAlone = share == 0 && (access & writeAccess) != 0;
    return newHandle(file.release());
}

bool readAgain(OpenFile &file) {
    const bool hasNone = file.folder ? file.folder->isNameless() : !file.descriptor;
    return hasNone || readRecord(file.folder ? file.folder->descriptor() : file.descriptor.get(), "", file.record);
}

/// The handle's object is at its path now. A folder that was just pinned level by level has no need of another look.
bool provePlace(OpenFile &file) {
    if (std::exchange(file.placeIsProved, false))
        return true;
    if (file.folder)
        return provePath(*file.folder, std::string_view(), file.id);
    return file.descriptor && provePath(*file.parent, file.name, file.id);
}

BOOL changed(int result) {
    return result == 0 ? TRUE : failErrno();
}

/// Nobody has the file open without sharing, nor can as long as `shared` holds. True also for what is no file, or not
/// one that this user can open: whether its name may change is then for the kernel to say. False with the last error
/// set.
bool share(int folder, const std::string &name, Fd &shared) {
    const Fd path = openName(folder, name.c_str());
    Record record;
    if (!path || !readRecord(path.get(), "", record) || !isRegular(record))
        return true;
    shared = openAgain(path.get(), O_RDONLY);
    return !shared || lockAsShared(shared.get(), FILE_SHARE_READ);
}

/// A plain file of this user's that is not read-only. False with the last error set.
bool mayBeReplaced(const Place &place) {
    static const Rights own = currentRights();
    Record record;
    if (!readRecord(place.parent->descriptor(), place.name.c_str(), record))
        return errno == ENOENT || failErrno() != FALSE;
    const DWORD kept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    const bool isOwn = record.stx_uid == own.user || own.ownsAll;
    return (isOwn && (attributesOf(record, place.parent->id().device) & kept) == 0) ||
           fail(ERROR_ACCESS_DENIED) != FALSE;
}

/// With the names of both folders locked. False with the last error set.
bool rename(const Place &source, const Place &target, bool replace) {
    Record record;
    Fd sharedSource;
    Fd sharedTarget;
    const int from = source.parent->descriptor();
    const int to = target.parent->descriptor();
    if (!readRecord(from, source.name.c_str(), record))
        return failErrno() != FALSE;
    if (!share(from, source.name, sharedSource) || !share(to, target.name, sharedTarget))
        return false;
    if (!isAsWritten(source.path, record))
        return fail(ERROR_SHARING_VIOLATION) != FALSE;
    if (replace && (S_ISDIR(record.stx_mode) || !mayBeReplaced(target)))
        return fail(ERROR_ACCESS_DENIED) != FALSE;
    const unsigned flags = replace ? 0 : RENAME_NOREPLACE;
    return renameat2(from, source.name.c_str(), to, target.name.c_str(), flags) == 0 || failErrno() != FALSE;
}

/// The target folder's name out of a mount-point reparse buffer, without the object manager's prefix; empty for a
/// buffer that is not one.
WString targetOfReparseBuffer(const unsigned char *buffer, DWORD size) {
    // ULONG tag; USHORT data length, reserved; USHORT substitute offset, length, print offset, length; the names.
    constexpr DWORD namesStart = 16;
    USHORT offset = 0;
    USHORT length = 0;
    DWORD tag = 0;
    if (size < namesStart)
        return WString();
    std::memcpy(&tag, buffer, sizeof tag);
    std::memcpy(&offset, buffer + 8, sizeof offset);
    std::memcpy(&length, buffer + 10, sizeof length);
    if (tag != IO_REPARSE_TAG_MOUNT_POINT || length % sizeof(WChar) != 0 || namesStart + offset + length > size)
        return WString();
    WString target(length / sizeof(WChar), W('\0'));
    std::memcpy(target.data(), buffer + namesStart + offset, length);
    const WStringView prefix = W("\\??\\");
    return target.starts_with(prefix) ? target.substr(prefix.size()) : WString();
}

} // namespace

HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES *, DWORD disposition,
                          DWORD flagsAndAttributes, HANDLE) {
    const bool backup = (flagsAndAttributes & FILE_FLAG_BACKUP_SEMANTICS) != 0;
    const FolderRef provedWay = takeProvedWay();
    if (backup && disposition == OPEN_EXISTING)
        if (FolderRef folder = heldBelowPinned(path))
            return pinned(std::move(folder), provedWay);
    WString normal;
    if (parsePath(path, normal) && normal.size() == 3) {
        if (disposition != OPEN_EXISTING || !backup)
            return refuse(ERROR_ACCESS_DENIED);
        FolderRef root = openDriveRoot(normal);
        return root ? pinned(std::move(root), nullptr) : INVALID_HANDLE_VALUE;
    }
    Place place;
    if (!findPlace(path, place))
        return INVALID_HANDLE_VALUE;
    if (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS)
        return isNameless(place)
                   ? refuse(ERROR_ACCESS_DENIED)
                   : openOrCreate(std::move(place), access, share, flagsAndAttributes, disposition == CREATE_ALWAYS);
    if (disposition != OPEN_EXISTING)
        return refuse(ERROR_INVALID_PARAMETER);
    FolderRef folder = backup ? heldChild(place.parent, place.path) : nullptr;
    if (!folder && isInNameOnly(*place.parent, place.name)) {
        folder = openNamed(place.parent, place.path, place.name);
        if (!folder)
            return INVALID_HANDLE_VALUE;
    }
    if (folder)
        return backup ? pinned(std::move(folder), provedWay) : refuse(ERROR_ACCESS_DENIED);
    return openExisting(std::move(place), access, share, flagsAndAttributes, false, provedWay);
}

BOOL WINAPI CloseHandle(HANDLE handle) {
    Object *object = objectOf<Object>(handle);
    delete object;
    return object != nullptr;
}

BOOL WINAPI WriteFile(HANDLE file, LPCVOID bytes, DWORD count, LPDWORD written, OVERLAPPED *) {
    const OpenFile *open = objectOf<OpenFile>(file);
    if (open == nullptr)
        return FALSE;
    DWORD done = 0;
    bool failed = false;
    while (done < count && !failed) {
        const ssize_t result =
            write(open->descriptor.get(), static_cast<const unsigned char *>(bytes) + done, count - done);
        failed = result < 0 && errno != EINTR;
        done += result > 0 ? static_cast<DWORD>(result) : 0;
    }
    *written = done;
    return failed ? failErrno() : TRUE;
}

BOOL WINAPI ReadFile(HANDLE file, LPVOID bytes, DWORD count, LPDWORD got, OVERLAPPED *) {
    const OpenFile *open = objectOf<OpenFile>(file);
    if (open == nullptr)
        return FALSE;
    DWORD done = 0;
    ssize_t result = 1;
    while (done < count && result != 0) {
        result = read(open->descriptor.get(), static_cast<unsigned char *>(bytes) + done, count - done);
        if (result < 0 && errno != EINTR)
            break;
        done += result > 0 ? static_cast<DWORD>(result) : 0;
    }
    *got = done;
    return result < 0 ? failErrno() : TRUE;
}

BOOL WINAPI FlushFileBuffers(HANDLE file) {
    const OpenFile *open = objectOf<OpenFile>(file);
    return open != nullptr && changed(fsync(open->descriptor.get()));
}

BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER size) {
    const OpenFile *open = objectOf<OpenFile>(file);
    Record record;
    if (open == nullptr)
        return FALSE;
    if (!readRecord(open->descriptor.get(), "", record))
        return failErrno();
    size->QuadPart = static_cast<LONGLONG>(record.stx_size);
    return TRUE;
}

DWORD WINAPI GetFileType(HANDLE file) {
    const OpenFile *open = objectOf<OpenFile>(file);
    if (open == nullptr)
        return FILE_TYPE_UNKNOWN;
    switch (open->record.stx_mode & S_IFMT) {
    case S_IFREG:
    case S_IFDIR:
    case S_IFBLK:
        return FILE_TYPE_DISK;
    case S_IFCHR:
        return FILE_TYPE_CHAR;
    case S_IFIFO:
    case S_IFSOCK:
        return FILE_TYPE_PIPE;
    default:
        return FILE_TYPE_UNKNOWN;
    }
}

BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD from) {
    const OpenFile *open = objectOf<OpenFile>(file);
    if (open == nullptr)
        return FALSE;
    const off_t now = from != FILE_BEGIN ? -1 : lseek(open->descriptor.get(), distance.QuadPart, SEEK_SET);
    if (now < 0)
        return fail(ERROR_INVALID_PARAMETER);
    if (position != nullptr)
        position->QuadPart = now;
    return TRUE;
}

BOOL WINAPI SetFileTime(HANDLE file, const FILETIME *, const FILETIME *lastAccess, const FILETIME *lastWrite) {
    const OpenFile *open = objectOf<OpenFile>(file);
    if (open == nullptr)
        return FALSE;
    const struct timespec unchanged = {0, UTIME_OMIT};
    const struct timespec times[2] = {lastAccess == nullptr ? unchanged : timespecOf(*lastAccess),
                                      lastWrite == nullptr ? unchanged : timespecOf(*lastWrite)};
    return changed(utimensat(open->descriptor.get(), "", times, AT_EMPTY_PATH));
}

BOOL WINAPI GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION *information) {
    OpenFile *open = objectOf<OpenFile>(file);
    if (open == nullptr)
        return FALSE;
    if (!std::exchange(open->recordIsFresh, false) && !readAgain(*open))
        return failErrno();
    const Record &record = open->record;
    const std::uint64_t index = fileIndexOf(open->folder ? open->folder->descriptor() : open->descriptor.get(), record);
    information->dwFileAttributes =
        open->folder ? FILE_ATTRIBUTE_DIRECTORY : attributesOf(record, open->parent->id().device);
    information->ftCreationTime = fileTimeOf(record.stx_btime);
    information->ftLastAccessTime = fileTimeOf(record.stx_atime);
    information->ftLastWriteTime = fileTimeOf(record.stx_mtime);
    information->dwVolumeSerialNumber = volumeSerialOf(record);
    information->nFileSizeHigh = static_cast<DWORD>(record.stx_size >> 32);
    information->nFileSizeLow = static_cast<DWORD>(record.stx_size);
    information->nNumberOfLinks = record.stx_nlink;
    information->nFileIndexHigh = static_cast<DWORD>(index >> 32);
    information->nFileIndexLow = static_cast<DWORD>(index);
    return TRUE;
}

DWORD WINAPI GetFinalPathNameByHandleW(HANDLE file, LPWSTR path, DWORD units, DWORD) {
    OpenFile *open = objectOf<OpenFile>(file);
    if (open == nullptr)
        return 0;
    const WStringView prefix = W("\\\\?\\");
    const WString &finalPath = open->folder ? open->folder->path : open->path;
    const std::size_t length = prefix.size() + finalPath.size();
    if (path == nullptr || units <= length)
        return static_cast<DWORD>(length + 1);
    if (!provePlace(*open)) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return 0;
    }
    prefix.copy(path, prefix.size());
    finalPath.copy(path + prefix.size(), finalPath.size());
    path[length] = W('\0');
    return static_cast<DWORD>(length);
}

BOOL WINAPI SetFileInformationByHandle(HANDLE file, FILE_INFO_BY_HANDLE_CLASS infoClass, LPVOID info, DWORD size) {
    OpenFile *open = objectOf<OpenFile>(file);
    if (open == nullptr)
        return FALSE;
    if (infoClass != FileDispositionInfo || size < sizeof(FILE_DISPOSITION_INFO))
        return fail(ERROR_INVALID_PARAMETER);
    if (static_cast<const FILE_DISPOSITION_INFO *>(info)->DeleteFile == 0)
        return TRUE;
    const DWORD code = removeHeld(*open);
    return code == ERROR_SUCCESS ? TRUE : fail(code);
}

BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID, DWORD, LPDWORD returned,
                            OVERLAPPED *) {
    const OpenFile *open = objectOf<OpenFile>(device);
    if (open == nullptr)
        return FALSE;
    if (code != FSCTL_SET_REPARSE_POINT || !open->folder || !open->folder->parent)
        return fail(ERROR_INVALID_PARAMETER);
    const std::string target = linuxPath(targetOfReparseBuffer(static_cast<const unsigned char *>(in), inSize));
    if (target.empty())
        return fail(ERROR_INVALID_PARAMETER);
    *returned = 0;
    const int parent = open->folder->parent->descriptor();
    const char *name = open->folder->name.c_str();
    // The link is made beside the folder first, so that a file system without links leaves the folder as it was.
    const std::string beside = open->folder->name + ".link";
    if (!proveLevel(*open->folder))
        return fail(ERROR_PATH_NOT_FOUND);
    if (symlinkat(target.c_str(), parent, beside.c_str()) != 0)
        return failErrno();
    if (unlinkat(parent, name, AT_REMOVEDIR) != 0 ||
        renameat2(parent, beside.c_str(), parent, name, RENAME_NOREPLACE) != 0) {
        failErrno();
        unlinkat(parent, beside.c_str(), 0);
        return FALSE;
    }
    return TRUE;
}

DWORD WINAPI GetFileAttributesW(LPCWSTR path) {
    WString normal;
    if (parsePath(path, normal) && normal.size() == 3)
        return openDriveRoot(normal) ? FILE_ATTRIBUTE_DIRECTORY : INVALID_FILE_ATTRIBUTES;
    Place place;
    if (!findPlace(path, place))
        return INVALID_FILE_ATTRIBUTES;
    if (isInNameOnly(*place.parent, place.name))
        return openNamed(place.parent, place.path, place.name) ? FILE_ATTRIBUTE_DIRECTORY : INVALID_FILE_ATTRIBUTES;
    Record record;
    if (!readRecord(place.parent->descriptor(), place.name.c_str(), record)) {
        SetLastError(errorOf(errno));
        return INVALID_FILE_ATTRIBUTES;
    }
    return attributesOf(record, place.parent->id().device);
}

BOOL WINAPI CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES *) {
    Place place;
    return findPlaceToChange(path, place) ? changed(mkdirat(place.parent->descriptor(), place.name.c_str(), S_IRWXU))
                                          : FALSE;
}

BOOL WINAPI RemoveDirectoryW(LPCWSTR path) {
    Place place;
    if (!findPlaceToChange(path, place))
        return FALSE;
    const int parent = place.parent->descriptor();
    Record record;
    if (!readRecord(parent, place.name.c_str(), record))
        return failErrno();
    if (S_ISLNK(record.stx_mode))
        return changed(unlinkat(parent, place.name.c_str(), 0));
    return S_ISDIR(record.stx_mode) ? changed(unlinkat(parent, place.name.c_str(), AT_REMOVEDIR))
                                    : fail(ERROR_DIRECTORY);
}

BOOL WINAPI DeleteFileW(LPCWSTR path) {
    Place place;
    if (!findPlaceToChange(path, place))
        return FALSE;
    const int parent = place.parent->descriptor();
    const Fd names = lockNames(parent);
    if (!names)
        return failErrno();
    Fd shared;
    return share(parent, place.name, shared) ? changed(unlinkat(parent, place.name.c_str(), 0)) : FALSE;
}

BOOL WINAPI MoveFileW(LPCWSTR from, LPCWSTR to) {
    return MoveFileExW(from, to, 0);
}

BOOL WINAPI MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags) {
    Place source;
    Place target;
    if ((flags & ~static_cast<DWORD>(MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) != 0)
        return fail(ERROR_INVALID_PARAMETER);
    if (!findPlaceToChange(from, source) || !findPlaceToChange(to, target))
        return FALSE;
    const bool oneFolder = source.parent->id() == target.parent->id();
    const Fd sourceNames = lockNames(source.parent->descriptor());
    const Fd targetNames = oneFolder || !sourceNames ? Fd() : lockNames(target.parent->descriptor());
    if (!sourceNames || (!oneFolder && !targetNames))
        return failErrno();
    if (!rename(source, target, (flags & MOVEFILE_REPLACE_EXISTING) != 0))
        return FALSE;
    if ((flags & MOVEFILE_WRITE_THROUGH) == 0)
        return TRUE;
    // The disk may take its time; nobody need wait for that.
    flock(sourceNames.get(), LOCK_UN);
    const bool flushed = flushNames(sourceNames.get()) && (oneFolder || flushNames(targetNames.get()));
    return flushed ? TRUE : failErrno();
}

BOOL WINAPI CreateHardLinkW(LPCWSTR newPath, LPCWSTR existingPath, SECURITY_ATTRIBUTES *) {
    Place target;
    Place source;
    return findPlaceToChange(newPath, target) && findPlaceToChange(existingPath, source)
               ? changed(linkat(source.parent->descriptor(), source.name.c_str(), target.parent->descriptor(),
                                target.name.c_str(), 0))
               : FALSE;
}
