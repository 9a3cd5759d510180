#include "engine/drives.h"

#include "namespaces.h"

#include <algorithm>

#include <sys/statvfs.h>

using namespace dm;

TEST(Drives, AreListedWithTheirSizeWhileTheyAreThere) {
    // Mounts are this test's own here. The RAM disks on /tmp and /var/tmp are nothing that a person calls a drive.
    test::runIsolated(test::Isolation::ProcessesAndPlaces, [] {
        struct statvfs figures {};
        ASSERT_EQ(statvfs("/", &figures), 0);
        const std::vector<DriveInfo> before = listDrives();
        ASSERT_FALSE(before.empty());
        EXPECT_EQ(before[0].root, W("C:\\"));
        EXPECT_EQ(before[0].totalBytes, std::uint64_t{figures.f_blocks} * figures.f_frsize);
        EXPECT_LE(before[0].freeBytes, before[0].totalBytes);

        ASSERT_EQ(mount("tmpfs", "/mnt", "tmpfs", 0, "size=1m"), 0) << std::strerror(errno);
        std::ofstream("/mnt/file") << std::string(65536, 'x');
        const std::vector<DriveInfo> drives = listDrives();
        ASSERT_EQ(drives.size(), before.size() + 1);
        const bool isNew = std::ranges::any_of(drives, [](const DriveInfo &drive) {
            return drive.root.substr(1) == W(":\\") && drive.totalBytes == 1 << 20 &&
                   drive.freeBytes == (1 << 20) - 65536;
        });
        EXPECT_TRUE(isNew);
        ASSERT_EQ(umount("/mnt"), 0) << std::strerror(errno);
        EXPECT_EQ(listDrives().size(), before.size());
    });
}
