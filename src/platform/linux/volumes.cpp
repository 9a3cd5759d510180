#include "platform/linux/volumes.h"

#include "platform/linux/mounts.h"
#include "platform/linux/names.h"
#include "platform/linux/path_text.h"
#include "platform/linux/scan_paths.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace dm::platform {

namespace {

constexpr WStringView letterOrder = W("DEFGHIJKLMNOPQRSTUVWXYZAB");

/// A volume on its way to a letter, and the mount that it lies on (null for a root that no mount tells of).
struct Candidate {
    Volume volume;
    const Mount *mount;
};

bool look(const std::string &path, struct statx &record) {
    constexpr int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
    return statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE | STATX_MNT_ID, &record) == 0;
}

std::uint64_t deviceOf(const struct statx &record) {
    return makedev(record.stx_dev_major, record.stx_dev_minor);
}

bool matches(std::string_view path, std::string_view pattern) {
    while (!path.empty() && !pattern.empty()) {
        const std::string_view name = lastComponent(path);
        const std::string_view wanted = lastComponent(pattern);
        if (wanted != "*" && wanted != name)
            return false;
        path.remove_suffix(name.size() + 1);
        pattern.remove_suffix(wanted.size() + 1);
    }
    return path.empty() && pattern.empty();
}

std::string folderNameOf(const std::string &mountPoint, const std::vector<std::string> &scanned) {
    const bool isScanned = std::any_of(scanned.begin(), scanned.end(), [&](const std::string &pattern) {
        return mountPoint != "/" && matches(mountPoint, pattern);
    });
    return isScanned ? std::string(lastComponent(mountPoint)) : std::string();
}

UINT driveTypeOf(const Mount &mount, Storage storage, const std::string &root) {
    if (mount.point == "/")
        return diskKindOf(mount, root) == DiskKind::Removable ? DRIVE_REMOVABLE : DRIVE_FIXED;
    switch (storage) {
    case Storage::Optical:
        return DRIVE_CDROM;
    case Storage::Network:
        return DRIVE_REMOTE;
    case Storage::Memory:
        return DRIVE_RAMDISK;
    default:
        return diskKindOf(mount, root) == DiskKind::Fixed ? DRIVE_FIXED : DRIVE_REMOVABLE;
    }
}

bool liesAmong(std::string_view path, std::initializer_list<std::string_view> folders) {
    return std::any_of(folders.begin(), folders.end(),
                       [path](std::string_view folder) { return isWithin(path, folder); });
}

bool isPlaceOfDrives(const Mount &mount, Storage storage) {
    if (storage == Storage::Memory)
        return !liesAmong(mount.point, {"/dev", "/proc", "/run", "/snap", "/sys", "/tmp", "/var"});
    return isWithin(mount.point, "/run/media") ||
           !liesAmong(mount.point, {"/dev", "/proc", "/run", "/snap", "/sys", "/var/lib"});
}

/// What is one drive to a person, however many parts of it are mounted.
std::string driveOf(const Mount &mount) {
    return mount.type == "zfs" ? "zfs " + mount.source.substr(0, mount.source.find('/')) : std::to_string(mount.device);
}

Volume volumeOfMount(const Mount &mount, Storage storage, const std::vector<std::string> &scanned,
                     const std::string &root) {
    Volume volume{};
    volume.mountPoint = mount.point;
    volume.folderName = folderNameOf(mount.point, scanned);
    volume.driveType = driveTypeOf(mount, storage, root);
    volume.mountId = mount.id;
    volume.device = mount.device;
    volume.source = mount.source;
    volume.subtree = mount.subtree;
    return volume;
}

/// What only a look at the mount's root tells. False for a mount of a single file.
bool takeRoot(Candidate &candidate, const std::string &root) {
    struct statx record = {};
    if (candidate.mount->behindNetwork || storageOf(*candidate.mount) == Storage::Network ||
        !look(root + candidate.volume.mountPoint, record))
        return true;
    if (record.stx_mnt_id == candidate.mount->id)
        candidate.volume.device = deviceOf(record);
    return S_ISDIR(record.stx_mode);
}

/// The root of a process that was moved into a plain folder is in no mount table.
Candidate unlistedRoot() {
    Volume volume{};
    volume.mountPoint = "/";
    volume.driveType = DRIVE_FIXED;
    volume.subtree = "/";
    struct statx record = {};
    if (look("/", record)) {
        volume.mountId = record.stx_mnt_id;
        volume.device = deviceOf(record);
    }
    return {volume, nullptr};
}

/// The mounts that can hold a user's files, each file system's subtree once: "/" first, the others in mount order.
std::vector<Candidate> candidatesOf(const std::vector<Mount> &mounts, const std::vector<std::string> &scanned,
                                    const std::string &root) {
    std::vector<Candidate> candidates;
    std::set<std::pair<std::uint64_t, std::string>> subtrees;
    const auto take = [&](const Mount &mount) {
        Candidate candidate{volumeOfMount(mount, storageOf(mount), scanned, root), &mount};
        if (takeRoot(candidate, root) && subtrees.emplace(mount.device, mount.subtree).second)
            candidates.push_back(std::move(candidate));
    };
    for (const Mount &mount : mounts)
        if (mount.point == "/")
            take(mount);
    if (candidates.empty())
        candidates.push_back(unlistedRoot());
    for (const Mount &mount : mounts)
        if (mount.point != "/" && storageOf(mount) != Storage::None)
            take(mount);
    return candidates;
}

void markShown(std::vector<Candidate> &candidates) {
    std::set<std::string> drives;
    for (Candidate &candidate : candidates) {
        const Mount *mount = candidate.mount;
        const bool isRoot = candidate.volume.mountPoint == "/";
        candidate.volume.shown = (isRoot || isPlaceOfDrives(*mount, storageOf(*mount))) &&
                                 (mount == nullptr || drives.insert(driveOf(*mount)).second);
    }
}

/// The candidate on the longest mount that holds the path, or null where that mount has none.
Candidate *holderOf(std::string_view path, std::vector<Candidate> &candidates, const std::vector<Mount> &mounts) {
    const Mount *longest = nullptr;
    for (const Mount &mount : mounts)
        if (isWithin(path, mount.point) && (longest == nullptr || mount.point.size() > longest->point.size()))
            longest = &mount;
    const auto found = std::find_if(candidates.begin(), candidates.end(), [longest](const Candidate &candidate) {
        return longest != nullptr && candidate.mount == longest && !candidate.volume.subvolume;
    });
    return found == candidates.end() ? nullptr : &*found;
}

/// The paths that a pattern stands for on the disk; a pattern without "*" is its own path.
std::vector<std::string> pathsOf(const std::string &pattern, const std::string &root) {
    const std::size_t star = pattern.find("/*/");
    if (star == pattern.npos)
        return {pattern};
    std::vector<std::string> paths;
    for (const std::string &name : namesIn(root + pattern.substr(0, star)))
        paths.push_back(pattern.substr(0, star + 1) + name + pattern.substr(star + 2));
    return paths;
}

/// Adds the subvolumes on the way from the holder's root down to a scanned path. The device number changes at the root
/// of each, while the mount stays the same.
void addSubvolumesOnWay(const std::string &path, Candidate holder, const std::vector<std::string> &scanned,
                        const std::string &root, std::vector<Candidate> &candidates) {
    const std::string top = holder.volume.mountPoint;
    for (std::size_t end = top == "/" ? 0 : top.size(); end < path.size();) {
        end = std::min(path.find('/', end + 1), path.size());
        const std::string level = path.substr(0, end);
        struct statx record = {};
        if (!look(root + level, record) || !S_ISDIR(record.stx_mode) || record.stx_mnt_id != holder.mount->id)
            return;
        if (deviceOf(record) == holder.volume.device)
            continue;
        holder.volume.device = deviceOf(record);
        holder.volume.subvolume = true;
        holder.volume.shown = false;
        holder.volume.mountPoint = level;
        holder.volume.folderName = folderNameOf(level, scanned);
        holder.volume.subtree =
            joinPath(holder.mount->subtree, std::string_view(level).substr(top == "/" ? 1 : top.size() + 1));
        const bool isNew = std::none_of(candidates.begin(), candidates.end(), [&level](const Candidate &candidate) {
            return candidate.volume.mountPoint == level;
        });
        if (isNew)
            candidates.push_back(holder);
    }
}

void addSubvolumes(const std::vector<Mount> &mounts, const std::vector<std::string> &scanned, const std::string &root,
                   std::vector<Candidate> &candidates) {
    const auto subvolumeHolder = [&](std::string_view path) {
        Candidate *holder = holderOf(path, candidates, mounts);
        return holder != nullptr && holder->mount->type == "btrfs" && !holder->mount->behindNetwork ? holder : nullptr;
    };
    for (const std::string &pattern : scanned) {
        if (subvolumeHolder(pattern.substr(0, pattern.find("/*/"))) == nullptr)
            continue;
        for (const std::string &path : pathsOf(pattern, root))
            if (const Candidate *holder = subvolumeHolder(path))
                addSubvolumesOnWay(path, *holder, scanned, root, candidates);
    }
}

/// A number that the kernel hands out anew at each mount says nothing about what is mounted.
std::uint64_t lastingDevice(const Volume &volume) {
    return major(volume.device) == 0 ? 0 : volume.device;
}

bool isSameVolume(const Volume &left, const Volume &right) {
    return left.mountPoint == right.mountPoint && left.subtree == right.subtree && left.source == right.source &&
           left.subvolume == right.subvolume && lastingDevice(left) == lastingDevice(right);
}

/// 0 where no letter is left.
WChar letterFor(const Volume &volume, const std::vector<Volume> &known, const std::set<WChar> &taken) {
    if (volume.mountPoint == "/")
        return W('C');
    for (const Volume &other : known)
        if (isSameVolume(volume, other))
            return other.letter;
    for (WChar letter : letterOrder)
        if (!taken.contains(letter))
            return letter;
    return 0;
}

std::vector<Volume> lettersOf(const std::vector<Mount> &mounts, const std::vector<Volume> &known,
                              const std::vector<std::string> &scanned, const std::string &root) {
    std::vector<Candidate> candidates = candidatesOf(mounts, scanned, root);
    markShown(candidates);
    addSubvolumes(mounts, scanned, root, candidates);

    std::set<WChar> taken;
    for (const Volume &volume : known)
        taken.insert(volume.letter);
    std::vector<Volume> volumes;
    for (Candidate &candidate : candidates) {
        candidate.volume.letter = letterFor(candidate.volume, known, taken);
        if (candidate.volume.letter == 0)
            continue;
        taken.insert(candidate.volume.letter);
        volumes.push_back(std::move(candidate.volume));
    }
    std::sort(volumes.begin(), volumes.end(),
              [](const Volume &left, const Volume &right) { return left.letter < right.letter; });
    return volumes;
}

/// The mount table as it was last read; never changed, only replaced.
struct Table {
    std::vector<Volume> volumes;                     ///< mounted, in the order of their letters
    std::vector<Volume> known;                       ///< every volume that ever had a letter
    std::map<std::string, WChar, std::less<>> roots; ///< every mount point, with 0 for a mount without a letter
};

std::mutex readingMutex; ///< held while a new table is made
std::mutex tableMutex;   ///< held only to take or replace the pointer
std::shared_ptr<const Table> lastTable;

std::shared_ptr<const Table> takeLastTable() {
    const std::lock_guard lock(tableMutex);
    return lastTable;
}

std::shared_ptr<const Table> readTable(const std::vector<Volume> &known) {
    const std::vector<Mount> mounts = visibleMounts(readMountInfo());
    auto table = std::make_shared<Table>();
    table->volumes = lettersOf(mounts, known, scannedPaths(baseFolders()), "");
    table->known = known;
    for (const Mount &mount : mounts)
        table->roots[mount.point] = 0;
    for (const Volume &volume : table->volumes) {
        table->roots[volume.mountPoint] = volume.letter;
        std::erase_if(table->known, [&volume](const Volume &other) { return other.letter == volume.letter; });
        table->known.push_back(volume);
    }
    return table;
}

std::shared_ptr<const Table> currentTable() {
    if (std::shared_ptr<const Table> table = takeLastTable())
        return table;
    refreshVolumes();
    return takeLastTable();
}

const Volume *findLetter(const std::vector<Volume> &volumes, WChar letter) {
    const auto found = std::find_if(volumes.begin(), volumes.end(),
                                    [letter](const Volume &volume) { return volume.letter == letter; });
    return found == volumes.end() ? nullptr : &*found;
}

/// The volume that a drive-form path starts with, or null.
const Volume *findVolume(const std::vector<Volume> &volumes, WStringView path) {
    if (path.size() < 3 || path[1] != W(':') || path[2] != W('\\'))
        return nullptr;
    return findLetter(volumes, towupper(path[0]));
}

/// The Linux path of a drive-form path on its volume, or empty.
std::string pathOnVolume(const Volume &volume, WStringView path) {
    std::string linuxPath = volume.mountPoint;
    std::string name;
    WStringView rest = path.substr(3);
    bool atNamedRoot = !volume.folderName.empty();
    if (rest.empty())
        return atNamedRoot ? std::string() : linuxPath;
    for (std::size_t start = 0; start <= rest.size();) {
        const std::size_t end = std::min(rest.find(W('\\'), start), rest.size());
        if (!linuxName(rest.substr(start, end - start), name) || (atNamedRoot && name != volume.folderName))
            return std::string();
        if (!std::exchange(atNamedRoot, false))
            linuxPath = joinPath(linuxPath, name);
        start = end + 1;
    }
    return linuxPath;
}

/// False for a component that no path can hold.
bool appendComponents(std::string_view rest, WString &wide) {
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('/'), rest.size());
        const std::string_view name = rest.substr(0, end);
        if (name.empty() || name.find('\0') != name.npos)
            return false;
        if (!wide.ends_with(W('\\')))
            wide.push_back(W('\\'));
        if (name == "." || name == "..")
            wide.append(name.begin(), name.end());
        else
            appendWideName(name, wide);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return true;
}

} // namespace

std::optional<Volume> volumeOf(WChar letter) {
    const std::shared_ptr<const Table> table = currentTable();
    const Volume *volume = findLetter(table->volumes, letter);
    return volume == nullptr ? std::nullopt : std::optional(*volume);
}

void refreshVolumes() {
    const std::lock_guard reading(readingMutex);
    const std::shared_ptr<const Table> last = takeLastTable();
    std::shared_ptr<const Table> next = readTable(last ? last->known : std::vector<Volume>());
    const std::lock_guard lock(tableMutex);
    lastTable = std::move(next);
}

std::vector<Volume> mountedVolumes() {
    refreshVolumes();
    return currentTable()->volumes;
}

WString drivePath(std::string_view linuxPath) {
    if (!linuxPath.starts_with('/') || (linuxPath.size() > 1 && linuxPath.ends_with('/')))
        return WString();
    const std::shared_ptr<const Table> table = currentTable();
    std::string_view mountPoint = linuxPath;
    auto found = table->roots.find(mountPoint);
    while (found == table->roots.end() && mountPoint != "/") {
        mountPoint = mountPoint.substr(0, std::max<std::size_t>(mountPoint.rfind('/'), 1));
        found = table->roots.find(mountPoint);
    }
    if (found == table->roots.end() || found->second == 0)
        return WString();
    WString wide{found->second, W(':'), W('\\')};
    if (const Volume &volume = *findLetter(table->volumes, found->second); !volume.folderName.empty())
        appendWideName(volume.folderName, wide);
    const std::string_view rest = linuxPath.substr(mountPoint.size());
    return appendComponents(rest.starts_with('/') ? rest.substr(1) : rest, wide) ? wide : WString();
}

std::string linuxPath(WStringView drivePath) {
    const std::shared_ptr<const Table> table = currentTable();
    const Volume *volume = findVolume(table->volumes, drivePath);
    return volume == nullptr ? std::string() : pathOnVolume(*volume, drivePath);
}

std::string linuxPathToShow(WStringView drivePath) {
    const std::shared_ptr<const Table> table = currentTable();
    const Volume *volume = findVolume(table->known, drivePath);
    if (volume == nullptr)
        return std::string();
    return drivePath.size() == 3 ? volume->mountPoint : pathOnVolume(*volume, drivePath);
}

std::vector<Volume> assignLetters(std::string_view mountInfo, const std::vector<Volume> &known,
                                  const std::vector<std::string> &scanned, const std::string &root) {
    return lettersOf(visibleMounts(mountInfo), known, scanned, root);
}

} // namespace dm::platform
