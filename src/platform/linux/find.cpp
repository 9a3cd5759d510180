#include "platform/linux/errors.h"
#include "platform/linux/folder_listing.h"
#include "platform/linux/names.h"
#include "platform/linux/open_file.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/trash_folders.h"
#include "platform/linux/volumes.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <memory>

using namespace dm;
using namespace dm::platform;

namespace {

struct Listing final : Object {
    FolderRef folder;
    std::shared_ptr<FolderListing> entries; ///< null for a drive's root that exists in name alone
    bool nameGiven = false;                 ///< the one name of such a root
};

/// Trash folders and our own private ones are no part of any walk.
bool isKeptOut(const Folder &folder, std::string_view name, const Record &record) {
    return isPrivateFolder(name, record) || isTrashName(folder, name);
}

void fill(const Folder &folder, std::string_view name, const Record &record, WIN32_FIND_DATAW &data) {
    thread_local WString wide;
    wide.clear();
    appendWideName(name, wide);
    data.dwFileAttributes = attributesOf(record, folder.id().device);
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && isKeptOut(folder, name, record))
        data.dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    data.ftCreationTime = fileTimeOf(record.stx_btime);
    data.ftLastAccessTime = fileTimeOf(record.stx_atime);
    data.ftLastWriteTime = fileTimeOf(record.stx_mtime);
    data.nFileSizeHigh = static_cast<DWORD>(record.stx_size >> 32);
    data.nFileSizeLow = static_cast<DWORD>(record.stx_size);
    data.dwReserved0 = 0;
    data.dwReserved1 = 0;
    const std::size_t units = std::min<std::size_t>(wide.size(), MAX_PATH - 1);
    wide.copy(data.cFileName, units);
    data.cFileName[units] = W('\0');
    data.cAlternateFileName[0] = W('\0');
}

/// A folder that may be listed but not entered gives names and no more.
Record recordOfUnreadable(unsigned char type) {
    Record record = {};
    record.stx_mode = static_cast<std::uint16_t>(DTTOIF(type)) | S_IWUSR;
    return record;
}

BOOL giveNameOfVolume(Listing &listing, WIN32_FIND_DATAW &data) {
    const std::optional<Volume> volume = volumeOf(listing.folder->path.front());
    if (listing.nameGiven || !volume)
        return fail(ERROR_NO_MORE_FILES);
    listing.nameGiven = true;
    Record record = listing.folder->record;
    fill(*listing.folder, volume->folderName, record, data);
    return TRUE;
}

BOOL giveNext(Listing &listing, WIN32_FIND_DATAW &data) {
    if (!listing.entries)
        return giveNameOfVolume(listing, data);
    const ListedName *entry = nextName(*listing.entries);
    if (entry == nullptr)
        return errno == 0 ? fail(ERROR_NO_MORE_FILES) : failErrno();
    fill(*listing.folder, entry->name, entry->readable ? entry->record : recordOfUnreadable(entry->type), data);
    return TRUE;
}

} // namespace

HANDLE WINAPI FindFirstFileExW(LPCWSTR path, FINDEX_INFO_LEVELS, LPVOID data, FINDEX_SEARCH_OPS, LPVOID, DWORD) {
    const auto refuse = [](DWORD code) {
        SetLastError(code);
        return INVALID_HANDLE_VALUE;
    };
    WString normal;
    WStringView folderPath;
    WStringView pattern;
    if (!parsePath(path, normal) || !splitPath(normal, folderPath, pattern) || pattern != W("*"))
        return refuse(ERROR_INVALID_NAME);
    auto listing = std::make_unique<Listing>();
    listing->folder = folderToOpenIn(folderPath);
    if (!listing->folder)
        return refuse(GetLastError() == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : GetLastError());
    // The Recycle Bin is no folder to walk.
    if (listing->folder->isNameless() && listing->folder->parent)
        return refuse(ERROR_ACCESS_DENIED);
    if (!listing->folder->isNameless()) {
        listing->entries = openListing(listing->folder);
        if (!listing->entries)
            return refuse(errorOf(errno));
    }
    if (giveNext(*listing, *static_cast<WIN32_FIND_DATAW *>(data)) == FALSE)
        return refuse(GetLastError() == ERROR_NO_MORE_FILES ? ERROR_FILE_NOT_FOUND : GetLastError());
    return newHandle(listing.release());
}

BOOL WINAPI FindNextFileW(HANDLE find, WIN32_FIND_DATAW *data) {
    auto *listing = objectOf<Listing>(find);
    return listing == nullptr ? FALSE : giveNext(*listing, *data);
}

BOOL WINAPI FindClose(HANDLE find) {
    Listing *listing = objectOf<Listing>(find);
    delete listing;
    return listing != nullptr;
}
