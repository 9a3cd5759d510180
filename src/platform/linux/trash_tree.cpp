#include "platform/linux/trash_tree.h"

#include "platform/linux/errors.h"
#include "platform/linux/folders.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <utility>

namespace dm::platform {
namespace {

/// Folders of a walk that are held open at a time: far below the usual limit of descriptors.
constexpr std::size_t mostHeld = 64;

struct Level {
    std::string name; ///< under the level above
    Fd folder;        ///< O_PATH; empty while the walk is far below
    Record record;
    std::uint64_t index;
    std::vector<std::string> subfolders; ///< still to be walked
};

struct Visitor {
    bool makesAccessible;
    /// Told of every entry of a folder when that is listed. 0 or an error code, as below.
    std::function<DWORD(const Level &folder, const std::string &name, const Record &record)> meet;
    /// Told of a folder when everything below it has been walked.
    std::function<DWORD(int above, const std::string &name)> leave;
};

struct Walk {
    const Visitor &visitor;
    std::uint64_t device;
    std::vector<Level> levels;
    DWORD code = ERROR_SUCCESS; ///< the first failure
};

void note(Walk &walk, DWORD code) {
    if (walk.code == ERROR_SUCCESS)
        walk.code = code;
}

/// What is missing inside a tree was there a moment ago: the tree has changed.
DWORD codeInside(int errnoValue) {
    return errnoValue == ENOENT ? ERROR_FILE_INVALID : errorOf(errnoValue);
}

bool isOwn(const Record &record) {
    return record.stx_uid == geteuid();
}

/// The device says something about folders only: on overlay a file can have that of the layer it comes from.
bool isElsewhere(const Record &record, std::uint64_t device) {
    return (record.stx_attributes & (STATX_ATTR_MOUNT_ROOT | STATX_ATTR_AUTOMOUNT)) != 0 ||
           (S_ISDIR(record.stx_mode) && idOf(record).device != device);
}

/// The entries are told in one go, since not every file system keeps its place in a listing while names are removed.
void meetEntries(Walk &walk, Level &level) {
    std::vector<std::string> names;
    DWORD code = listNames(level.folder.get(), names);
    for (std::string &name : names) {
        Record record;
        if (!readRecord(level.folder.get(), name.c_str(), record)) {
            code = codeInside(errno);
            continue;
        }
        note(walk, walk.visitor.meet(level, name, record));
        if (S_ISDIR(record.stx_mode) && !isElsewhere(record, walk.device))
            level.subfolders.push_back(std::move(name));
    }
    // A folder of this user that is merely closed is no obstacle: its removal opens it.
    if (code != ERROR_ACCESS_DENIED || walk.visitor.makesAccessible || !isOwn(level.record))
        note(walk, code);
}

void enter(Walk &walk, std::string name, Fd folder) {
    Level level{std::move(name), std::move(folder), {}, 0, {}};
    if (!level.folder || !readRecord(level.folder.get(), "", level.record))
        return note(walk, codeInside(errno));
    if (!S_ISDIR(level.record.stx_mode) || isElsewhere(level.record, walk.device))
        return note(walk, ERROR_FILE_INVALID);
    level.index = fileIndexOf(level.folder.get(), level.record);
    if (walk.visitor.makesAccessible)
        makeAccessible(level.folder.get(), level.record);
    meetEntries(walk, level);
    walk.levels.push_back(std::move(level));
    if (walk.levels.size() > mostHeld)
        walk.levels[walk.levels.size() - mostHeld - 1].folder.reset();
}

/// The folder above the deepest, opened again where it was let go; -1 if the deepest has been moved elsewhere since.
int folderAbove(Walk &walk) {
    Level &above = walk.levels[walk.levels.size() - 2];
    if (!above.folder) {
        Fd opened(openat(walk.levels.back().folder.get(), "..", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        Record record;
        if (opened && readRecord(opened.get(), "", record) && fileIndexOf(opened.get(), record) == above.index)
            above.folder = std::move(opened);
    }
    return above.folder.get();
}

void leave(Walk &walk) {
    const int above = folderAbove(walk);
    const std::string name = std::move(walk.levels.back().name);
    walk.levels.pop_back();
    if (above >= 0)
        return note(walk, walk.visitor.leave(above, name));
    note(walk, ERROR_FILE_INVALID);
    walk.levels.clear();
}

DWORD walkTree(Fd root, std::uint64_t device, const Visitor &visitor) {
    Walk walk{visitor, device, {}};
    enter(walk, std::string(), std::move(root));
    while (!walk.levels.empty()) {
        Level &level = walk.levels.back();
        if (!level.subfolders.empty()) {
            std::string name = std::move(level.subfolders.back());
            level.subfolders.pop_back();
            Fd folder = openName(level.folder.get(), name.c_str());
            enter(walk, std::move(name), std::move(folder));
        } else if (walk.levels.size() > 1) {
            leave(walk);
        } else {
            walk.levels.pop_back();
        }
    }
    return walk.code;
}

void count(TreeFigure &figure, const Record &record) {
    ++figure.entries;
    figure.inodes += record.stx_ino;
    if (S_ISREG(record.stx_mode) && __builtin_add_overflow(figure.bytes, record.stx_size, &figure.bytes))
        figure.bytes = std::numeric_limits<std::uint64_t>::max();
}

DWORD obstacleOf(const Record &record, std::uint64_t parentDevice) {
    if (isElsewhere(record, parentDevice))
        return ERROR_NOT_SAME_DEVICE;
    const bool fixed = (record.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
    return fixed ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

/// A folder of this user's own can always be opened; in any other the kernel must allow it.
bool mayRemoveFrom(const Level &folder, const Record &record) {
    if (isOwn(folder.record))
        return true;
    const bool sticky = (folder.record.stx_mode & S_ISVTX) != 0;
    return (!sticky || isOwn(record) || currentRights().ownsAll) &&
           faccessat(folder.folder.get(), "", R_OK | W_OK | X_OK, AT_EMPTY_PATH | AT_EACCESS) == 0;
}

} // namespace

TreeSurvey surveyTree(int object, const Record &record, std::uint64_t parentDevice) {
    TreeSurvey survey;
    count(survey.figure, record);
    survey.obstacle = obstacleOf(record, parentDevice);
    if (!S_ISDIR(record.stx_mode) || isElsewhere(record, parentDevice))
        return survey;
    const auto meet = [&](const Level &folder, const std::string &, const Record &met) -> DWORD {
        count(survey.figure, met);
        if (const DWORD obstacle = obstacleOf(met, parentDevice))
            return obstacle;
        return mayRemoveFrom(folder, met) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    };
    const auto leaveAlone = [](int, const std::string &) -> DWORD { return ERROR_SUCCESS; };
    Fd root(fcntl(object, F_DUPFD_CLOEXEC, 0));
    const DWORD code =
        root ? walkTree(std::move(root), parentDevice, Visitor{false, meet, leaveAlone}) : errorOf(errno);
    if (survey.obstacle == ERROR_SUCCESS)
        survey.obstacle = code;
    return survey;
}

// Everything goes by name under a held folder. Where another process exchanges a name below us, a folder that is walked
// is still only one opened without following anything, and what unlinkat removes is still only a name in this tree:
// a link that was put there goes as a link, and what it leads to is never entered. To put something of worth itself
// under such a name, a process has to move it into a tree that lies hidden and is on its way out.
DWORD removeTree(int folder, const std::string &name) {
    Record record;
    if (!readRecord(folder, name.c_str(), record))
        return errorOf(errno);
    const auto remove = [](int from, const std::string &entry, int flags) -> DWORD {
        return unlinkat(from, entry.c_str(), flags) == 0 || errno == ENOENT ? ERROR_SUCCESS : errorOf(errno);
    };
    if (!S_ISDIR(record.stx_mode))
        return remove(folder, name, 0);
    const std::uint64_t device = idOf(record).device;
    const auto meet = [&](const Level &in, const std::string &entry, const Record &met) -> DWORD {
        if (isElsewhere(met, device))
            return ERROR_NOT_SAME_DEVICE;
        return S_ISDIR(met.stx_mode) ? ERROR_SUCCESS : remove(in.folder.get(), entry, 0);
    };
    const auto removeFolder = [&](int above, const std::string &entry) { return remove(above, entry, AT_REMOVEDIR); };
    Fd root = openName(folder, name.c_str());
    if (!root)
        return errorOf(errno);
    const DWORD code = walkTree(std::move(root), device, Visitor{true, meet, removeFolder});
    const DWORD last = removeFolder(folder, name);
    return code != ERROR_SUCCESS ? code : last;
}

void makeAccessible(int folder, const Record &record) {
    if ((record.stx_mode & S_IRWXU) != S_IRWXU)
        setMode(folder, record.stx_mode | S_IRWXU);
}

bool setMode(int object, mode_t mode) {
    // fchmod refuses O_PATH descriptors.
    char self[32];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", object);
    return chmod(self, mode & 07777) == 0;
}

DWORD listNames(int folder, std::vector<std::string> &names) {
    Fd opened(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR *)> listing(opened ? fdopendir(opened.get()) : nullptr, &closedir);
    if (!listing)
        return errorOf(errno);
    opened.release();
    for (;;) {
        errno = 0;
        const dirent *entry = readdir(listing.get());
        if (entry == nullptr)
            return errno == 0 ? ERROR_SUCCESS : errorOf(errno);
        std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(std::move(name));
    }
}

} // namespace dm::platform
