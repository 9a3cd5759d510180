// The mount table and the disks behind it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace dm::platform {

struct Mount {
    std::uint64_t id;     ///< as statx tells it
    std::uint64_t parent; ///< the mount that this one was mounted on
    std::uint64_t device; ///< of the whole file system, as makedev gives it; with btrfs no file in it has this one
    std::string subtree;  ///< the folder of the file system that is mounted, "/" for all of it
    std::string point;    ///< absolute, clean path
    std::string type;
    std::string source;
    bool readOnly;
    bool behindNetwork; ///< the way to it leads over a network, so that even a look at its root may hang
};

/// What a file system keeps a user's files in; None for what keeps none.
enum class Storage { None, Disk, Optical, Pool, Network, Memory };

enum class DiskKind {
    Fixed,
    External,  ///< hangs on USB, or is an SD card
    Removable, ///< the medium can be taken out
};

/// The names in a folder other than "." and ".."; none where it cannot be listed or is a link.
std::vector<std::string> namesIn(const std::string &folder);

/// The kernel's mount table at one moment, as text; empty where it cannot be read.
std::string readMountInfo();

/// The mounts that a path leads to, in mount order: what a later mount covers is left out.
std::vector<Mount> visibleMounts(std::string_view mountInfo);

Storage storageOf(const Mount &mount);

/// The disk behind a mount, by what sysfs tells below `root` ("" for this machine); Fixed where nothing is told.
DiskKind diskKindOf(const Mount &mount, const std::string &root);

} // namespace dm::platform
