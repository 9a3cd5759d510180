#include "engine/scanner.h"

#include "engine/identity.h"
#include "engine/paths.h"
#include "engine/targets.h"
#include "platform/win32.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace dm {

namespace {

constexpr unsigned firstDepthRefused = 97;

// What stays the same from the root of a walk to its leaves.
struct Walk {
    const ScanTarget &target;
    const WString &rootPath;
    ScanResult &result;
    const std::atomic<bool> &cancelFlag;
    const ProgressReport &progress;
    std::uint64_t now;
    std::uint64_t &count;

    bool tooYoung(const FILETIME &lastWrite) const {
        return target.enforceAgeCutoff && !isOldEnough(ticksOf(lastWrite), now);
    }
};

void countFailure(ScanResult &result, DWORD error) {
    ++(isBenignFileError(error) ? result.skipped : result.errors);
}

void scanFile(const WString &extendedPath, Walk &walk) {
    ScanResult &result = walk.result;
    const OwnedHandle file = openForScan(extendedPath);
    BY_HANDLE_FILE_INFORMATION info;
    if (!file || !GetFileInformationByHandle(file.get(), &info))
        return countFailure(result, GetLastError());
    if (!isPlainFile(info) || walk.tooYoung(info.ftLastWriteTime)) {
        ++result.skipped;
        return;
    }
    WString finalPath = finalPathOf(file.get());
    if (!isNormalPathInside(finalPath, walk.rootPath)) {
        ++result.skipped;
        return;
    }
    const std::uint64_t size = fileSizeOf(info);
    std::uint64_t &bytes = result.bytesByCategory[static_cast<std::size_t>(walk.target.category)];
    if (size > std::numeric_limits<std::uint64_t>::max() - bytes) {
        ++result.errors;
        return;
    }
    // A scan may list millions of entries: none keeps room that it does not need.
    finalPath.shrink_to_fit();
    result.entries.push_back({std::move(finalPath), walk.rootPath, size, walk.target.category,
                              ticksOf(info.ftLastWriteTime), fileIndexOf(info), info.dwVolumeSerialNumber});
    bytes += size;
}

void walkFolder(WStringView folder, Walk &walk, unsigned depth);

void scanSubfolder(const WString &extendedPath, Walk &walk, unsigned depth) {
    // Held for the whole walk below it, so that the folder cannot be replaced during it.
    const OwnedHandle folder = openFolder(extendedPath);
    BY_HANDLE_FILE_INFORMATION info;
    if (!folder || !GetFileInformationByHandle(folder.get(), &info))
        return countFailure(walk.result, GetLastError());
    if (!isPlainFolder(info.dwFileAttributes)) {
        ++walk.result.skipped;
        return;
    }
    const WString finalPath = finalPathOf(folder.get());
    if (isNormalPathInside(finalPath, walk.rootPath))
        walkFolder(finalPath, walk, depth + 1);
    else
        ++walk.result.skipped;
}

void scanEntry(const WIN32_FIND_DATAW &found, const WString &extendedPath, Walk &walk, unsigned depth) {
    if (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)
        ++walk.result.skipped;
    else if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        scanSubfolder(extendedPath, walk, depth);
    else if (found.dwFileAttributes & FILE_ATTRIBUTE_READONLY)
        ++walk.result.skipped;
    else if (walk.tooYoung(found.ftLastWriteTime))
        ++walk.result.skipped;
    else
        scanFile(extendedPath, walk);
}

void walkFolder(WStringView folder, Walk &walk, unsigned depth) {
    if (walk.cancelFlag)
        return;
    if (depth == firstDepthRefused) {
        ++walk.result.skipped;
        return;
    }
    // One text serves all entries: the extended prefix, the folder, a backslash and the name of the moment.
    WString path = toExtendedPath(folder);
    const std::size_t prefixUnits = path.size() - folder.size();
    if (path.back() != W('\\'))
        path += W('\\');
    const std::size_t folderUnits = path.size();
    path += W('*');
    WIN32_FIND_DATAW found;
    OwnedSearch search(FindFirstFileExW(path.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr,
                                        FIND_FIRST_EX_LARGE_FETCH));
    if (!search) {
        const DWORD error = GetLastError();
        if (error != ERROR_FILE_NOT_FOUND)
            countFailure(walk.result, error);
        return;
    }
    do {
        if (walk.cancelFlag)
            break;
        const WStringView name = found.cFileName;
        if (name == W(".") || name == W(".."))
            continue;
        path.resize(folderUnits);
        path += name;
        ++walk.count;
        if (walk.progress)
            walk.progress(WStringView(path).substr(prefixUnits), walk.count, 0);
        scanEntry(found, path, walk, depth);
    } while (FindNextFileW(search.get(), &found));
    const DWORD end = GetLastError();
    search.reset();
    if (walk.cancelFlag || end == NO_ERROR || end == ERROR_NO_MORE_FILES)
        return;
    ++walk.result.errors;
}

// Walks a target whose folder is pinned, unless it is a whole drive or was walked already.
void scanPinned(const PinnedPath &pinned, const ScanTarget &target, ScanResult &result,
                const std::atomic<bool> &cancelFlag, const ProgressReport &progress, std::uint64_t now,
                std::uint64_t &count) {
    if (pinned.finalPath.size() <= driveRootUnits) {
        ++result.skipped;
        return;
    }
    const bool walked = std::any_of(result.roots.begin(), result.roots.end(),
                                    [&](const RootIdentity &root) { return samePath(root.path, pinned.finalPath); });
    if (walked)
        return;
    result.roots.push_back({pinned.finalPath, fileIndexOf(pinned.info), pinned.info.dwVolumeSerialNumber});
    scanFolder(pinned.finalPath, target, pinned.finalPath, result, cancelFlag, progress, now, count, 0);
}

void countFailedPin(ScanResult &result, DWORD error) {
    // A folder that does not exist is no event.
    if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND)
        countFailure(result, error);
}

} // namespace

std::uint64_t currentTime() {
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    return ticksOf(time);
}

std::optional<RecycleBinFigures> queryRecycleBin() {
    SHQUERYRBINFO info{};
    info.cbSize = sizeof(info);
    if (FAILED(SHQueryRecycleBinW(nullptr, &info)) || info.i64Size < 0 || info.i64NumItems < 0)
        return std::nullopt;
    return RecycleBinFigures{static_cast<std::uint64_t>(info.i64Size), static_cast<std::uint64_t>(info.i64NumItems)};
}

ScanResult scanAll(const std::atomic<bool> &cancelFlag, const ProgressReport &progress) {
    ScanResult result;
    const std::uint64_t now = currentTime();
    std::uint64_t count = 0;
    for (const ScanTarget &target : listScanTargets()) {
        if (cancelFlag)
            break;
        PinnedPath pinned;
        if (pinPath(pinned, target.path))
            scanPinned(pinned, target, result, cancelFlag, progress, now, count);
        else
            countFailedPin(result, GetLastError());
    }
    if (cancelFlag)
        return result;
    if (const std::optional<RecycleBinFigures> bin = queryRecycleBin()) {
        result.recycleBytes = bin->bytes;
        result.recycleItems = bin->items;
    } else {
        ++result.errors;
    }
    return result;
}

ScanResult scanRoot(WStringView path, const std::atomic<bool> &cancelFlag) {
    ScanResult result;
    PinnedPath pinned;
    if (!pinPath(pinned, path))
        return result;
    std::uint64_t count = 0;
    scanPinned(pinned, {WString(path), CleanCategory::Temp, true}, result, cancelFlag, {}, currentTime(), count);
    return result;
}

void scanFolder(WStringView folder, const ScanTarget &target, const WString &rootPath, ScanResult &result,
                const std::atomic<bool> &cancelFlag, const ProgressReport &progress, std::uint64_t now,
                std::uint64_t &count, unsigned depth) {
    Walk walk{target, rootPath, result, cancelFlag, progress, now, count};
    walkFolder(folder, walk, depth);
}

} // namespace dm
