#include "large/recycle.h"

#include "core/com.h"
#include "engine/paths.h"
#include "large/transfer_sink.h"

#include <algorithm>
#include <limits>
#include <unordered_set>
#include <utility>

namespace dm::large {

namespace {

constexpr std::uint32_t noError = 0;
constexpr WStringView recycleBinName = W("$Recycle.Bin");

struct Verdict {
    RecycleStatus status;
    std::uint32_t code;
};

Verdict cancelled() {
    return {RecycleStatus::Cancelled, ERROR_CANCELLED};
}

Verdict failed(HRESULT result) {
    return {RecycleStatus::Failed, static_cast<std::uint32_t>(result)};
}

/// What all files of one move share.
struct Mover {
    const LargeSearchResult &search;
    const std::atomic<bool> &cancelFlag;
    ComApartment apartment{COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE};
    HRESULT shellResult = S_OK; ///< of COM and of the Recycle Bin
    ComOwner<IShellItem> recycleBin = {};
    PinnedPath root = {};
    std::uint32_t rootCode = noError; ///< why the searched folder is none to be relied on
};

/// A call that succeeded must also have given something.
HRESULT resultOf(HRESULT result, const void *given) {
    return SUCCEEDED(result) && given == nullptr ? E_UNEXPECTED : result;
}

HRESULT openRecycleBin(Mover &mover) {
    if (FAILED(mover.apartment.result()))
        return mover.apartment.result();
    const HRESULT result = SHGetKnownFolderItem(FOLDERID_RecycleBinFolder, KF_FLAG_DEFAULT, nullptr, IID_IShellItem,
                                                mover.recycleBin.outVoid());
    return resultOf(result, mover.recycleBin.get());
}

std::uint32_t pinRoot(Mover &mover) {
    const LargeSearchResult &search = mover.search;
    if (!pinSearchPath(mover.root, search.root, mover.cancelFlag))
        return GetLastError();
    const bool isSame = pathsEqual(mover.root.finalPath, search.root) &&
                        fileIndexOf(mover.root.info) == search.rootFileIndex &&
                        mover.root.info.dwVolumeSerialNumber == search.rootVolumeSerial;
    return isSame ? noError : ERROR_FILE_INVALID;
}

Verdict checkPlace(const LargeFileEntry &entry, const LargeSearchResult &search) {
    if (!pathIsUnder(entry.path, search.root) || entry.volumeSerial != search.rootVolumeSerial)
        return {RecycleStatus::Changed, ERROR_INVALID_NAME};
    if (pathHasExcludedFolder(entry.path))
        return {RecycleStatus::Unsupported, ERROR_NOT_SUPPORTED};
    if (!isLocalDrive(entry.path, true))
        return {RecycleStatus::Unsupported, ERROR_NOT_SUPPORTED};
    if (entry.path.find(W('\\')) == WString::npos)
        return {RecycleStatus::Changed, ERROR_INVALID_NAME};
    return {RecycleStatus::Moved, noError};
}

/// The folder of a file; for a file in a drive's root the root with its backslash.
WString parentOf(const WString &path) {
    return path.substr(0, std::max(path.rfind(W('\\')), driveRootUnits));
}

Verdict pinParent(const LargeFileEntry &entry, const Mover &mover, PinnedPath &parent) {
    if (!pinSearchPath(parent, parentOf(entry.path), mover.cancelFlag)) {
        const DWORD error = GetLastError();
        return {mover.cancelFlag ? RecycleStatus::Cancelled : RecycleStatus::Changed, error};
    }
    const WString &root = mover.search.root;
    if (!pathsEqual(parent.finalPath, root) && !pathIsUnder(parent.finalPath, root))
        return {RecycleStatus::Changed, ERROR_INVALID_NAME};
    return {RecycleStatus::Moved, noError};
}

RecycleStatus statusOfOpen(DWORD error) {
    switch (error) {
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return RecycleStatus::InUse;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return RecycleStatus::Changed;
    default:
        return RecycleStatus::Failed;
    }
}

bool isListed(HANDLE file, const BY_HANDLE_FILE_INFORMATION &info, const LargeFileEntry &entry) {
    const LargeFileEntry found = readFileIdentity(file, info);
    return (info.dwFileAttributes & excludedFileAttributes) == 0 && info.nNumberOfLinks == 1 &&
           sameFileIdentity(found, entry);
}

Verdict openListed(const LargeFileEntry &entry, OwnedHandle &file) {
    file = openForDeletion(toExtendedPath(entry.path));
    if (!file) {
        const DWORD error = GetLastError();
        return {statusOfOpen(error), error};
    }
    BY_HANDLE_FILE_INFORMATION info;
    if (!GetFileInformationByHandle(file.get(), &info))
        return {RecycleStatus::Failed, GetLastError()};
    if (!isListed(file.get(), info, entry))
        return {RecycleStatus::Changed, ERROR_FILE_INVALID};
    return {RecycleStatus::Moved, noError};
}

/// The shell's objects for one file. The sink is detached before they go.
struct Transfer {
    Transfer() = default;
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;
    ~Transfer() {
        if (advised)
            source->Unadvise(cookie);
    }

    ComOwner<IShellItem> file;
    ComOwner<IShellItem> parent;
    ComOwner<ITransferSource> source;
    DWORD cookie = 0;
    bool advised = false;
};

HRESULT createItem(const WString &path, ComOwner<IShellItem> &item) {
    const HRESULT result = SHCreateItemFromParsingName(path.c_str(), nullptr, IID_IShellItem, item.outVoid());
    return resultOf(result, item.get());
}

HRESULT bindTransfer(const LargeFileEntry &entry, Transfer &transfer) {
    HRESULT result = createItem(entry.path, transfer.file);
    if (SUCCEEDED(result))
        result = createItem(parentOf(entry.path), transfer.parent);
    if (FAILED(result))
        return result;
    result = transfer.parent->BindToHandler(nullptr, BHID_Transfer, IID_ITransferSource, transfer.source.outVoid());
    return resultOf(result, transfer.source.get());
}

HRESULT adviseSink(const std::atomic<bool> &cancelFlag, Transfer &transfer) {
    auto *sink = new TransferSink(cancelFlag);
    const HRESULT result = transfer.source->Advise(sink, &transfer.cookie);
    // From here on the source alone keeps it.
    sink->Release();
    transfer.advised = SUCCEEDED(result);
    return result;
}

Verdict prepareTransfer(const LargeFileEntry &entry, const std::atomic<bool> &cancelFlag, Transfer &transfer) {
    HRESULT result = bindTransfer(entry, transfer);
    if (result == E_NOINTERFACE)
        return {RecycleStatus::Unsupported, static_cast<std::uint32_t>(result)};
    if (FAILED(result))
        return failed(result);
    result = adviseSink(cancelFlag, transfer);
    if (FAILED(result))
        return failed(result);
    return {RecycleStatus::Moved, noError};
}

RecycleStatus statusOfRecycling(HRESULT result) {
    switch (static_cast<std::uint32_t>(result)) {
    case static_cast<std::uint32_t>(COPYENGINE_E_USER_CANCELLED):
    case static_cast<std::uint32_t>(HRESULT_FROM_WIN32(ERROR_CANCELLED)):
    case static_cast<std::uint32_t>(E_ABORT):
        return RecycleStatus::Cancelled;
    case static_cast<std::uint32_t>(E_NOTIMPL):
    case static_cast<std::uint32_t>(E_NOINTERFACE):
    case static_cast<std::uint32_t>(HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED)):
        return RecycleStatus::Unsupported;
    default:
        return RecycleStatus::Failed;
    }
}

Verdict recycle(const Transfer &transfer, const Mover &mover, ComOwner<IShellItem> &moved) {
    HRESULT result = transfer.source->RecycleItem(transfer.file.get(), mover.recycleBin.get(), TSF_NORMAL, moved.out());
    if (result == S_OK && moved)
        return {RecycleStatus::Moved, noError};
    if (result == S_OK)
        result = E_UNEXPECTED;
    return {statusOfRecycling(result), static_cast<std::uint32_t>(result)};
}

bool isBelowRecycleBin(const WString &path) {
    const WString recycleBin = path.substr(0, driveRootUnits).append(recycleBinName);
    return pathIsUnder(path, recycleBin) && path.rfind(W('\\')) > recycleBin.size();
}

std::uint32_t pathInRecycleBin(const ComOwner<IShellItem> &moved, WString &path) {
    TaskMemoryOwner<LPWSTR> name;
    const HRESULT result = moved->GetDisplayName(SIGDN_FILESYSPATH, name.out());
    if (FAILED(result) || name.get() == nullptr || !normalizeSearchPath(name.get(), path))
        return static_cast<std::uint32_t>(FAILED(result) ? result : E_UNEXPECTED);
    return isBelowRecycleBin(path) ? noError : ERROR_INVALID_NAME;
}

/// Finds the file at its new place, and makes sure that it is the one of the list. 0 or the code of what is wrong.
std::uint32_t verifyMoved(const ComOwner<IShellItem> &moved, const LargeFileEntry &entry) {
    WString path;
    if (const std::uint32_t code = pathInRecycleBin(moved, path))
        return code;
    // The file is there already: a cancel must not cost the proof.
    static const std::atomic<bool> neverCancelled = false;
    PinnedPath parent;
    if (!pinSearchPath(parent, parentOf(path), neverCancelled))
        return GetLastError();
    const OwnedHandle file = openForScan(toExtendedPath(path));
    BY_HANDLE_FILE_INFORMATION info;
    if (!file || !GetFileInformationByHandle(file.get(), &info))
        return GetLastError();
    constexpr DWORD noFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_REPARSE_POINT;
    if ((info.dwFileAttributes & noFile) != 0 || info.nNumberOfLinks != 1 || GetFileType(file.get()) != FILE_TYPE_DISK)
        return ERROR_FILE_INVALID;
    const LargeFileEntry found = readFileIdentity(file.get(), info);
    return pathsEqual(found.path, path) && sameFileData(found, entry) ? noError : ERROR_FILE_INVALID;
}

Verdict moveEntry(const LargeFileEntry &entry, const Mover &mover) {
    const auto goesOn = [](const Verdict &verdict) { return verdict.status == RecycleStatus::Moved; };
    if (mover.cancelFlag)
        return cancelled();
    if (FAILED(mover.shellResult))
        return failed(mover.shellResult);
    if (mover.rootCode != noError)
        return {RecycleStatus::Changed, mover.rootCode};
    if (mover.cancelFlag)
        return cancelled();
    Verdict verdict = checkPlace(entry, mover.search);
    if (!goesOn(verdict))
        return verdict;
    PinnedPath parent;
    verdict = pinParent(entry, mover, parent);
    if (!goesOn(verdict))
        return verdict;
    OwnedHandle file;
    verdict = openListed(entry, file);
    if (!goesOn(verdict))
        return verdict;
    Transfer transfer;
    verdict = prepareTransfer(entry, mover.cancelFlag, transfer);
    if (!goesOn(verdict))
        return verdict;
    if (mover.cancelFlag)
        return cancelled();
    BY_HANDLE_FILE_INFORMATION info;
    if (!GetFileInformationByHandle(file.get(), &info) || !isListed(file.get(), info, entry))
        return {RecycleStatus::Changed, ERROR_FILE_INVALID};
    // Or the shell could not take the file. Whoever changes it now is found out when it is verified.
    file.reset();
    if (mover.cancelFlag)
        return cancelled();
    ComOwner<IShellItem> moved;
    verdict = recycle(transfer, mover, moved);
    if (!goesOn(verdict))
        return verdict;
    if (const std::uint32_t code = verifyMoved(moved, entry))
        return {RecycleStatus::Failed, code};
    SHChangeNotify(SHCNE_DELETE, SHCNF_PATHW, entry.path.c_str(), nullptr);
    return {RecycleStatus::Moved, noError};
}

void count(const RecycleOutcome &outcome, std::uint64_t size, RecycleResult &result) {
    result.outcomes.push_back(outcome);
    switch (outcome.status) {
    case RecycleStatus::Moved:
        ++result.moved;
        result.movedBytes += std::min(size, std::numeric_limits<std::uint64_t>::max() - result.movedBytes);
        return;
    case RecycleStatus::Changed:
    case RecycleStatus::InUse:
    case RecycleStatus::Unsupported:
        ++result.kept;
        return;
    case RecycleStatus::Failed:
        ++result.errors;
        return;
    case RecycleStatus::Cancelled:
        result.cancelled = true;
        return;
    }
}

void reportStrangers(const std::vector<std::uint64_t> &chosen, std::uint64_t entries, RecycleResult &result) {
    std::unordered_set<std::uint64_t> seen;
    for (const std::uint64_t index : chosen) {
        if (index >= entries && seen.insert(index).second)
            count({index, RecycleStatus::Failed, ERROR_INVALID_PARAMETER}, 0, result);
    }
}

void notifyOfRecycleBin(const Mover &mover) {
    TaskMemoryOwner<PIDLIST_ABSOLUTE> list;
    if (SUCCEEDED(SHGetIDListFromObject(mover.recycleBin.get(), list.out())) && list.get() != nullptr)
        SHChangeNotify(SHCNE_UPDATEDIR, SHCNF_IDLIST, list.get(), nullptr);
}

} // namespace

std::vector<std::uint64_t> uniqueIndexes(const std::vector<std::uint64_t> &chosen, std::uint64_t count) {
    std::unordered_set<std::uint64_t> seen;
    std::vector<std::uint64_t> unique;
    for (const std::uint64_t index : chosen) {
        if (index < count && seen.insert(index).second)
            unique.push_back(index);
    }
    return unique;
}

RecycleResult moveToRecycleBin(const LargeSearchResult &search, const std::vector<std::uint64_t> &chosen,
                               const std::atomic<bool> &cancelFlag, const ProgressReport &reportProgress, HWND) {
    RecycleResult result;
    const std::vector<std::uint64_t> unique = uniqueIndexes(chosen, search.entries.size());
    reportStrangers(chosen, search.entries.size(), result);
    if (unique.empty()) {
        result.cancelled = cancelFlag;
        return result;
    }
    Mover mover{search, cancelFlag};
    mover.shellResult = openRecycleBin(mover);
    mover.rootCode = pinRoot(mover);
    const auto report = [&](WStringView path, std::uint64_t done) {
        if (reportProgress)
            reportProgress(path, done, unique.size());
    };

    for (std::size_t done = 0; done < unique.size(); ++done) {
        const LargeFileEntry &entry = search.entries[unique[done]];
        report(entry.path, done);
        const Verdict verdict = moveEntry(entry, mover);
        count({unique[done], verdict.status, verdict.code}, entry.size, result);
        report(entry.path, done + 1);
        if (cancelFlag)
            result.cancelled = true;
        if (result.cancelled)
            break;
    }
    if (result.moved > 0 && mover.recycleBin)
        notifyOfRecycleBin(mover);
    return result;
}

} // namespace dm::large
