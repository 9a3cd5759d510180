#include "engine/cleaner.h"

#include "engine/browsers.h"
#include "engine/identity.h"
#include "engine/paths.h"
#include "engine/scanner.h"
#include "engine/targets.h"
#include "platform/win32.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace dm {

namespace {

constexpr unsigned mostWaits = 2;
constexpr unsigned waitMilliseconds = 50;
constexpr unsigned waitSliceMilliseconds = 10;
constexpr ULONGLONG browserCheckMilliseconds = 250;

bool isLockError(DWORD error) {
    return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

void keep(CleanResult &result) {
    ++result.skipped;
}

void countByError(DWORD error, CleanResult &result) {
    ++(isBenignFileError(error) ? result.skipped : result.errors);
}

// A file that could not be opened or deleted for this error.
void countRefusal(DWORD error, CleanOptions options, CleanResult &result) {
    if (!isLockError(error))
        return countByError(error, result);
    if (options.skipLockedFiles) {
        ++result.skipped;
        ++result.lockedSkipped;
    } else {
        ++result.errors;
        ++result.lockedErrors;
    }
}

bool isSameRoot(const PinnedPath &pinned, const FileEntry &entry, const RootIdentity &root) {
    return samePath(pinned.finalPath, entry.rootPath) && fileIndexOf(pinned.info) == root.fileIndex &&
           pinned.info.dwVolumeSerialNumber == root.volumeSerial;
}

bool isAtOrInside(WStringView path, WStringView folder) {
    return samePath(path, folder) || isPathInside(path, folder);
}

bool isInItsPlace(WStringView finalPath, const FileEntry &entry) {
    return isPathInside(finalPath, entry.rootPath) && samePath(finalPath, entry.path);
}

bool isUnchanged(const BY_HANDLE_FILE_INFORMATION &info, const FileEntry &entry) {
    return fileIndexOf(info) == entry.fileIndex && info.dwVolumeSerialNumber == entry.volumeSerial &&
           fileSizeOf(info) == entry.size && ticksOf(info.ftLastWriteTime) == entry.lastWriteTime;
}

void waitInSlices(unsigned milliseconds, const std::atomic<bool> &cancelFlag) {
    for (unsigned waited = 0; waited < milliseconds && !cancelFlag; waited += waitSliceMilliseconds)
        Sleep(waitSliceMilliseconds);
}

// Gets the entry's file opened for deletion; otherwise counts why not and gives an empty owner.
OwnedHandle openEntry(const FileEntry &entry, const std::atomic<bool> &cancelFlag, CleanResult &result,
                      CleanOptions options) {
    const WString extendedPath = toExtendedPath(entry.path);
    OwnedHandle file;
    DWORD error = NO_ERROR;
    const auto attempt = [&]() {
        file = openForDeletion(extendedPath);
        if (file)
            return OpenAttempt::Opened;
        error = GetLastError();
        return isLockError(error) ? OpenAttempt::Locked : OpenAttempt::Failed;
    };
    const auto wait = [&](unsigned milliseconds) { waitInSlices(milliseconds, cancelFlag); };

    const OpenOutcome outcome = openWithRetry(options.skipLockedFiles, cancelFlag, attempt, wait);
    result.retries += outcome.waits;
    switch (outcome.code) {
    case OpenCode::Opened:
        return file;
    case OpenCode::Cancelled:
        result.cancelled = true;
        break;
    case OpenCode::Locked:
    case OpenCode::Failed:
        countRefusal(error, options, result);
        break;
    }
    return {};
}

// The last guards, on the open file itself, and the deletion. Root and parent are pinned.
void deleteOpened(HANDLE file, const FileEntry &entry, bool enforceAgeCutoff, const std::atomic<bool> &cancelFlag,
                  CleanResult &result, CleanOptions options) {
    BY_HANDLE_FILE_INFORMATION info;
    if (!GetFileInformationByHandle(file, &info))
        return countByError(GetLastError(), result);
    const WString finalPath = finalPathOf(file);
    if (!isPlainFile(info))
        return keep(result);
    if (!isInItsPlace(finalPath, entry))
        return keep(result);
    if (!isUnchanged(info, entry))
        return keep(result);
    if (enforceAgeCutoff && !isOldEnough(ticksOf(info.ftLastWriteTime), currentTime()))
        return keep(result);
    if (cancelFlag) {
        result.cancelled = true;
        return;
    }
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = TRUE;
    if (!SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof(disposition)))
        return countRefusal(GetLastError(), options, result);
    result.bytesFreed += entry.size;
    ++result.filesDeleted;
}

// A root that a clean-up may delete under, by today's list of targets.
struct AllowedRoot {
    WString path;
    CleanCategory category;
    bool enforceAgeCutoff;
};

std::vector<AllowedRoot> listAllowedRoots() {
    std::vector<AllowedRoot> roots;
    for (const ScanTarget &target : listScanTargets()) {
        PinnedPath pinned;
        if (pinPath(pinned, target.path) && pinned.finalPath.size() > driveRootUnits)
            roots.push_back({pinned.finalPath, target.category, target.enforceAgeCutoff});
    }
    return roots;
}

// Whether a browser runs. Once seen running, one stays assumed running; until then each look costs a snapshot of all
// processes and is made no more often than needed.
class BrowserWatch {
public:
    bool seesBrowser() {
        if (!running_ && GetTickCount64() - checkedAt_ >= browserCheckMilliseconds) {
            running_ = !runningBrowserNames().empty();
            checkedAt_ = GetTickCount64();
        }
        return running_;
    }

private:
    bool running_ = !runningBrowserNames().empty();
    ULONGLONG checkedAt_ = GetTickCount64();
};

bool isSelected(CleanCategory category, const CleanSelection &selection) {
    switch (category) {
    case CleanCategory::Temp:
        return selection.temp;
    case CleanCategory::Browser:
        return selection.browser;
    }
    return false;
}

std::uint64_t countSelected(const ScanResult &scan, const CleanSelection &selection) {
    const auto files = std::count_if(scan.entries.begin(), scan.entries.end(),
                                     [&](const FileEntry &entry) { return isSelected(entry.category, selection); });
    const bool recycleBin = selection.recycleBin && scan.recycleItems != 0;
    return static_cast<std::uint64_t>(files) + (recycleBin ? 1 : 0);
}

void cleanEntry(const FileEntry &entry, const ScanResult &scan, const std::vector<AllowedRoot> &allowedRoots,
                BrowserWatch &browsers, const std::atomic<bool> &cancelFlag, CleanResult &result,
                CleanOptions options) {
    if (entry.category == CleanCategory::Browser && browsers.seesBrowser())
        return keep(result);
    const auto allowed = std::find_if(allowedRoots.begin(), allowedRoots.end(), [&](const AllowedRoot &root) {
        return root.category == entry.category && samePath(root.path, entry.rootPath);
    });
    const auto scanned = std::find_if(scan.roots.begin(), scan.roots.end(),
                                      [&](const RootIdentity &root) { return samePath(root.path, entry.rootPath); });
    if (allowed == allowedRoots.end() || scanned == scan.roots.end() || !isPathInside(entry.path, entry.rootPath))
        return keep(result);
    deleteEntry(entry, *scanned, allowed->enforceAgeCutoff, cancelFlag, result, options);
}

void cleanRecycleBin(const ScanResult &scan, CleanResult &result) {
    const std::optional<RecycleBinFigures> bin = queryRecycleBin();
    if (!bin) {
        ++result.errors;
        return;
    }
    // A bin that is not what the user saw stays whole.
    if (bin->bytes != scan.recycleBytes || bin->items != scan.recycleItems)
        return keep(result);
    if (FAILED(SHEmptyRecycleBinW(nullptr, nullptr, SHERB_NOCONFIRMATION | SHERB_NOPROGRESSUI | SHERB_NOSOUND))) {
        ++result.errors;
        return;
    }
    result.recycleEmptied = true;
    result.bytesFreed += scan.recycleBytes;
    result.filesDeleted += scan.recycleItems;
}

} // namespace

OpenOutcome openWithRetry(bool skipLockedFiles, const std::atomic<bool> &cancelFlag,
                          const std::function<OpenAttempt()> &attempt, const std::function<void(unsigned)> &wait) {
    for (unsigned waits = 0;; ++waits) {
        if (cancelFlag)
            return {OpenCode::Cancelled, waits};
        const OpenAttempt outcome = attempt();
        if (cancelFlag)
            return {OpenCode::Cancelled, waits};
        if (outcome == OpenAttempt::Opened)
            return {OpenCode::Opened, waits};
        if (outcome == OpenAttempt::Failed)
            return {OpenCode::Failed, waits};
        if (skipLockedFiles)
            return {OpenCode::Locked, waits};
        if (waits == mostWaits)
            return {OpenCode::Failed, waits};
        wait(waitMilliseconds);
        if (cancelFlag)
            return {OpenCode::Cancelled, waits};
    }
}

void deleteEntry(const FileEntry &entry, const RootIdentity &root, bool enforceAgeCutoff,
                 const std::atomic<bool> &cancelFlag, CleanResult &result, CleanOptions options) {
    if (cancelFlag) {
        result.cancelled = true;
        return;
    }
    if (!isPathInside(entry.path, entry.rootPath))
        return keep(result);
    if (!samePath(root.path, entry.rootPath))
        return keep(result);
    PinnedPath rootPin;
    if (!pinPath(rootPin, entry.rootPath))
        return countByError(GetLastError(), result);
    if (!isSameRoot(rootPin, entry, root))
        return keep(result);

    const std::size_t lastSeparator = entry.path.find_last_of(W("\\/"));
    if (lastSeparator == WString::npos)
        return keep(result);
    PinnedPath parentPin;
    if (!pinPath(parentPin, WStringView(entry.path).substr(0, lastSeparator)))
        return countByError(GetLastError(), result);
    if (!isAtOrInside(parentPin.finalPath, entry.rootPath))
        return keep(result);
    // Both pins stand until the entry is done: every folder from the drive root down to the file's own is known.

    const OwnedHandle file = openEntry(entry, cancelFlag, result, options);
    if (file)
        deleteOpened(file.get(), entry, enforceAgeCutoff, cancelFlag, result, options);
}

CleanResult cleanSelected(const ScanResult &scan, const CleanSelection &selection, const std::atomic<bool> &cancelFlag,
                          const ProgressReport &progress, CleanOptions options) {
    CleanResult result;
    const std::uint64_t total = countSelected(scan, selection);
    std::uint64_t count = 0;
    const auto report = [&](WStringView text) {
        if (progress)
            progress(text, count, total);
    };
    BrowserWatch browsers;
    const std::vector<AllowedRoot> allowedRoots = listAllowedRoots();

    for (const FileEntry &entry : scan.entries) {
        if (cancelFlag)
            result.cancelled = true;
        if (result.cancelled)
            break;
        if (!isSelected(entry.category, selection))
            continue;
        report(entry.path);
        ++count;
        cleanEntry(entry, scan, allowedRoots, browsers, cancelFlag, result, options);
    }
    if (selection.recycleBin && scan.recycleItems != 0 && !result.cancelled && !cancelFlag) {
        report(W("Recycle Bin"));
        cleanRecycleBin(scan, result);
        ++count;
    }
    if (cancelFlag)
        result.cancelled = true;
    report(result.cancelled ? W("Cancelled") : W("Finished"));
    return result;
}

} // namespace dm
