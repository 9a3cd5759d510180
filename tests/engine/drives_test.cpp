#include "engine/drives.h"

#include "namespaces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <sys/mount.h>
#include <sys/statvfs.h>

using namespace dm;

namespace {

/// The drives that are not in the earlier list.
std::vector<DriveInfo> newDrives(const std::vector<DriveInfo> &before) {
    std::vector<DriveInfo> drives = listDrives();
    std::erase_if(drives, [&before](const DriveInfo &drive) {
        return std::any_of(before.begin(), before.end(),
                           [&drive](const DriveInfo &other) { return other.root == drive.root; });
    });
    return drives;
}

} // namespace

TEST(Drives, RootComesFirstWithItsSize) {
    struct statvfs figures {};
    ASSERT_EQ(statvfs("/", &figures), 0);
    const std::vector<DriveInfo> drives = listDrives();
    ASSERT_FALSE(drives.empty());
    EXPECT_EQ(drives[0].root, W("C:\\"));
    EXPECT_EQ(drives[0].totalBytes, std::uint64_t{figures.f_blocks} * figures.f_frsize);
    EXPECT_LE(drives[0].freeBytes, drives[0].totalBytes);
}

TEST(Drives, DriveIsListedWhileItIsThere) {
    // Mounts are this test's own here. The RAM disks on /tmp and /var/tmp are nothing that a person calls a drive.
    test::runIsolated(test::Isolation::ProcessesAndPlaces, [] {
        const std::vector<DriveInfo> before = listDrives();
        ASSERT_EQ(mount("tmpfs", "/mnt", "tmpfs", 0, "size=1m"), 0) << std::strerror(errno);
        std::ofstream("/mnt/file") << std::string(65536, 'x');
        const std::vector<DriveInfo> drives = newDrives(before);
        ASSERT_EQ(drives.size(), 1u);
        EXPECT_EQ(drives[0].root.substr(1), W(":\\"));
        EXPECT_EQ(drives[0].totalBytes, 1048576u);
        EXPECT_EQ(drives[0].freeBytes, 1048576u - 65536u);

        ASSERT_EQ(umount("/mnt"), 0) << std::strerror(errno);
        EXPECT_TRUE(newDrives(before).empty());
        EXPECT_EQ(listDrives().size(), before.size());
    });
}
