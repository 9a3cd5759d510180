#include "platform/linux/closer.h"
#include "platform/linux/errors.h"
#include "platform/linux/open_file.h"
#include "platform/linux/private_folder.h"

#include <fcntl.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace dm::platform {
namespace {

const Rights &rights() {
    static const Rights rights = currentRights();
    return rights;
}

/// Opens the data of the very object that an O_PATH descriptor holds; a special file is never reached, since the caller
/// has looked at its type. Reading is enough for a lease, and leaves even the time of the last access alone.
Fd reopen(int path) {
    char self[32];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", path);
    const int flags = O_NONBLOCK | O_CLOEXEC;
    Fd data(open(self, O_RDONLY | O_NOATIME | flags));
    if (!data && errno == EPERM)
        data = Fd(open(self, O_RDONLY | flags));
    if (!data && errno == EACCES)
        data = Fd(open(self, O_WRONLY | flags));
    return data;
}

/// A write lease is granted only to the sole opener of a file that nobody has mapped and nobody executes.
DWORD takeLease(int descriptor) {
    // The default signal of a broken lease kills the process; this one is ignored unless somebody asks for it.
    if (fcntl(descriptor, F_SETSIG, SIGURG) == 0 && fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0)
        return ERROR_SUCCESS;
    return errno == EAGAIN ? ERROR_SHARING_VIOLATION : ERROR_ACCESS_DENIED;
}

/// The record is of the held file, with the one name under which it was taken, and as it was when the program looked.
bool isHeld(const OpenFile &file, const Record &now) {
    return idOf(now) == file.id && now.stx_nlink == 1 && isUnchanged(now, file.record);
}

/// What the taken object must still be at the last moment. 0, or why it must go back.
DWORD proveTaken(const OpenFile &file, int privateFolder, const std::string &taken) {
    if (fcntl(file.descriptor.get(), F_GETLEASE) != F_WRLCK)
        return ERROR_SHARING_VIOLATION;
    if (!proveAllLevels(*file.parent))
        return ERROR_PATH_NOT_FOUND;
    Record record;
    return readRecord(privateFolder, taken.c_str(), record) && isHeld(file, record) ? ERROR_SUCCESS
                                                                                    : ERROR_ACCESS_DENIED;
}

DWORD undo(const OpenFile &file, PrivateFolder &folder, const std::string &taken, DWORD code) {
    const PutBack result = putBack(folder, taken, *file.parent, file.name);
    if (result == PutBack::Failed)
        retire(folder);
    return result == PutBack::UnderItsName ? code : ERROR_FILE_INVALID;
}

/// A second name came between the last look and the removal: the file lives on, and gets its own name back, or one
/// beside it where that is taken. If the second name has gone again too, the file is removed after all.
DWORD restoreName(const OpenFile &file) {
    char self[32];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", file.descriptor.get());
    const int parent = file.parent->descriptor();
    if (linkat(AT_FDCWD, self, parent, file.name.c_str(), AT_SYMLINK_FOLLOW) == 0)
        return ERROR_ACCESS_DENIED;
    linkat(AT_FDCWD, self, parent, keptName(file.name).c_str(), AT_SYMLINK_FOLLOW);
    Record record;
    return readRecord(file.descriptor.get(), "", record) && record.stx_nlink == 0 ? ERROR_SUCCESS : ERROR_FILE_INVALID;
}

/// The folder in which the file was held may have been removed by somebody since; then a new one serves.
DWORD take(OpenFile &file, const std::string &taken) {
    DWORD code = takeName(*file.privateFolder, file.parent, file.name, taken);
    Record record;
    if (code != ERROR_FILE_NOT_FOUND || !readRecord(file.privateFolder->descriptor.get(), "", record) ||
        record.stx_nlink != 0)
        return code;
    retire(*file.privateFolder);
    std::shared_ptr<PrivateFolder> another = privateFolderFor(file.parent);
    if (!another)
        return GetLastError();
    file.privateFolder = std::move(another);
    return takeName(*file.privateFolder, file.parent, file.name, taken);
}

} // namespace

bool mayRemove(Folder &folder, const Record &record) {
    const Rights &own = rights();
    const bool sticky = (folder.record.stx_mode & S_ISVTX) != 0;
    const bool fixed = (record.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
    if (fixed || !isWritable(folder))
        return false;
    if (sticky && !own.ownsAll && record.stx_uid != own.user && folder.record.stx_uid != own.user)
        return false;
    return record.stx_uid == own.user || own.leasesAll;
}

bool holdForRemoval(OpenFile &file) {
    if (!mayRemove(*file.parent, file.record))
        return fail(ERROR_ACCESS_DENIED) != FALSE;
    std::shared_ptr<PrivateFolder> folder = privateFolderFor(file.parent);
    if (!folder)
        return false;
    if (!folder->leasesTell)
        return fail(ERROR_SHARING_VIOLATION) != FALSE;
    Fd data = reopen(file.descriptor.get());
    if (!data)
        return failErrno() != FALSE;
    const DWORD code = takeLease(data.get());
    if (code != ERROR_SUCCESS)
        return fail(code) != FALSE;
    file.descriptor = std::move(data);
    file.privateFolder = std::move(folder);
    return readRecord(file.descriptor.get(), "", file.record) || failErrno() != FALSE;
}

void releaseHeld(OpenFile &file) {
    if (file.privateFolder)
        fcntl(file.descriptor.get(), F_SETLEASE, F_UNLCK);
    file.privateFolder.reset();
}

DWORD removeHeld(OpenFile &file) {
    if (!file.privateFolder)
        return ERROR_ACCESS_DENIED;
    Record record;
    const int parent = file.parent->descriptor();
    if (!readRecord(parent, file.name.c_str(), record))
        return errorOf(errno);
    if (idOf(record) != file.id)
        return ERROR_FILE_NOT_FOUND;
    const std::string taken = randomName();
    DWORD code = take(file, taken);
    if (code != ERROR_SUCCESS)
        return code;
    PrivateFolder &folder = *file.privateFolder;
    code = proveTaken(file, folder.descriptor.get(), taken);
    if (code != ERROR_SUCCESS)
        return undo(file, folder, taken, code);
    if (unlinkat(folder.descriptor.get(), taken.c_str(), 0) != 0)
        return undo(file, folder, taken, errorOf(errno));
    if (!readRecord(file.descriptor.get(), "", record))
        return errorOf(errno);
    if (record.stx_nlink != 0)
        code = restoreName(file);
    if (code != ERROR_SUCCESS)
        return code;
    file.privateFolder.reset();
    closeRemoved(std::move(file.descriptor));
    return ERROR_SUCCESS;
}

} // namespace dm::platform
