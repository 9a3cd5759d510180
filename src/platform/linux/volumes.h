// Mounted file systems and their drive letters.
#pragma once

#include "platform/text.h"
#include "platform/win32.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dm::platform {

/// A mounted file system that can hold a user's files.
struct Volume {
    WChar letter;
    std::string mountPoint; ///< absolute path; "/" for C:
    /// Not empty where the volume's own root is a folder that is scanned (a RAM disk on /tmp): the drive's root then
    /// holds just this one folder, so that the folder is no drive root. "D:\tmp" is /tmp.
    std::string folderName;
    UINT driveType;        ///< as GetDriveTypeW tells it
    bool shown;            ///< a person would call it a drive
    bool subvolume;        ///< a btrfs subvolume that is not mounted by itself
    std::uint64_t mountId; ///< as statx tells it
    std::uint64_t device;  ///< of the root, as makedev gives it
    std::string source;    ///< what is mounted, as the kernel tells it
    std::string subtree;   ///< the folder of the file system that is mounted, "/" for all of it
};

/// The volume of a letter (upper case) as the mount table had it when it was last read.
std::optional<Volume> volumeOf(WChar letter);
/// Reads the mount table again. A volume keeps its letter for the life of the process, also while it is away.
void refreshVolumes();
/// All volumes that are mounted now, in the order of their letters, after a refresh.
std::vector<Volume> mountedVolumes();

/// The drive form of an absolute, clean Linux path, by the longest mount that holds it; empty where no volume holds it.
/// "." and ".." stay, so that the path is refused wherever it is used. Touches no disk.
WString drivePath(std::string_view linuxPath);
/// The Linux path of a drive-form path; empty where the letter or a component names nothing. The root of a drive with a
/// folderName names nothing either.
std::string linuxPath(WStringView drivePath);
/// The same for showing only: also on a volume that is away, and the volume's folder for any drive's root.
std::string linuxPathToShow(WStringView drivePath);

/// What becomes of a mount table, in the order of the letters. The text is that of /proc/self/mountinfo; split off so
/// that tables of other machines can be tried. `known` are all volumes that ever had a letter. `scanned` are the Linux
/// paths of the fixed places of a scan; a component "*" stands for any name. Below `root` ("" for this machine) lies
/// what the table does not tell: disks in sysfs, and whether a mount point is a folder.
std::vector<Volume> assignLetters(std::string_view mountInfo, const std::vector<Volume> &known,
                                  const std::vector<std::string> &scanned, const std::string &root = "");

} // namespace dm::platform
