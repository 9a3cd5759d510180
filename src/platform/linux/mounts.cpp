#include "platform/linux/mounts.h"

#include "platform/linux/fd.h"
#include "platform/linux/path_text.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace dm::platform {

namespace {

constexpr std::uint64_t outside = UINT64_MAX;
constexpr unsigned loopMajor = 7;
constexpr unsigned opticalMajor = 11;

std::string readAll(int descriptor) {
    std::string text;
    char buffer[16384];
    for (ssize_t count; (count = read(descriptor, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(count));
    return text;
}

std::string_view nextField(std::string_view &line) {
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string_view field = line.substr(0, blank);
    line.remove_prefix(std::min(blank + 1, line.size()));
    return field;
}

bool parseNumber(std::string_view text, std::uint64_t &value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool parseDevice(std::string_view text, std::uint64_t &device) {
    const std::size_t colon = text.find(':');
    std::uint64_t majorNumber = 0;
    std::uint64_t minorNumber = 0;
    if (colon == text.npos || !parseNumber(text.substr(0, colon), majorNumber) ||
        !parseNumber(text.substr(colon + 1), minorNumber))
        return false;
    device = makedev(static_cast<unsigned>(majorNumber), static_cast<unsigned>(minorNumber));
    return true;
}

/// The kernel writes blanks, tabs, line ends and backslashes as a backslash and three octal digits.
std::string unescape(std::string_view field) {
    const auto isOctal = [](char digit) { return digit >= '0' && digit <= '7'; };
    std::string text;
    for (std::size_t at = 0; at < field.size(); ++at) {
        if (field[at] == '\\' && field.size() - at > 3 && std::all_of(&field[at + 1], &field[at] + 4, isOctal)) {
            text.push_back(
                static_cast<char>((field[at + 1] - '0') * 64 + (field[at + 2] - '0') * 8 + field[at + 3] - '0'));
            at += 3;
        } else {
            text.push_back(field[at]);
        }
    }
    return text;
}

bool hasOption(std::string_view options, std::string_view wanted) {
    while (!options.empty()) {
        const std::size_t comma = std::min(options.find(','), options.size());
        if (options.substr(0, comma) == wanted)
            return true;
        options.remove_prefix(std::min(comma + 1, options.size()));
    }
    return false;
}

bool parseMount(std::string_view line, Mount &mount) {
    if (!parseNumber(nextField(line), mount.id) || !parseNumber(nextField(line), mount.parent) ||
        !parseDevice(nextField(line), mount.device))
        return false;
    mount.subtree = unescape(nextField(line));
    mount.point = unescape(nextField(line));
    const std::string_view options = nextField(line);
    while (!line.empty() && nextField(line) != "-")
        continue;
    mount.type = unescape(nextField(line));
    mount.source = unescape(nextField(line));
    mount.readOnly = hasOption(options, "ro") || hasOption(nextField(line), "ro");
    mount.behindNetwork = false;
    // A mount point that was removed from its folder is told with a doubled slash ("/mnt/stick//deleted").
    return mount.point.starts_with('/') && mount.point == cleanPath(mount.point) && !mount.type.empty();
}

std::vector<Mount> parseMounts(std::string_view mountInfo) {
    std::vector<Mount> mounts;
    while (!mountInfo.empty()) {
        const std::size_t end = std::min(mountInfo.find('\n'), mountInfo.size());
        Mount mount;
        if (parseMount(mountInfo.substr(0, end), mount))
            mounts.push_back(std::move(mount));
        mountInfo.remove_prefix(std::min(end + 1, mountInfo.size()));
    }
    return mounts;
}

/// What is mounted on which mount and where. The order of the table alone does not tell what covers what: "/" may well
/// stand behind the mounts that lie on it.
using Children = std::map<std::pair<std::uint64_t, std::string_view>, const Mount *>;

Children childrenOf(const std::vector<Mount> &mounts) {
    std::set<std::uint64_t> ids;
    for (const Mount &mount : mounts)
        ids.insert(mount.id);
    Children children;
    for (const Mount &mount : mounts) {
        const bool hasParent = mount.parent != mount.id && ids.contains(mount.parent);
        children[{hasParent ? mount.parent : outside, mount.point}] = &mount;
    }
    return children;
}

/// Walks the path as the kernel does. Gives the mounts that it crosses, the last being the one that it ends in.
std::vector<const Mount *> mountsOnWay(const Children &children, std::string_view path) {
    std::vector<const Mount *> crossed;
    std::size_t end = 1;
    while (crossed.size() <= children.size()) {
        const auto child = children.find({crossed.empty() ? outside : crossed.back()->id, path.substr(0, end)});
        if (child != children.end()) {
            crossed.push_back(child->second);
            continue;
        }
        if (end == path.size())
            break;
        end = std::min(path.find('/', end == 1 ? 1 : end + 1), path.size());
    }
    return crossed;
}

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> texts) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

Storage storageOfFuse(const Mount &mount) {
    // Views of what lies elsewhere, and applications that mount themselves (read-only, under their own names).
    if (mount.readOnly || isOneOf(mount.type, {"fuse.portal", "fuse.lxcfs", "fuse.snapfuse", "fuse.veracrypt"}))
        return Storage::None;
    if (isOneOf(mount.type, {"fuse.mergerfs", "fuse.mhddfs", "fuse.unionfs", "fuse.bindfs", "fuse.gocryptfs",
                             "fuse.encfs", "fuse.cryfs", "fuse.securefs"}))
        return Storage::Pool;
    // sshfs, rclone, glusterfs, davfs and many more; and what is not known to lie on this machine may lie anywhere.
    return Storage::Network;
}

std::string readShortFile(const std::string &path) {
    const Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text = file ? readAll(file.get()) : std::string();
    while (text.ends_with('\n'))
        text.pop_back();
    return text;
}

bool hangsOnUsb(std::string_view sysfsPath) {
    for (std::size_t at = sysfsPath.find("/usb"); at != sysfsPath.npos; at = sysfsPath.find("/usb", at + 1))
        if (at + 4 < sysfsPath.size() && sysfsPath[at + 4] >= '0' && sysfsPath[at + 4] <= '9')
            return true;
    return false;
}

/// `link` is a link in sysfs that leads to a disk or a partition.
DiskKind diskKindInSysfs(const std::string &link) {
    const std::unique_ptr<char, decltype(&free)> resolved(realpath(link.c_str(), nullptr), &free);
    if (resolved == nullptr)
        return DiskKind::Fixed;
    const std::string device = resolved.get();
    const std::string disk = readShortFile(device + "/partition").empty() ? device : parentPath(device);
    if (readShortFile(disk + "/removable") == "1")
        return DiskKind::Removable;
    DiskKind kind =
        hangsOnUsb(disk) || readShortFile(disk + "/device/type") == "SD" ? DiskKind::External : DiskKind::Fixed;
    // An encrypted or assembled disk is what the disks below it are.
    for (const std::string &name : namesIn(device + "/slaves"))
        kind = std::max(kind, diskKindInSysfs(device + "/slaves/" + name));
    return kind;
}

} // namespace

std::vector<std::string> namesIn(const std::string &folder) {
    const auto closeListing = [](DIR *listing) { closedir(listing); };
    Fd descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const std::unique_ptr<DIR, decltype(closeListing)> listing(descriptor ? fdopendir(descriptor.get()) : nullptr);
    std::vector<std::string> names;
    if (listing == nullptr)
        return names;
    descriptor.release();
    while (const dirent *entry = readdir(listing.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    return names;
}

std::string readMountInfo() {
    const Fd file(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
    if (!file)
        return std::string();
    // The table comes in pieces, and a mount between two of them can double or drop a line: the kernel then tells
    // of a change on the same descriptor.
    std::string text;
    for (int attempt = 0; attempt < 8; ++attempt) {
        lseek(file.get(), 0, SEEK_SET);
        text = readAll(file.get());
        pollfd change{file.get(), POLLPRI, 0};
        if (poll(&change, 1, 0) <= 0 || (change.revents & (POLLPRI | POLLERR)) == 0)
            break;
    }
    return text;
}

std::vector<Mount> visibleMounts(std::string_view mountInfo) {
    std::vector<Mount> mounts = parseMounts(mountInfo);
    const Children children = childrenOf(mounts);
    std::vector<Mount> visible;
    for (const Mount &mount : mounts) {
        std::vector<const Mount *> way = mountsOnWay(children, mount.point);
        if (way.empty() || way.back() != &mount)
            continue;
        way.pop_back();
        visible.push_back(mount);
        visible.back().behindNetwork = std::any_of(
            way.begin(), way.end(), [](const Mount *crossed) { return storageOf(*crossed) == Storage::Network; });
    }
    return visible;
}

Storage storageOf(const Mount &mount) {
    if (isWithin(mount.point, "/boot") || isWithin(mount.point, "/efi") ||
        isOneOf(mount.type, {"squashfs", "erofs", "cramfs", "romfs"}))
        return Storage::None;
    if (mount.type == "tmpfs")
        return mount.readOnly ? Storage::None : Storage::Memory;
    if (isOneOf(mount.type, {"nfs", "nfs4", "cifs", "smb3", "smbfs", "ncpfs", "afs", "ceph", "9p", "glusterfs",
                             "lustre", "davfs", "coda", "virtiofs", "vboxsf", "vmhgfs"}))
        return Storage::Network;
    if (isOneOf(mount.type, {"btrfs", "zfs", "bcachefs", "overlay", "aufs", "ecryptfs"}))
        return Storage::Pool;
    if (major(mount.device) == 0)
        return mount.type.starts_with("fuse.") || mount.type == "fuse" ? storageOfFuse(mount) : Storage::None;
    if (major(mount.device) == opticalMajor)
        return Storage::Optical;
    const bool isImage = mount.type == "iso9660" || (major(mount.device) == loopMajor && mount.readOnly);
    return isImage ? Storage::None : Storage::Disk;
}

DiskKind diskKindOf(const Mount &mount, const std::string &root) {
    std::uint64_t device = mount.device;
    struct stat status {};
    // A pool has a device number of its own, but some tell a disk as their source.
    if (major(device) == 0) {
        if (!mount.source.starts_with("/dev/") || stat((root + mount.source).c_str(), &status) != 0 ||
            !S_ISBLK(status.st_mode))
            return DiskKind::Fixed;
        device = status.st_rdev;
    }
    return diskKindInSysfs(root + "/sys/dev/block/" + std::to_string(major(device)) + ":" +
                           std::to_string(minor(device)));
}

} // namespace dm::platform
