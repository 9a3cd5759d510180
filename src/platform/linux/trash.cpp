// The Recycle Bin: the trash folders of this user on all volumes, as the Trash specification 1.0 of freedesktop.org
// lays them out.
//
// An item that is emptied is first moved, under a random name, to a private folder in the trash folder itself, where no
// file manager looks: whoever restores it at that moment either has the whole item or finds it gone. Only there, once
// proved to be what was counted, is it taken apart. What a killed process leaves there had been counted, and its
// removal confirmed; it may be half gone, so it never goes back among the items. It stays hidden, each query counts it
// (or space that nobody sees would be lost), and the next emptying removes it like an item.
#include "platform/linux/errors.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/trash_folders.h"
#include "platform/linux/trash_tree.h"
#include "platform/linux/volumes.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>
#include <mutex>
#include <utility>

namespace dm::platform {
namespace {

/// Whoever trashes a file writes the info file first, and may copy for long before the file is there.
constexpr std::int64_t orphanSeconds = 24 * 60 * 60;

struct Item {
    bool leftover; ///< lies in the trash folder itself, hidden by an emptying that did not finish
    std::string name;
    std::uint64_t index;
    TreeFigure figure;
};

struct CountedTrash {
    WChar letter;
    std::uint64_t index;
    std::vector<Item> items;
};

struct LastQuery {
    std::mutex mutex;
    std::vector<CountedTrash> trashes;
};

LastQuery &lastQuery() {
    static LastQuery query;
    return query;
}

/// Only one process at a time takes a trash apart, so that whatever lies hidden there while the lock is held was left
/// by one that was killed. Empty with errno set, EWOULDBLOCK while another process has it.
Fd lockTrash(const Trash &trash) {
    Fd lock(openat(trash.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (lock && flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        lock.reset();
    return lock;
}

/// What stands under a name at this moment.
struct Seen {
    Fd object;
    Record record;
    std::uint64_t index;
    TreeSurvey survey;
};

DWORD lookAt(const Trash &trash, int folder, const std::string &name, Seen &seen) {
    seen.object = openName(folder, name.c_str());
    if (!seen.object || !readRecord(seen.object.get(), "", seen.record))
        return errorOf(errno);
    seen.index = fileIndexOf(seen.object.get(), seen.record);
    seen.survey = surveyTree(seen.object.get(), seen.record, trash.device);
    return ERROR_SUCCESS;
}

DWORD countItem(const Trash &trash, int folder, bool leftover, const std::string &name, std::vector<Item> &items) {
    Seen seen{};
    const DWORD code = lookAt(trash, folder, name, seen);
    if (code == ERROR_FILE_NOT_FOUND)
        return ERROR_SUCCESS;
    // A mount point cannot be opened from outside. It is an item, which nothing will match and no emptying removes.
    if (code == ERROR_SUCCESS || code == ERROR_NOT_SAME_DEVICE)
        items.push_back({leftover, name, seen.index, seen.survey.figure});
    return code == ERROR_NOT_SAME_DEVICE ? ERROR_SUCCESS : code;
}

DWORD countFiles(const Trash &trash, std::vector<Item> &items) {
    Record record;
    const Fd files = openFolder(trash.folder.get(), "files", record);
    if (!files)
        return errno == ENOENT ? ERROR_SUCCESS : errorOf(errno);
    std::vector<std::string> names;
    DWORD code = listNames(files.get(), names);
    for (const std::string &name : names) {
        if (code == ERROR_SUCCESS)
            code = countItem(trash, files.get(), false, name, items);
    }
    return code;
}

DWORD countLeftover(const Trash &trash, const std::string &name, std::vector<Item> &items) {
    Record record;
    const Fd object = openName(trash.folder.get(), name.c_str());
    if (!object || !readRecord(object.get(), "", record) || record.stx_uid != geteuid())
        return ERROR_SUCCESS;
    // An empty one is a private folder from which everything had been removed.
    if (S_ISDIR(record.stx_mode) && unlinkat(trash.folder.get(), name.c_str(), AT_REMOVEDIR) == 0)
        return ERROR_SUCCESS;
    if (S_ISDIR(record.stx_mode))
        makeAccessible(object.get(), record);
    return countItem(trash, trash.folder.get(), true, name, items);
}

DWORD countLeftovers(const Trash &trash, std::vector<Item> &items) {
    std::vector<std::string> names;
    DWORD code = listNames(trash.folder.get(), names);
    std::erase_if(names, [](const std::string &name) { return !isPrivateName(name); });
    if (code != ERROR_SUCCESS || names.empty())
        return code;
    const Fd lock = lockTrash(trash);
    for (const std::string &name : names) {
        if (lock && code == ERROR_SUCCESS)
            code = countLeftover(trash, name, items);
    }
    return code;
}

/// One trash that is being emptied.
struct Emptying {
    const Trash &trash;
    Fd lock;
    Fd files;
    Fd info;
    std::string placeName = {};
    Fd place = {}; ///< the private folder, once it is made
};

DWORD makePlace(Emptying &emptying) {
    const int trash = emptying.trash.folder.get();
    const std::string name = newPrivateName();
    if (mkdirat(trash, name.c_str(), S_IWUSR | S_IXUSR) != 0)
        return errorOf(errno);
    Record record;
    Fd place = openFolder(trash, name.c_str(), record);
    if (!place || record.stx_uid != geteuid()) {
        unlinkat(trash, name.c_str(), AT_REMOVEDIR);
        return ERROR_ACCESS_DENIED;
    }
    emptying.placeName = name;
    emptying.place = std::move(place);
    return ERROR_SUCCESS;
}

/// Where items are taken to. A full disk may have no room for a private folder, and is the very one that has to be
/// emptied: until what is removed makes room for it, the trash folder itself serves. Nobody restores from there either,
/// but a process that watches it sees the names. (The same holds of a private folder where the file system has no
/// modes, as on a memory stick.)
DWORD choosePlace(Emptying &emptying, int &place) {
    const DWORD code = emptying.place ? ERROR_SUCCESS : makePlace(emptying);
    place = emptying.place ? emptying.place.get() : emptying.trash.folder.get();
    return code == ERROR_DISK_FULL || code == ERROR_DISK_QUOTA_EXCEEDED ? ERROR_SUCCESS : code;
}

/// 0 if what stands under the name is what was counted, unchanged, and nothing in it would have to stay.
DWORD prove(const Emptying &emptying, int folder, const std::string &name, const Item &item, Seen &seen) {
    const DWORD code = lookAt(emptying.trash, folder, name, seen);
    if (code != ERROR_SUCCESS)
        return code;
    const bool unchanged = seen.index == item.index && seen.survey.figure == item.figure;
    return unchanged ? seen.survey.obstacle : ERROR_FILE_INVALID;
}

/// Removes an info file if it is still the one that was seen: a name that becomes free is used again for what is
/// trashed next, and without its info file that could not be restored.
void removeInfo(int info, int place, const std::string &name, std::uint64_t index) {
    const std::string hidden = newPrivateName();
    if (index == 0 || infoIndex(info, name) != index || moveName(info, name, place, hidden) != ERROR_SUCCESS)
        return;
    if (infoIndex(place, hidden) == index)
        unlinkat(place, hidden.c_str(), 0);
    else
        moveBack(place, hidden, info, name);
}

DWORD emptyItem(Emptying &emptying, const Item &item) {
    const int from = item.leftover ? emptying.trash.folder.get() : emptying.files.get();
    Seen seen;
    DWORD code = prove(emptying, from, item.name, item, seen);
    if (code == ERROR_FILE_NOT_FOUND) // restored, or removed by somebody else
        return ERROR_SUCCESS;
    int place = -1;
    if (code == ERROR_SUCCESS)
        code = choosePlace(emptying, place);
    if (code != ERROR_SUCCESS)
        return code;

    const std::string infoName = item.name + std::string(infoSuffix);
    const std::uint64_t info = item.leftover ? 0 : infoIndex(emptying.info.get(), infoName);
    // A folder can be moved only by whoever may write in it.
    const mode_t mode = seen.record.stx_mode;
    const bool opened = S_ISDIR(mode) && (mode & S_IWUSR) == 0 && setMode(seen.object.get(), mode | S_IWUSR);
    const std::string hidden = newPrivateName();
    code = moveName(from, item.name, place, hidden);
    const bool gone = code == ERROR_FILE_NOT_FOUND;
    if (code == ERROR_SUCCESS) {
        // Again, since only from here on can nobody change it by its name.
        Seen taken;
        code = prove(emptying, place, hidden, item, taken);
        if (code != ERROR_SUCCESS)
            moveBack(place, hidden, from, item.name);
    }
    if (code != ERROR_SUCCESS) {
        if (opened)
            setMode(seen.object.get(), mode);
        return gone ? ERROR_SUCCESS : code;
    }
    removeInfo(emptying.info.get(), place, infoName, info);
    return removeTree(place, hidden);
}

bool isOrphan(const Emptying &emptying, const std::string &name) {
    if (!name.ends_with(infoSuffix))
        return false;
    Record record;
    const std::string file = name.substr(0, name.size() - infoSuffix.size());
    if (file.empty() || readRecord(emptying.files.get(), file.c_str(), record) || errno != ENOENT)
        return false;
    return readRecord(emptying.info.get(), name.c_str(), record) && S_ISREG(record.stx_mode) &&
           time(nullptr) - record.stx_mtime.tv_sec >= orphanSeconds;
}

/// Info files whose files are gone for good.
void removeOrphans(Emptying &emptying) {
    std::vector<std::string> names;
    if (!emptying.files || !emptying.info || listNames(emptying.info.get(), names) != ERROR_SUCCESS)
        return;
    int place = -1;
    for (const std::string &name : names) {
        if (isOrphan(emptying, name) && choosePlace(emptying, place) == ERROR_SUCCESS)
            removeInfo(emptying.info.get(), place, name, infoIndex(emptying.info.get(), name));
    }
}

DWORD emptyTrash(const Trash &trash, const std::vector<Item> &items) {
    Record record;
    const int folder = trash.folder.get();
    Emptying emptying{trash, lockTrash(trash), openFolder(folder, "files", record), openFolder(folder, "info", record)};
    if (!emptying.lock)
        return ERROR_BUSY;
    // A cache of folder sizes, which file managers make anew.
    if (!items.empty())
        unlinkat(folder, "directorysizes", 0);
    DWORD first = ERROR_SUCCESS;
    for (const Item &item : items) {
        const DWORD code = emptyItem(emptying, item);
        if (first == ERROR_SUCCESS)
            first = code;
    }
    removeOrphans(emptying);
    // Not empty where something in it could not be removed; the next query counts that.
    if (emptying.place)
        unlinkat(folder, emptying.placeName.c_str(), AT_REMOVEDIR);
    return first;
}

DWORD emptyCounted(const std::vector<Trash> &trashes, const CountedTrash &counted) {
    const auto trash = std::find_if(trashes.begin(), trashes.end(),
                                    [&counted](const Trash &found) { return found.index == counted.index; });
    if (trash != trashes.end())
        return emptyTrash(*trash, counted.items);
    return counted.items.empty() ? ERROR_SUCCESS : ERROR_PATH_NOT_FOUND;
}

/// The drive that a root names, 0 for none named. False for a text that names no mounted drive.
bool parseRoot(LPCWSTR root, WChar &letter) {
    letter = 0;
    if (root == nullptr || *root == 0)
        return true;
    WString normal;
    if (!parsePath(root, normal))
        return false;
    letter = normal.front();
    const std::vector<Volume> volumes = mountedVolumes();
    return std::any_of(volumes.begin(), volumes.end(),
                       [letter](const Volume &volume) { return volume.letter == letter; });
}

DWORD countAll(WChar only, std::vector<CountedTrash> &counted) {
    std::vector<Trash> trashes;
    DWORD code = findTrashes(only, trashes);
    for (const Trash &trash : trashes) {
        CountedTrash &next = counted.emplace_back(CountedTrash{trash.letter, trash.index, {}});
        if (code == ERROR_SUCCESS)
            code = countFiles(trash, next.items);
        if (code == ERROR_SUCCESS)
            code = countLeftovers(trash, next.items);
    }
    return code;
}

LONGLONG sumOfBytes(const std::vector<CountedTrash> &trashes) {
    constexpr std::uint64_t most = std::numeric_limits<LONGLONG>::max();
    std::uint64_t sum = 0;
    for (const CountedTrash &trash : trashes) {
        for (const Item &item : trash.items)
            sum += std::min(item.figure.bytes, most - sum);
    }
    return static_cast<LONGLONG>(sum);
}

LONGLONG numberOfItems(const std::vector<CountedTrash> &trashes) {
    std::size_t items = 0;
    for (const CountedTrash &trash : trashes)
        items += trash.items.size();
    return static_cast<LONGLONG>(items);
}

} // namespace
} // namespace dm::platform

using namespace dm::platform;

HRESULT WINAPI SHQueryRecycleBinW(LPCWSTR root, SHQUERYRBINFO *info) {
    if (info == nullptr || info->cbSize < sizeof *info)
        return E_INVALIDARG;
    info->i64Size = 0;
    info->i64NumItems = 0;
    LastQuery &last = lastQuery();
    const std::lock_guard lock(last.mutex);
    last.trashes.clear();
    WCHAR letter = 0;
    if (!parseRoot(root, letter))
        return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
    std::vector<CountedTrash> counted;
    const DWORD code = countAll(letter, counted);
    if (code != ERROR_SUCCESS)
        return HRESULT_FROM_WIN32(code);
    info->i64Size = sumOfBytes(counted);
    info->i64NumItems = numberOfItems(counted);
    last.trashes = std::move(counted);
    return S_OK;
}

HRESULT WINAPI SHEmptyRecycleBinW(HWND, LPCWSTR root, DWORD) {
    LastQuery &last = lastQuery();
    const std::lock_guard lock(last.mutex);
    WCHAR letter = 0;
    if (!parseRoot(root, letter))
        return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
    std::vector<Trash> trashes;
    DWORD first = findTrashes(letter, trashes);
    for (const CountedTrash &counted : last.trashes) {
        const DWORD code = letter == 0 || letter == counted.letter ? emptyCounted(trashes, counted) : ERROR_SUCCESS;
        if (first == ERROR_SUCCESS)
            first = code;
    }
    return first == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(first);
}
