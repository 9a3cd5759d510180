#include "engine/identity.h"

#include "engine/paths.h"

#include <algorithm>
#include <utility>

namespace dm {

namespace {

// The longest path that Windows can name, in units.
constexpr DWORD longestPathUnits = 32768;

OwnedHandle openExisting(const WString &extendedPath, DWORD access, DWORD share, DWORD flags) {
    return OwnedHandle(CreateFileW(extendedPath.c_str(), access, share, nullptr, OPEN_EXISTING, flags, nullptr));
}

} // namespace

OwnedHandle openFolder(const WString &extendedPath) {
    return openExisting(extendedPath, FILE_READ_DATA | FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT);
}

OwnedHandle openForScan(const WString &extendedPath) {
    return openExisting(extendedPath, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                        FILE_FLAG_OPEN_REPARSE_POINT);
}

OwnedHandle openForDeletion(const WString &extendedPath) {
    return openExisting(extendedPath, DELETE | FILE_READ_ATTRIBUTES, 0, FILE_FLAG_OPEN_REPARSE_POINT);
}

WString finalPathOf(HANDLE handle) {
    const DWORD needed = GetFinalPathNameByHandleW(handle, nullptr, 0, 0);
    if (needed < 1 || needed > longestPathUnits)
        return {};
    WString path(needed + 1, WChar{});
    const DWORD written = GetFinalPathNameByHandleW(handle, path.data(), needed + 1, 0);
    if (written == 0 || written > needed)
        return {};
    path.resize(written);
    if (!normalizeInPlace(path))
        return {};
    return path;
}

bool pinDirectory(PinnedPath &pinned, WStringView path) {
    OwnedHandle folder = openFolder(toExtendedPath(path));
    if (!folder)
        return false;
    BY_HANDLE_FILE_INFORMATION info;
    if (!GetFileInformationByHandle(folder.get(), &info))
        return false;
    if (!isPlainFolder(info.dwFileAttributes)) {
        SetLastError(ERROR_REPARSE_TAG_INVALID);
        return false;
    }
    WString finalPath = finalPathOf(folder.get());
    if (finalPath.empty()) {
        SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    pinned.finalPath = std::move(finalPath);
    pinned.info = info;
    pinned.handles.push_back(std::move(folder));
    return true;
}

bool pinPath(PinnedPath &pinned, WStringView path) {
    WString normalized;
    if (!normalizePath(path, normalized)) {
        SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    const WStringView whole = normalized;
    std::size_t units = driveRootUnits;
    if (!pinDirectory(pinned, whole.substr(0, units)))
        return false;
    while (units < whole.size()) {
        units = std::min(whole.find(W('\\'), units + 1), whole.size());
        if (!pinDirectory(pinned, whole.substr(0, units)))
            return false;
    }
    return true;
}

bool isBenignFileError(DWORD error) {
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return true;
    default:
        return false;
    }
}

} // namespace dm
