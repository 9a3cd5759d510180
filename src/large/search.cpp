#include "large/search.h"

#include "core/handles.h"
#include "engine/paths.h"

#include <algorithm>
#include <limits>
#include <unordered_set>
#include <utility>

namespace dm::large {

namespace {

constexpr unsigned firstDepthRefused = 128;
constexpr unsigned filesPerReport = 64;

constexpr std::size_t longestPathUnits = 32767;
constexpr std::size_t longestComponentUnits = 255;
// Room for a drive's root; what is mounted at a longer path is no local drive.
constexpr DWORD volumePathUnits = 260;

// Faster than the comparison of views, which goes unit by unit.
bool isSameText(WStringView left, WStringView right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end());
}

bool startsWithDriveRoot(WStringView path) {
    const auto isLetter = [](WChar unit) {
        return (unit >= W('A') && unit <= W('Z')) || (unit >= W('a') && unit <= W('z'));
    };
    return path.size() >= driveRootUnits && isLetter(path[0]) && path[1] == W(':') && path[2] == W('\\');
}

bool equalsUpperCased(WStringView text, WStringView upperCase) {
    return std::equal(text.begin(), text.end(), upperCase.begin(), upperCase.end(),
                      [](WChar unit, WChar upper) { return static_cast<WChar>(towupper(unit)) == upper; });
}

bool equalsFolded(WStringView left, WStringView right) {
    return isSameText(left, right) ||
           std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](WChar one, WChar other) { return towlower(one) == towlower(other); });
}

// A digit, or one of the superscripts that Windows takes for one.
bool isPortNumber(WChar unit) {
    return (unit >= W('0') && unit <= W('9')) || unit == 0x00B9 || unit == 0x00B2 || unit == 0x00B3;
}

bool isDeviceName(WStringView component) {
    const WStringView name = component.substr(0, component.find(W('.')));
    for (const WStringView device : {W("CON"), W("PRN"), W("AUX"), W("NUL"), W("CONIN$"), W("CONOUT$"), W("CLOCK$")})
        if (equalsUpperCased(name, device))
            return true;
    return name.size() == 4 && isPortNumber(name[3]) &&
           (equalsUpperCased(name.substr(0, 3), W("COM")) || equalsUpperCased(name.substr(0, 3), W("LPT")));
}

bool isNameOfFile(WStringView component) {
    return component.size() <= longestComponentUnits && !isDeviceName(component);
}

// Calls `test` with each component below the drive root until one fails it.
template <typename Test>
bool allComponents(WStringView path, Test test) {
    for (std::size_t start = driveRootUnits; start <= path.size();) {
        const std::size_t end = std::min(path.find(W('\\'), start), path.size());
        if (!test(path.substr(start, end - start)))
            return false;
        start = end + 1;
    }
    return true;
}

// For a path with backslashes, without the extended-length prefix and with a backslash at its end for a drive's root
// only.
bool isAccepted(WStringView path) {
    return path.size() == driveRootUnits ||
           (hasPlainSegments(path.substr(driveRootUnits)) && allComponents(path, isNameOfFile));
}

bool normalize(WStringView text, WString &output) {
    const WStringView extendedPrefix = W("\\\\?\\");
    output = text.starts_with(extendedPrefix) ? text.substr(extendedPrefix.size()) : text;
    std::replace(output.begin(), output.end(), W('/'), W('\\'));
    if (output.size() > longestPathUnits || !startsWithDriveRoot(output))
        return false;
    while (output.size() > driveRootUnits && output.back() == W('\\'))
        output.pop_back();
    return isAccepted(output);
}

// The normal form: most often the path itself, and otherwise in the buffer. Empty for a refused path.
WStringView normalFormOf(WStringView path, WString &buffer) {
    if (path.size() <= longestPathUnits && startsWithDriveRoot(path) && path.find(W('/')) == path.npos &&
        isAccepted(path))
        return path;
    return normalizeSearchPath(path, buffer) ? WStringView(buffer) : WStringView();
}

// For paths in the normal form.
bool isBelow(WStringView child, WStringView parent) {
    if (child.size() <= parent.size() || !equalsFolded(child.substr(0, parent.size()), parent))
        return false;
    // A drive's root ends in a backslash already.
    return parent.size() == driveRootUnits || child[parent.size()] == W('\\');
}

// The last units of the extended path, from `start` on, are a path in the normal form.
bool pinSearchFolder(PinnedPath &pinned, const WString &extendedPath, std::size_t start,
                     const std::atomic<bool> &cancelFlag) {
    if (cancelFlag) {
        SetLastError(ERROR_CANCELLED);
        return false;
    }
    OwnedHandle folder = openFolder(extendedPath);
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
    const WStringView path = WStringView(extendedPath).substr(start);
    if (!isSameText(finalPath, path) && !pathsEqual(finalPath, path)) {
        SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    pinned.finalPath = std::move(finalPath);
    pinned.info = info;
    pinned.handles.push_back(std::move(folder));
    return true;
}

struct FolderId {
    std::uint32_t volumeSerial;
    std::uint64_t fileIndex;
    bool operator==(const FolderId &) const = default;
};
struct FolderIdHash {
    std::size_t operator()(const FolderId &id) const {
        return std::hash<std::uint64_t>()(id.fileIndex) ^ id.volumeSerial;
    }
};

// What stays the same from the root of a search to its leaves.
struct Search {
    const LargeSearchOptions &options;
    const std::atomic<bool> &cancelFlag;
    const ProgressReport &reportProgress;
    LargeSearchResult &result;
    std::unordered_set<FolderId, FolderIdHash> visited;

    bool isFull() const { return result.entries.size() >= options.maxEntries; }
    bool mustStop() const { return result.cancelled || (result.limited && isFull()); }
};

void addSaturated(std::uint64_t &sum, std::uint64_t value) {
    sum = value > std::numeric_limits<std::uint64_t>::max() - sum ? std::numeric_limits<std::uint64_t>::max()
                                                                  : sum + value;
}

// Reads a file that the listing calls large through a handle of its own.
void checkLargeFile(const WString &extendedPath, WStringView path, Search &search) {
    LargeSearchResult &result = search.result;
    const OwnedHandle file = openForScan(extendedPath);
    BY_HANDLE_FILE_INFORMATION info;
    if (!file || !GetFileInformationByHandle(file.get(), &info)) {
        ++result.errors;
        return;
    }
    if ((info.dwFileAttributes & excludedFileAttributes) != 0 || fileSizeOf(info) < search.options.minBytes ||
        info.nNumberOfLinks != 1) {
        ++result.skipped;
        return;
    }
    LargeFileEntry entry = readFileIdentity(file.get(), info);
    // A file of another volume, mounted below the root by whatever means, ends here.
    if (!pathIsUnder(entry.path, result.root) || !pathsEqual(entry.path, path) ||
        entry.volumeSerial != result.rootVolumeSerial) {
        ++result.skipped;
        return;
    }
    if (search.isFull()) {
        result.limited = true;
        return;
    }
    addSaturated(result.totalBytes, entry.size);
    entry.path.shrink_to_fit();
    result.entries.push_back(std::move(entry));
}

void checkFile(const WIN32_FIND_DATAW &found, const WString &extendedPath, WStringView path, Search &search) {
    LargeSearchResult &result = search.result;
    ++result.filesChecked;
    if (result.filesChecked % filesPerReport == 0 && search.reportProgress)
        search.reportProgress(path, result.filesChecked, 0);
    if ((found.dwFileAttributes & excludedFileAttributes) != 0) {
        // What is merely not on the disk now is no event.
        if ((found.dwFileAttributes & (FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_OFFLINE)) != 0)
            ++result.skipped;
        return;
    }
    if (joinHalves(found.nFileSizeHigh, found.nFileSizeLow) >= search.options.minBytes)
        checkLargeFile(extendedPath, path, search);
}

void walkFolder(WStringView folder, Search &search, unsigned depth);

void checkEntry(const WIN32_FIND_DATAW &found, WStringView name, const WString &extendedPath, WStringView path,
                Search &search, unsigned depth) {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        ++search.result.skipped;
    else if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        checkFile(found, extendedPath, path, search);
    else if (isExcludedFolderName(name))
        ++search.result.skipped;
    else
        walkFolder(path, search, depth + 1);
}

// Lists a folder that the caller holds pinned.
void listFolder(WStringView folder, Search &search, unsigned depth) {
    LargeSearchResult &result = search.result;
    // One text serves all entries: the extended prefix, the folder, a backslash and the name of the moment.
    WString path = toExtendedPath(folder);
    const std::size_t prefixUnits = path.size() - folder.size();
    if (path.back() != W('\\'))
        path += W('\\');
    const std::size_t folderUnits = path.size();
    path += W('*');
    WIN32_FIND_DATAW found;
    const OwnedSearch listing(FindFirstFileExW(path.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr,
                                               FIND_FIRST_EX_LARGE_FETCH));
    if (!listing) {
        const DWORD error = GetLastError();
        if (error != ERROR_FILE_NOT_FOUND && error != ERROR_NO_MORE_FILES)
            ++result.errors;
        return;
    }
    do {
        if (search.cancelFlag) {
            result.cancelled = true;
            return;
        }
        const WStringView name = found.cFileName;
        if (name == W(".") || name == W(".."))
            continue;
        path.resize(folderUnits);
        path += name;
        checkEntry(found, name, path, WStringView(path).substr(prefixUnits), search, depth);
        if (search.mustStop())
            return;
    } while (FindNextFileW(listing.get(), &found));
    if (GetLastError() != ERROR_NO_MORE_FILES)
        ++result.errors;
}

void walkFolder(WStringView folder, Search &search, unsigned depth) {
    LargeSearchResult &result = search.result;
    if (search.cancelFlag) {
        result.cancelled = true;
        return;
    }
    if (depth == firstDepthRefused) {
        ++result.skipped;
        result.limited = true;
        return;
    }
    PinnedPath pinned;
    if (!pinSearchPath(pinned, folder, search.cancelFlag)) {
        if (search.cancelFlag)
            result.cancelled = true;
        else
            ++result.errors;
        return;
    }
    // Both are in the normal form: the pin compared them with what was.
    const bool isInside = isBelow(pinned.finalPath, result.root) || equalsFolded(pinned.finalPath, result.root);
    if (isInside && search.visited.insert({pinned.info.dwVolumeSerialNumber, fileIndexOf(pinned.info)}).second)
        listFolder(pinned.finalPath, search, depth);
    else
        ++result.skipped;
}

LargeSearchResult refused(DWORD error, WStringView text) {
    LargeSearchResult result;
    result.errors = 1;
    result.lastError = error;
    result.errorText = text;
    return result;
}

} // namespace

bool normalizeSearchPath(WStringView text, WString &output) noexcept {
    try {
        if (normalize(text, output))
            return true;
    } catch (...) {
    }
    output.clear();
    return false;
}

bool pathsEqual(WStringView left, WStringView right) {
    WString leftBuffer;
    WString rightBuffer;
    const WStringView normalLeft = normalFormOf(left, leftBuffer);
    const WStringView normalRight = normalFormOf(right, rightBuffer);
    return !normalLeft.empty() && !normalRight.empty() && equalsFolded(normalLeft, normalRight);
}

bool pathIsUnder(WStringView child, WStringView parent) {
    WString childBuffer;
    WString parentBuffer;
    const WStringView normalChild = normalFormOf(child, childBuffer);
    const WStringView normalParent = normalFormOf(parent, parentBuffer);
    return !normalChild.empty() && !normalParent.empty() && isBelow(normalChild, normalParent);
}

bool isExcludedFolderName(WStringView name) {
    for (const WStringView excluded : {W("$RECYCLE.BIN"), W("RECYCLER"), W("RECYCLED"), W("SYSTEM VOLUME INFORMATION")})
        if (equalsUpperCased(name, excluded))
            return true;
    return false;
}

bool pathHasExcludedFolder(WStringView path) {
    WString normal;
    return !normalizeSearchPath(path, normal) ||
           (normal.size() > driveRootUnits &&
            !allComponents(normal, [](WStringView component) { return !isExcludedFolderName(component); }));
}

bool isLocalDrive(const WString &path, bool fixedOnly) {
    WChar volume[volumePathUnits];
    if (path.size() < driveRootUnits || !GetVolumePathNameW(path.c_str(), volume, volumePathUnits))
        return false;
    const UINT type = GetDriveTypeW(volume);
    return type == DRIVE_FIXED || (type == DRIVE_REMOVABLE && !fixedOnly);
}

LargeFileEntry readFileIdentity(HANDLE handle, const BY_HANDLE_FILE_INFORMATION &information) {
    LargeFileEntry entry;
    normalizeSearchPath(finalPathOf(handle), entry.path);
    entry.size = fileSizeOf(information);
    entry.lastWriteTime = ticksOf(information.ftLastWriteTime);
    entry.fileIndex = fileIndexOf(information);
    entry.volumeSerial = information.dwVolumeSerialNumber;
    return entry;
}

bool sameFileIdentity(const LargeFileEntry &left, const LargeFileEntry &right) {
    return pathsEqual(left.path, right.path) && sameFileData(left, right);
}

bool sameFileData(const LargeFileEntry &left, const LargeFileEntry &right) {
    return left.fileIndex == right.fileIndex && left.volumeSerial == right.volumeSerial && left.size == right.size &&
           left.lastWriteTime == right.lastWriteTime;
}

bool pinSearchPath(PinnedPath &pinned, WStringView path, const std::atomic<bool> &cancelFlag) {
    WString normal;
    if (!normalizeSearchPath(path, normal)) {
        SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    const WString whole = toExtendedPath(normal);
    const std::size_t start = whole.size() - normal.size();
    std::size_t units = start + driveRootUnits;
    WString level = whole.substr(0, units);
    if (!pinSearchFolder(pinned, level, start, cancelFlag))
        return false;
    while (units < whole.size()) {
        const std::size_t before = units;
        units = std::min(whole.find(W('\\'), before + 1), whole.size());
        level.append(whole, before, units - before);
        if (!pinSearchFolder(pinned, level, start, cancelFlag))
            return false;
    }
    return true;
}

LargeSearchResult searchLargeFiles(const LargeSearchOptions &options, const std::atomic<bool> &cancelFlag,
                                   const ProgressReport &reportProgress) {
    LargeSearchResult result;
    if (cancelFlag) {
        result.cancelled = true;
        return result;
    }
    WString path;
    if (!normalizeSearchPath(options.root, path) || options.maxEntries == 0)
        return refused(ERROR_INVALID_PARAMETER, W("Некорректная папка для поиска."));
    if (pathHasExcludedFolder(path) || !isLocalDrive(path, false))
        return refused(ERROR_NOT_SUPPORTED, W("Поиск доступен только на локальном диске."));
    PinnedPath pinned; // held for the whole walk
    if (!pinSearchPath(pinned, path, cancelFlag)) {
        const DWORD error = GetLastError();
        if (!cancelFlag)
            return refused(error, W("Не удалось открыть выбранную папку."));
        result.cancelled = true;
        result.lastError = error;
        return result;
    }
    result.root = pinned.finalPath;
    result.rootFileIndex = fileIndexOf(pinned.info);
    result.rootVolumeSerial = pinned.info.dwVolumeSerialNumber;
    if (reportProgress)
        reportProgress(result.root, 0, 0);
    Search search{options, cancelFlag, reportProgress, result, {}};
    walkFolder(result.root, search, 0);
    result.cancelled = result.cancelled || cancelFlag;
    if (reportProgress)
        reportProgress(result.root, result.filesChecked, 0);
    return result;
}

} // namespace dm::large
