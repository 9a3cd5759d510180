// Scans, clean-ups and the self-test on the file systems that a machine may have below its places.
#include "empty_machine.h"
#include "engine/cleaner.h"
#include "engine/scanner.h"
#include "engine/self_test.h"
#include "files.h"
#include "platform/linux/fd.h"
#include "platform/linux/private_folder.h"
#include "platform/win32.h"

#include <set>

namespace dm {
namespace {

using platform::Fd;
using namespace test;

const std::atomic<bool> goOn = false;
constexpr uid_t ordinaryUser = 65534;
constexpr CleanSelection allFiles = {true, true, false};

/// A file system to try; commands in /home that make it at $place, most of which only root can.
struct Disk {
    const char *name;
    const char *commands;
};

/// False where it cannot be had here.
bool mountDisk(const Disk &disk, const std::string &place) {
    return runIn("/home", "place=" + place + "; " + disk.commands);
}

constexpr const char *makeExt4 = "truncate -s 4M image; mkfs.ext4 -q image; mount -o loop image $place";
constexpr const char *makeXfs = "truncate -s 300M image; mkfs.xfs -q image; mount -o loop image $place";
constexpr const char *makeBtrfs = "truncate -s 109M image; mkfs.btrfs -q image; mount -o loop image $place";

struct Kind {
    Disk disk;
    const char *after; ///< commands for when the files are there
    bool links;        ///< it has symbolic and hard links
    const WChar *selfTestFailure;
    std::uint64_t listed;
    std::uint64_t passedOver; ///< by the scan, beside young files and links
    std::uint64_t deleted;
    std::uint64_t inUse;
};

const WChar *const noDeletion = W("Safe fixture deletion or preservation check failed.");
const WChar *const noLinks = W("Filesystem does not support junction test fixtures.");

const Kind kinds[] = {
    {{"tmpfs", "mount -t tmpfs tmpfs $place"}, ":", true, W(""), 2, 0, 2, 0},
    {{"overlay", "mkdir l u w; mount -t overlay -o lowerdir=/home/l,upperdir=/home/u,workdir=/home/w overlay $place"},
     ":",
     true,
     noDeletion,
     2,
     0,
     0,
     2},
    {{"ext4", makeExt4}, ":", true, W(""), 2, 1, 2, 0}, // "lost+found"
    {{"xfs", makeXfs}, ":", true, W(""), 2, 0, 2, 0},
    {{"btrfs", makeBtrfs},
     "btrfs -q subvolume create part; touch -d 2001-01-01 part/old; chown -R 65534 part",
     true,
     W(""),
     2,
     1,
     2,
     0},
    {{"readOnly", makeBtrfs}, "mount -o remount,ro .", true, W("Cannot create isolated fixture."), 0, 2, 0, 0},
    {{"vfat", "truncate -s 1M image; mkfs.vfat image; mount -o loop,umask=0000,uid=65534 image $place"},
     ":",
     false,
     noLinks,
     2,
     0,
     0,
     0},
    {{"ntfs", "truncate -s 2M image; mkntfs -Q -F image; mount -t ntfs-3g -o loop,uid=65534 image $place"},
     ":",
     true,
     noLinks,
     2,
     0,
     0,
     0},
};

void PrintTo(const Kind &kind, std::ostream *out) {
    *out << kind.disk.name;
}

template <typename Param>
std::string nameOf(const testing::TestParamInfo<Param> &info) {
    return info.param.disk.name;
}

class FileSystems : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(, FileSystems, testing::ValuesIn(kinds), nameOf<Kind>);

TEST_P(FileSystems, HoldThePromisesOrKeepTheFiles) {
    const Kind &kind = GetParam();
    runIsolated(Isolation::ProcessesAndPlaces, [&] {
        const uid_t user = geteuid() == 0 ? ordinaryUser : geteuid();
        enterEmptyMachine(user);
        if (!mountDisk(kind.disk, "/var/tmp"))
            GTEST_SKIP() << "This file system cannot be had here.";
        require(chmod("/var/tmp", 01777) == 0 || errno == EPERM || errno == EROFS, "/var/tmp");
        makeFile("/var/tmp/old", "old");
        makeFile("/var/tmp/folder/older", "older", 1000h);
        makeFile("/var/tmp/folder/young", "young", 1h);
        if (kind.links) {
            makeFile("/var/tmp/one", "two names");
            fs::create_hard_link("/var/tmp/one", "/var/tmp/folder/other");
            fs::create_symlink("old", "/var/tmp/link");
        }
        for (const std::string &path : filesBelow({"/var/tmp"}))
            require(lchown(path.c_str(), user, user) == 0, path);
        require(chown("/var/tmp/folder", user, user) == 0, "folder");
        if (!runIn("/var/tmp", kind.after))
            GTEST_SKIP() << "This file system cannot be made so here.";
        ASSERT_TRUE(becomeOrdinaryUser(user));

        std::set<std::string> left = filesBelow({"/var/tmp"});
        const ScanResult scan = scanAll(goOn, {});
        EXPECT_EQ(scan.entries.size(), kind.listed);
        EXPECT_EQ(scan.skipped, (kind.links ? 4 : 1) + kind.passedOver);
        EXPECT_EQ(scan.errors, 0U);
        const CleanResult result = cleanSelected(scan, allFiles, goOn, {}, {});
        EXPECT_EQ(result.filesDeleted, kind.deleted);
        EXPECT_EQ(result.skipped, kind.listed - kind.deleted);
        EXPECT_EQ(result.lockedSkipped, kind.inUse);
        EXPECT_EQ(result.errors, 0U);
        platform::removePrivateFolders();

        WString failure;
        setenv("TMPDIR", "/var/tmp", 1);
        EXPECT_EQ(runSelfTest(failure), *kind.selfTestFailure == 0);
        EXPECT_EQ(failure, kind.selfTestFailure);
        platform::removePrivateFolders();
        for (const char *path : {"/var/tmp/old", "/var/tmp/folder/older"})
            left.erase(kind.deleted == 0 ? "" : path);
        EXPECT_EQ(filesBelow({"/var/tmp"}), left);
    });
}

struct FullDisk {
    Disk disk;
    bool goesOn; ///< with its private folder made before, it has room for what a removal needs
};

const FullDisk fullDisks[] = {
    {{"tmpfs", "mount -t tmpfs -o size=1M tmpfs $place"}, true},
    {{"tmpfsInodes", "mount -t tmpfs -o size=1M,nr_inodes=100 tmpfs $place"}, true},
    {{"ext4", makeExt4}, true},
    {{"xfs", makeXfs}, true},
    {{"btrfs", makeBtrfs}, true},
    // Where it has no room for names either, which here share it with the data, it refuses every rename.
    {{"btrfsMixed", "truncate -s 20M image; mkfs.btrfs -q --mixed image; mount -o loop image $place"}, false},
};

void PrintTo(const FullDisk &disk, std::ostream *out) {
    *out << disk.disk.name;
}

class FullDisks : public testing::TestWithParam<FullDisk> {};
INSTANTIATE_TEST_SUITE_P(, FullDisks, testing::ValuesIn(fullDisks), nameOf<FullDisk>);

/// Writes until the home volume takes no more, and makes a thousand names if it still takes them.
void fillHome() {
    const Fd file(open("/home/user/fill", O_WRONLY | O_CREAT | O_APPEND, 0600));
    require(file && syncfs(file.get()) == 0, "fill");
    off_t end = 0;
    for (off_t size = 1 << 26; size >= 512; size /= 2)
        while (fallocate(file.get(), 0, end, size) == 0)
            end += size;
    const std::string bytes(4096, 'x');
    for (std::size_t size = bytes.size(); size > 0; size /= 2)
        while (write(file.get(), bytes.data(), size) == static_cast<ssize_t>(size))
            continue;
    require(errno == ENOSPC, "fill");
    for (int number = 0; number < 1000 && mkdir(("/home/user/" + std::to_string(number)).c_str(), S_IRWXU) == 0;)
        ++number;
}

TEST_P(FullDisks, LoseNothingAndAreCleanedWhereThereIsRoom) {
    runIsolated(Isolation::ProcessesAndPlaces, [&] {
        const uid_t user = geteuid() == 0 ? ordinaryUser : geteuid();
        enterEmptyMachine(user);
        if (!mountDisk(GetParam().disk, "/home/user"))
            GTEST_SKIP() << "This file system cannot be had here.";
        require(chown("/home/user", user, user) == 0, "home");
        ASSERT_TRUE(becomeOrdinaryUser(user));
        constexpr std::uint64_t files = 20;
        for (std::uint64_t number = 0; number < files; ++number)
            makeFile("/home/user/.cache/mozilla/firefox/me/cache2/entries/" + std::to_string(number),
                     std::string(5000, 'x'));
        const auto filesLeft = [] { return filesBelow({"/home/user/.cache"}).size(); };

        // Full before the first removal: there is no room for a private folder.
        fillHome();
        const ScanResult scan = scanAll(goOn, {});
        ASSERT_EQ(scan.entries.size(), files);
        const CleanResult kept = cleanSelected(scan, allFiles, goOn, {}, {});
        EXPECT_EQ(kept.errors, files);
        EXPECT_EQ(kept.filesDeleted + kept.skipped, 0U);
        EXPECT_EQ(filesLeft(), files);

        // Full after it.
        for (const auto &entry : fs::directory_iterator("/home/user"))
            if (entry.path().filename() != ".cache" && entry.path().filename() != "lost+found")
                fs::remove_all(entry.path());
        const auto fillAtSecond = [&](WStringView, std::uint64_t processed, std::uint64_t) {
            if (processed == 1)
                fillHome();
        };
        const CleanResult result = cleanSelected(scan, allFiles, goOn, fillAtSecond, {});
        EXPECT_GE(result.filesDeleted, GetParam().goesOn ? files : 1);
        EXPECT_EQ(result.errors, files - result.filesDeleted);
        EXPECT_EQ(result.skipped, 0U);
        EXPECT_EQ(filesLeft(), files - result.filesDeleted);
    });
}

} // namespace
} // namespace dm
