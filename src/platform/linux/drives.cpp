#include "platform/linux/closer.h"
#include "platform/linux/errors.h"
#include "platform/linux/fd.h"
#include "platform/linux/volumes.h"
#include "platform/win32.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>

namespace dm::platform {

namespace {

std::optional<Volume> volumeOfPath(WStringView path) {
    const bool isDrivePath = path.size() >= 3 && path[1] == W(':') && path[2] == W('\\');
    return isDrivePath ? volumeOf(towupper(path[0])) : std::nullopt;
}

/// Opens a folder for a look at its file system, through no link and without mounting anything.
Fd openForLook(const std::string &path) {
    open_how how = {};
    how.flags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return Fd(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
}

void give(PULARGE_INTEGER figure, std::uint64_t blocks, std::uint64_t blockSize) {
    if (figure != nullptr)
        figure->QuadPart = blocks * blockSize;
}

} // namespace

} // namespace dm::platform

using namespace dm::platform;

DWORD WINAPI GetLogicalDriveStringsW(DWORD units, LPWSTR roots) {
    dm::WString list;
    for (const Volume &volume : mountedVolumes())
        if (volume.shown)
            list.append({volume.letter, W(':'), W('\\'), W('\0')});
    if (roots == nullptr || units <= list.size())
        return static_cast<DWORD>(list.size() + 1);
    std::copy_n(list.c_str(), list.size() + 1, roots);
    return static_cast<DWORD>(list.size());
}

UINT WINAPI GetDriveTypeW(LPCWSTR root) {
    const dm::WStringView path = root == nullptr ? dm::WStringView() : dm::WStringView(root);
    const std::optional<Volume> volume = path.size() == 3 ? volumeOfPath(path) : std::nullopt;
    return volume ? volume->driveType : DRIVE_NO_ROOT_DIR;
}

BOOL WINAPI GetVolumePathNameW(LPCWSTR path, LPWSTR root, DWORD units) {
    const std::optional<Volume> volume = volumeOfPath(path == nullptr ? dm::WStringView() : dm::WStringView(path));
    if (!volume)
        return fail(ERROR_PATH_NOT_FOUND);
    const dm::WString text{volume->letter, W(':'), W('\\')};
    if (units <= text.size())
        return fail(ERROR_FILENAME_EXCED_RANGE);
    std::copy_n(text.c_str(), text.size() + 1, root);
    return TRUE;
}

BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR folder, PULARGE_INTEGER available, PULARGE_INTEGER total,
                                PULARGE_INTEGER totalFree) {
    dm::WStringView path = folder == nullptr ? dm::WStringView() : dm::WStringView(folder);
    while (path.size() > 3 && path.ends_with(W('\\')))
        path.remove_suffix(1);
    const std::optional<Volume> volume = volumeOfPath(path);
    if (!volume)
        return fail(ERROR_PATH_NOT_FOUND);
    const std::string place = path.size() == 3 ? volume->mountPoint : linuxPath(path);
    if (place.empty())
        return fail(ERROR_PATH_NOT_FOUND);
    finishClosing();
    const Fd opened = openForLook(place);
    struct statx record = {};
    if (!opened || statx(opened.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &record) != 0)
        return failErrno();
    // The volume is away, and what is seen there is the one below it.
    if (record.stx_mnt_id != volume->mountId)
        return fail(ERROR_PATH_NOT_FOUND);
    struct statvfs figures {};
    if (fstatvfs(opened.get(), &figures) != 0)
        return failErrno();
    give(available, figures.f_bavail, figures.f_frsize);
    give(total, figures.f_blocks, figures.f_frsize);
    give(totalFree, figures.f_bfree, figures.f_frsize);
    return TRUE;
}
