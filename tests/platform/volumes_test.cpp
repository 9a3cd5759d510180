#include "platform/linux/volumes.h"

#include "files.h"
#include "namespaces.h"
#include "platform/linux/base_folders.h"
#include "platform/places.h"
#include "platform/win32.h"

#include <algorithm>

#include <sys/sysmacros.h>

namespace dm::platform {
namespace {

using namespace test;

const std::vector<std::string> fixedPlaces = {"/tmp", "/var/tmp", "/home/ann/.cache/chromium/*/Code Cache"};

std::string narrow(WStringView text) {
    return std::string(text.begin(), text.end());
}

/// One line a volume: letter, mount point, type, and what else there is to say.
std::string told(const std::vector<Volume> &volumes) {
    const char *types[] = {"unknown", "no root", "removable", "fixed", "network", "optical", "ram"};
    std::string text;
    for (const Volume &volume : volumes) {
        text += narrow(WString{volume.letter}) + ": " + volume.mountPoint + ' ' + types[volume.driveType];
        text += volume.shown ? " shown" : "";
        text += volume.folderName.empty() ? "" : " holds " + volume.folderName;
        text += volume.subvolume ? " subvolume\n" : "\n";
    }
    return text;
}

/// A machine that is all text, but for the disks and files that a test makes below its root.
struct Machine {
    Scratch root;

    void disk(const std::string &number, const std::string &place, const std::string &removable = "0") const {
        root.file("sys/devices/" + place + "/removable", removable + '\n');
        root.link("sys/dev/block/" + number, root.path("sys/devices/" + place));
    }
    void partition(const std::string &number, const std::string &place) const {
        root.file("sys/devices/" + place + "/partition", "1\n");
        root.link("sys/dev/block/" + number, root.path("sys/devices/" + place));
    }
    std::vector<Volume> letters(std::string_view table, const std::vector<Volume> &known = {}) const {
        return assignLetters(table, known, fixedPlaces, root.path());
    }
};

TEST(Volumes, Desktop) {
    const Machine machine;
    machine.disk("259:0", "pci/nvme/nvme0n1");
    machine.partition("259:2", "pci/nvme/nvme0n1/nvme0n1p2");
    machine.partition("259:3", "pci/nvme/nvme0n1/nvme0n1p3");
    machine.disk("8:16", "pci/0000:00:14.0/usb2/2-1/host6/block/sdb", "1");
    machine.partition("8:17", "pci/0000:00:14.0/usb2/2-1/host6/block/sdb/sdb1");
    machine.disk("8:32", "pci/0000:00:14.0/usb2/2-2/host7/block/sdc");
    machine.disk("253:0", "virtual/block/dm-0");
    machine.root.link("sys/devices/virtual/block/dm-0/slaves/sdc", machine.root.path("sys/dev/block/8:32"));
    machine.disk("179:0", "platform/mmc_host/mmc0/block/mmcblk0");
    machine.root.file("sys/devices/platform/mmc_host/mmc0/block/mmcblk0/device/type", "SD\n");
    EXPECT_EQ(told(machine.letters(R"(22 29 0:21 / /sys rw,nosuid,nodev,noexec,relatime shared:7 - sysfs sysfs rw
23 29 0:22 / /proc rw,nosuid,nodev,noexec,relatime shared:14 - proc proc rw
24 29 0:5 / /dev rw,nosuid,relatime shared:2 - devtmpfs udev rw,size=8072932k,mode=755,inode64
26 29 0:24 / /run rw,nosuid,nodev,noexec,relatime shared:5 - tmpfs tmpfs rw,size=1620800k,mode=755,inode64
29 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw,errors=remount-ro
30 24 0:25 / /dev/shm rw,nosuid,nodev shared:4 - tmpfs tmpfs rw,inode64
31 26 0:26 / /run/credentials ro,nosuid,nodev - tmpfs tmpfs rw,size=1024k
33 23 0:28 / /proc/sys/fs/binfmt_misc rw,relatime shared:13 - autofs systemd-1 rw,fd=29,pgrp=1,timeout=0
34 29 0:29 / /tmp rw,nosuid,nodev shared:15 - tmpfs tmpfs rw,size=8104000k,nr_inodes=1048576,inode64
35 29 7:0 / /snap/core22/1380 ro,nodev,relatime shared:17 - squashfs /dev/loop0 ro,errors=continue
36 29 259:3 / /home rw,relatime shared:18 - ext4 /dev/nvme0n1p3 rw
37 29 259:1 / /boot/efi rw,relatime shared:19 - vfat /dev/nvme0n1p1 rw,fmask=0077,dmask=0077
38 26 0:60 / /run/user/1000 rw,nosuid,nodev,relatime shared:60 - tmpfs tmpfs rw,size=1620796k,uid=1000
39 38 0:61 / /run/user/1000/doc rw,nosuid,nodev,relatime shared:61 - fuse.portal portal rw,user_id=1000
40 38 0:62 / /run/user/1000/gvfs rw,nosuid,nodev,relatime shared:62 - fuse.gvfsd-fuse gvfsd-fuse rw,user_id=1000
41 26 8:17 / /run/media/ann/MY\040STICK rw,nosuid,nodev,relatime shared:63 - vfat /dev/sdb1 rw
42 29 253:0 / /media/backup rw,relatime - ext4 /dev/mapper/luks-backup rw
43 29 179:0 / /media/card rw,relatime - exfat /dev/mmcblk0 rw
44 29 11:0 / /media/cdrom ro,relatime - iso9660 /dev/sr0 ro
45 29 7:9 / /mnt/image ro,relatime - ext4 /dev/loop9 ro
46 29 7:10 / /mnt/container rw,relatime - ext4 /dev/loop10 rw
47 36 0:70 / /home/ann/.cache/chromium/Profile\0401/Code\040Cache rw,relatime - tmpfs tmpfs rw
48 29 0:71 / /mnt/ramdisk rw,relatime - tmpfs tmpfs rw
)")),
              R"(C: / fixed shown
D: /run ram
E: /dev/shm ram
F: /tmp ram holds tmp
G: /home fixed shown
H: /run/user/1000 ram
I: /run/user/1000/gvfs network
J: /run/media/ann/MY STICK removable shown
K: /media/backup removable shown
L: /media/card removable shown
M: /media/cdrom optical shown
N: /mnt/container fixed shown
O: /home/ann/.cache/chromium/Profile 1/Code Cache ram shown holds Code Cache
P: /mnt/ramdisk ram shown
)");
}

TEST(Volumes, TheSystemsOwnDriveIsRemovableOnlyIfItsMediumIs) {
    const Machine machine;
    machine.disk("8:0", "pci/usb1/1-1/block/sda");
    machine.disk("8:16", "pci/usb1/1-2/block/sdb", "1");
    machine.partition("8:17", "pci/usb1/1-2/block/sdb/sdb1");
    EXPECT_EQ(told(machine.letters("20 1 8:0 / / rw - ext4 /dev/sda rw\n")), "C: / fixed shown\n");
    EXPECT_EQ(told(machine.letters("20 1 8:17 / / rw - ext4 /dev/sdb1 rw\n")), "C: / removable shown\n");
}

// What is mounted more than once, or in parts, is one drive to a person.
TEST(Volumes, PoolsAndSubtrees) {
    EXPECT_EQ(told(Machine().letters(R"(60 1 0:30 /@ / rw,relatime shared:1 - btrfs /dev/sda2 rw,subvolid=256,subvol=/@
61 60 0:30 /@home /home rw,relatime shared:2 - btrfs /dev/sda2 rw,subvolid=257,subvol=/@home
62 60 0:30 /@home /srv/again rw,relatime shared:2 - btrfs /dev/sda2 rw,subvolid=257,subvol=/@home
63 60 0:30 /@/var/tmp /var/tmp rw,relatime - btrfs /dev/sda2 rw,subvol=/@
64 60 0:31 / /tank rw,xattr - zfs tank rw,xattr,noacl
65 64 0:32 / /tank/music rw,xattr - zfs tank/music rw,xattr,noacl
66 60 0:33 / /vault rw,xattr - zfs vault/all rw,xattr,noacl
67 60 8:17 /photos /photos rw - xfs /dev/sdb1 rw
68 60 8:17 / /disk rw - xfs /dev/sdb1 rw
69 60 8:18 / /var/lib/docker rw - ext4 /dev/sdb2 rw
70 60 8:18 /volumes /docker-volumes rw - ext4 /dev/sdb2 rw
)")),
              R"(C: / fixed shown
D: /home fixed
E: /var/tmp fixed holds tmp
F: /tank fixed shown
G: /tank/music fixed
H: /vault fixed shown
I: /photos fixed shown
J: /disk fixed
K: /var/lib/docker fixed
L: /docker-volumes fixed shown
)");
}

TEST(Volumes, NetworkAndUnknown) {
    EXPECT_EQ(told(Machine().letters(R"(20 1 8:1 / / rw - ext4 /dev/sda1 rw
21 20 0:40 / /mnt/nas rw,relatime - nfs4 nas:/export rw,vers=4.2,addr=10.0.0.2
22 20 0:41 / /net rw,relatime - autofs /etc/auto.net rw,fd=7,indirect
23 22 0:42 / /net/box rw,relatime - nfs box:/ rw
24 20 0:43 / /home/ann/server rw,nosuid,nodev - fuse.sshfs ann@server:/ rw,user_id=1000
25 20 0:44 / /tmp/.mount_editorX ro,nosuid,nodev - fuse.editor.AppImage editor.AppImage ro,user_id=1000
26 20 0:45 / /home/ann/vault rw,nosuid,nodev - fuse.gocryptfs /home/ann/.vault rw,user_id=1000
27 20 8:33 / /mnt/windows rw,relatime - fuseblk /dev/sdc1 rw,user_id=0
28 20 0:46 / /secrets rw,relatime - ramfs ramfs rw
29 20 0:47 / /mnt/whatever rw,relatime - somenewfs none rw
30 20 0:48 net:[4026532008] /run/netns/x rw - nsfs nsfs rw
)")),
              R"(C: / fixed shown
D: /mnt/nas network shown
E: /net/box network shown
F: /home/ann/server network shown
G: /home/ann/vault fixed shown
H: /mnt/windows fixed shown
)");
}

// What the kernel would reach by the path counts, whatever the order of the lines.
TEST(Volumes, CoveredMountsAreNoVolumes) {
    EXPECT_EQ(told(Machine().letters(R"(31 35 8:2 / /data rw - ext4 /dev/sda2 rw
32 31 8:3 / /data/old rw - ext4 /dev/sda3 rw
33 35 8:4 / /stack rw - ext4 /dev/sda4 rw
34 33 8:5 / /stack rw - xfs /dev/sda5 rw
35 1 8:1 / / rw - ext4 /dev/sda1 rw
36 31 8:6 / /data rw - ext4 /dev/sda6 rw
37 36 8:7 / /data/new rw - ext4 /dev/sda7 rw
38 35 8:8 / /mnt/gone//deleted rw - ext4 /dev/sda8 rw
39 35 8:9 / /tab\011and\134backslash\040\012 rw - ext4 /dev/sda9 rw
40 34 0:9 / /stack/proc rw - proc proc rw
)")),
              "C: / fixed shown\nD: /stack fixed shown\nE: /data fixed shown\nF: /data/new fixed shown\n"
              "G: /tab\tand\\backslash \n fixed shown\n");
    // Mounts that are said to lie on one another, and other lines that no kernel writes.
    for (const char *table :
         {"", "\n\n", "1 1\n", "5 6 8:1 / /x rw - ext4 a rw\n6 5 8:2 / /x rw - ext4 b rw\n",
          "7 1 8:1 / / rw - ext4 a rw\n8 7 8:2 / /y rw - ext4 b rw\n7 8 8:3 / /y rw - ext4 c rw\n",
          "9 1 x:y / / rw - ext4 a rw\n", "9 1 8:1 / relative rw - ext4 a rw\n", "9 1 8:1 / / rw -"})
        EXPECT_TRUE(told(Machine().letters(table)).starts_with("C: / fixed shown\n")) << table;
}

TEST(Volumes, LettersRunOut) {
    std::string table = "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n";
    for (int index = 0; index < 40; ++index)
        table += std::to_string(index + 2) + " 1 259:" + std::to_string(index) + " / /disk" + std::to_string(index) +
                 " rw - ext4 /dev/x rw\n";
    const std::string letters = told(Machine().letters(table));
    EXPECT_EQ(std::count(letters.begin(), letters.end(), '\n'), 26);
    EXPECT_TRUE(
        letters.starts_with("A: /disk23 fixed shown\nB: /disk24 fixed shown\nC: / fixed shown\nD: /disk0 fixed"));
    EXPECT_TRUE(letters.ends_with("Z: /disk22 fixed shown\n"));
}

TEST(Volumes, LettersStayWhileMountsComeAndGo) {
    const std::string root = "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n";
    const std::string one = "21 20 8:17 / /run/media/one rw - vfat /dev/sdb1 rw\n";
    const std::string two = "22 20 0:50 / /mnt/ram rw - tmpfs tmpfs rw\n";
    const std::string twoAnew = "35 20 0:99 / /mnt/ram rw - tmpfs tmpfs rw\n";
    const std::string otherInPlace = "36 20 8:33 / /run/media/one rw - vfat /dev/sdc1 rw\n";
    const std::string share = "37 20 0:50 / /mnt/ram rw - nfs nas:/ram rw\n";
    const Machine machine;
    std::vector<Volume> known;
    const auto lettersNow = [&](const std::string &table) {
        std::string letters;
        for (const Volume &volume : machine.letters(table, known)) {
            letters += narrow(WString{volume.letter}) + volume.source + ' ';
            if (std::ranges::count(known, volume.letter, &Volume::letter) == 0)
                known.push_back(volume);
        }
        return letters;
    };
    EXPECT_EQ(lettersNow(root + one + two), "C/dev/sda1 D/dev/sdb1 Etmpfs ");
    EXPECT_EQ(lettersNow(root + two), "C/dev/sda1 Etmpfs ");
    EXPECT_EQ(lettersNow(root + otherInPlace), "C/dev/sda1 F/dev/sdc1 ");
    EXPECT_EQ(lettersNow(root + share), "C/dev/sda1 Gnas:/ram ");
    EXPECT_EQ(lettersNow(twoAnew + one + root), "C/dev/sda1 D/dev/sdb1 Etmpfs ");
}

TEST(Volumes, PathsOfThisMachine) {
    const std::vector<Volume> volumes = mountedVolumes();
    ASSERT_FALSE(volumes.empty());
    for (const Volume &volume : volumes) {
        SCOPED_TRACE(volume.mountPoint);
        for (const char *below : {"", "/aux", "/a:b/\xFF. /.x", "/\uF02E/\U0001F600"}) {
            const std::string path = volume.mountPoint == "/" && *below != 0 ? below : volume.mountPoint + below;
            const WString wide = drivePath(path);
            EXPECT_EQ(wide.front(), volume.letter);
            EXPECT_EQ(linuxPath(wide), path);
            EXPECT_EQ(linuxPathToShow(wide), path);
        }
        const WString root = {volume.letter, W(':'), W('\\')};
        EXPECT_EQ(GetDriveTypeW(root.c_str()), volume.driveType);
        EXPECT_EQ(linuxPathToShow(root), volume.mountPoint);
        EXPECT_EQ(volumeOf(volume.letter)->mountPoint, volume.mountPoint);
    }
    EXPECT_EQ(drivePath("/nowhere/../tmp"), W("C:\\nowhere\\..\\tmp"));
    EXPECT_EQ(linuxPath(W("c:\\Nowhere")), "/Nowhere");
    for (const char *path : {"", "relative", "/proc", "/proc/self", "/a//b", "/a/", "//"})
        EXPECT_EQ(drivePath(path), W("")) << path;
    EXPECT_EQ(drivePath(std::string_view("/a\0b", 4)), W(""));
    for (const WChar *path : {W(""), W("C"), W("C:"), W("C:x"), W("1:\\x"), W("\xF043:\\x"), W("C:\\.."),
                              W("C:\\a\\\\b"), W("C:\\a\\"), W("C:\\a/b"), W("C:\\a\\.\xF02E"), W("\\\\?\\C:\\a")})
        EXPECT_EQ(linuxPath(path), "") << testing::PrintToString(WString(path));
}

void checkAgainstKernel() {
    std::size_t checked = 0;
    for (const Volume &volume : mountedVolumes()) {
        struct statx record = {};
        const bool isLocal = volume.driveType != DRIVE_REMOTE;
        if (!isLocal || statx(AT_FDCWD, volume.mountPoint.c_str(), AT_NO_AUTOMOUNT, STATX_MNT_ID, &record) != 0)
            continue;
        ++checked;
        EXPECT_EQ(volume.mountId, record.stx_mnt_id) << volume.mountPoint;
        EXPECT_EQ(volume.device, makedev(record.stx_dev_major, record.stx_dev_minor)) << volume.mountPoint;
    }
    EXPECT_GE(checked, 3U) << "the root and the RAM disks on the fixed places";
}

// The two fixed places are RAM disks here, so each stands as a folder in its drive's root.
TEST(Volumes, MountsComeAndGo) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        refreshVolumes();
        const WString temp = drivePath("/tmp");
        ASSERT_EQ(temp.substr(1), W(":\\tmp"));
        EXPECT_EQ(drivePath("/var/tmp/x").substr(1), W(":\\tmp\\x"));
        EXPECT_NE(drivePath("/var/tmp").front(), temp.front());
        EXPECT_EQ(linuxPath(temp + W("\\x")), "/tmp/x");
        EXPECT_EQ(linuxPath(temp.substr(0, 3)), "");
        EXPECT_EQ(linuxPath(temp.substr(0, 3) + W("other")), "");
        EXPECT_EQ(linuxPath(temp.substr(0, 3) + W("tmp2\\x")), "");
        EXPECT_TRUE(GetDiskFreeSpaceExW(temp.substr(0, 3).c_str(), nullptr, nullptr, nullptr));
        EXPECT_EQ(GetDriveTypeW(temp.substr(0, 3).c_str()), UINT(DRIVE_RAMDISK));

        const Scratch scratch("/tmp");
        const std::string disk = scratch.folder("ram disk");
        scratch.file("file");
        scratch.file("other");
        require(mount("tmpfs", disk.c_str(), "tmpfs", 0, nullptr) == 0, disk);
        require(mount(scratch.path("other").c_str(), scratch.path("file").c_str(), nullptr, MS_BIND, nullptr) == 0,
                disk);
        const WString below = scratch.wide("ram disk/x");
        EXPECT_EQ(below.front(), temp.front()) << "known only after a refresh";
        EXPECT_EQ(typedPath(shownPath(below)).substr(1), W(":\\x"));
        checkAgainstKernel();
        EXPECT_EQ(drivePath(scratch.path("file")), WString());

        const WString root = scratch.wide("ram disk");
        const WString path = scratch.wide("ram disk/x");
        EXPECT_EQ(root.size(), 3U);
        EXPECT_EQ(path, root + W("x"));
        EXPECT_TRUE(GetDiskFreeSpaceExW(root.c_str(), nullptr, nullptr, nullptr));
        require(umount(disk.c_str()) == 0, disk);
        EXPECT_FALSE(GetDiskFreeSpaceExW(root.c_str(), nullptr, nullptr, nullptr));
        EXPECT_EQ(GetLastError(), DWORD(ERROR_PATH_NOT_FOUND));
        refreshVolumes();
        EXPECT_EQ(scratch.wide("ram disk/x"), below);
        EXPECT_FALSE(volumeOf(root.front()));
        EXPECT_EQ(linuxPath(path), "");
        EXPECT_EQ(linuxPathToShow(path), disk + "/x");
        require(mount("tmpfs", disk.c_str(), "tmpfs", 0, nullptr) == 0, disk);
        refreshVolumes();
        EXPECT_EQ(scratch.wide("ram disk/x"), path);
    });
}

TEST(Volumes, SubvolumesThatHoldAScannedPlace) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const std::string cache = baseFolders().cacheHome;
        const Scratch scratch;
        const std::string image = scratch.file("image", "");
        const std::string commands =
            "truncate -s 200M " + image + "; mkfs.btrfs -q " + image + "; mkdir -p " + cache + "; mount -o loop " +
            image + ' ' + cache + "; cd " + cache +
            "; btrfs -q subvolume create mozilla; mkdir -p mozilla/firefox/me chromium/Default;"
            "btrfs -q subvolume create mozilla/firefox/me/cache2;"
            "btrfs -q subvolume create chromium/Default/Other";
        if (!runIn("/", commands))
            GTEST_SKIP() << "Only root can mount, and this needs btrfs.";
        checkAgainstKernel();
        const WString top = drivePath(cache);
        const WString mozilla = drivePath(cache + "/mozilla");
        const WString cache2 = drivePath(cache + "/mozilla/firefox/me/cache2");
        EXPECT_EQ(top.size(), 3U);
        EXPECT_EQ(mozilla.size(), 3U);
        EXPECT_EQ(cache2.substr(1), W(":\\cache2"));
        EXPECT_EQ(drivePath(cache + "/mozilla/firefox/me"), mozilla + W("firefox\\me"));
        EXPECT_EQ(drivePath(cache + "/chromium/Default/Other"), top + W("chromium\\Default\\Other"));
        EXPECT_TRUE(volumeOf(cache2.front())->subvolume);
        EXPECT_FALSE(volumeOf(cache2.front())->shown);
        EXPECT_EQ(volumeOf(cache2.front())->subtree, "/mozilla/firefox/me/cache2");
        EXPECT_EQ(volumeOf(cache2.front())->mountId, volumeOf(top.front())->mountId);
        EXPECT_TRUE(GetDiskFreeSpaceExW(cache2.substr(0, 3).c_str(), nullptr, nullptr, nullptr));
        EXPECT_EQ(umount(cache.c_str()), 0) << "the volume table holds the disk";
    });
}

} // namespace
} // namespace dm::platform
