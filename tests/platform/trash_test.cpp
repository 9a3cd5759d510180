#include "platform/linux/base_folders.h"
#include "platform/linux/fd.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/volumes.h"
#include "platform/win32.h"

#include "namespaces.h"
#include "traced.h"
#include "trashed.h"

#include <set>

#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>

namespace dm {
namespace {

using namespace test;

/// A query looks at all volumes of the machine: whatever trash they have is covered first, in a mount table that only
/// this test sees. (The volumes are read from that table, so nothing of the machine is left but the empty cover.)
void coverForeignTrashes() {
    for (const platform::Volume &volume : platform::mountedVolumes()) {
        for (const std::string &name : {std::string(".Trash"), ".Trash-" + std::to_string(geteuid())}) {
            const std::string folder = volume.mountPoint + '/' + name;
            struct stat status;
            const bool remote = volume.driveType == DRIVE_REMOTE;
            if (remote || lstat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
                continue;
            if (mount("tmpfs", folder.c_str(), "tmpfs", 0, nullptr) != 0)
                GTEST_SKIP() << "A trash of this machine cannot be hidden: " << folder;
        }
    }
}

void inTrashOfItsOwn(const std::function<void()> &inside) {
    runIsolated(Isolation::Processes, [&inside] {
        coverForeignTrashes();
        if (testing::Test::IsSkipped())
            return;
        fs::remove_all(homeTrash());
        inside();
        fs::remove_all(homeTrash());
    });
}

/// Commands in a trash; "bin PATH CONTENT" makes a trashed file, or one in a trashed folder.
void inTrash(const std::string &trash, const std::string &commands) {
    fs::create_directories(trash + "/files");
    fs::create_directories(trash + "/info");
    require(runIn(trash, "bin() { mkdir -p \"$(dirname \"files/$1\")\"; printf %s \"${2-content}\" > \"files/$1\"; "
                         "echo > \"info/${1%%/*}.trashinfo\"; }; " +
                             commands),
            commands);
}

using Names = std::set<std::string>;

Names namesIn(const fs::path &folder) {
    Names names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename());
    return names;
}

using Figures = std::pair<LONGLONG, LONGLONG>; ///< items and bytes

Figures query(LPCWSTR root = nullptr) {
    SHQUERYRBINFO info{24, -1, -1};
    EXPECT_EQ(SHQueryRecycleBinW(root, &info), S_OK);
    return {info.i64NumItems, info.i64Size};
}

HRESULT emptyBin(LPCWSTR root = nullptr) {
    return SHEmptyRecycleBinW(nullptr, root, SHERB_NOCONFIRMATION | SHERB_NOPROGRESSUI | SHERB_NOSOUND);
}

std::string mountVolume(const Scratch &scratch, const std::string &name, const char *options = "mode=777") {
    const std::string path = scratch.folder(name);
    require(mount("tmpfs", path.c_str(), "tmpfs", MS_NOSUID, options) == 0, path);
    return path;
}

std::string trashOn(const std::string &volume) {
    return volume + "/.Trash-" + std::to_string(geteuid());
}

TEST(Trash, ItemsOfEveryKindAreCountedAndRemovedAndNothingThatLinksLeadTo) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        const fs::path files = trash + "/files";
        EXPECT_EQ(query(), (Figures{0, 0})) << "no trash yet";
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_FALSE(fs::exists(trash));

        const Scratch outside;
        outside.file("kept/file");
        outside.file("linked twice");
        const Tree kept = treeOf(outside.path());
        inTrash(trash, "out=" + outside.path() + R"sh(; bin file 12345; bin folder/sub/file 1234567
            bin "$(printf '\377 no UTF-8: %%\n.')" 1; ln -s $out/kept files/folder/link; ln -s $out/kept files/link
            ln -s nowhere files/dangling; ln "$out/linked twice" 'files/hard link'; mkdir files/$(printf '%0255d' 0)
            mkfifo files/fifo; truncate -s 1M files/sparse; echo 7 1 folder > directorysizes)sh");

        EXPECT_EQ(query(), (Figures{9, 5 + 7 + 1 + 7 + (1 << 20)}));
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(treeOf(outside.path()), kept);
        EXPECT_EQ(namesIn(trash), (Names{"files", "info"}));
        EXPECT_EQ(namesIn(files), Names());
        EXPECT_EQ(query(), (Figures{0, 0}));
    });
}

TEST(Trash, EachVolumeHasItsTrashesAndOnlyRealOnesOfThisUserCount) {
    inTrashOfItsOwn([] {
        const Scratch scratch;
        const std::string user = std::to_string(geteuid());
        const std::string first = mountVolume(scratch, "first");
        const std::string second = mountVolume(scratch, "second");
        const std::string third = mountVolume(scratch, "third");
        const std::string fourth = mountVolume(scratch, "fourth");
        const std::string shared = "/.Trash/" + user;
        inTrash(homeTrash(), "bin 'at home' 1");
        inTrash(first + shared, "bin shared 12; chmod 1777 ..");
        inTrash(trashOn(first), "bin own 1234");
        inTrash(trashOn(second), "bin own 12345678");
        // No trash: without the sticky bit, behind links, of somebody else.
        inTrash(second + shared, "bin kept");
        fs::create_directory_symlink(second + "/.Trash", third + "/.Trash");
        fs::create_directory_symlink(second + shared, trashOn(third));
        const Tree kept = treeOf(second + "/.Trash");
        inTrash(trashOn(fourth), "bin kept");
        const bool ofOther = chown(trashOn(fourth).c_str(), geteuid() + 1, static_cast<gid_t>(-1)) == 0;
        if (!ofOther)
            fs::remove_all(trashOn(fourth));

        EXPECT_EQ(query(), (Figures{4, 15}));
        const WString root = scratch.wide("second").substr(0, 3);
        const WString other = scratch.wide("first").substr(0, 3);
        ASSERT_NE(root, other);
        EXPECT_EQ(emptyBin(root.c_str()), S_OK);
        EXPECT_EQ(query(root.c_str()), (Figures{0, 0}));
        EXPECT_EQ(query(other.c_str()), (Figures{2, 6}));
        EXPECT_EQ(query(), (Figures{3, 7}));
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(query(), (Figures{0, 0}));
        EXPECT_EQ(treeOf(second + "/.Trash"), kept);
        EXPECT_TRUE(fs::is_symlink(third + "/.Trash") && fs::is_symlink(trashOn(third)));
        EXPECT_EQ(fs::exists(trashOn(fourth) + "/files/kept"), ofOther);

        inTrash(trashOn(first), "bin 'taken away'");
        EXPECT_EQ(query().first, 1);
        require(umount2(first.c_str(), MNT_DETACH) == 0, "unmount");
        EXPECT_TRUE(FAILED(emptyBin())) << "What is away is not gone";
    });
}

TEST(Trash, OnlyWhatTheLastQueryCountedIsRemoved) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        const fs::path files = trash + "/files";
        inTrash(trash, "for name in counted restored replaced grown/file exchanged/file; do bin $name; done");
        EXPECT_EQ(emptyBin(), S_OK) << "nothing was counted yet";
        EXPECT_EQ(query().first, 5);
        inTrash(trash, "bin new; mv files/restored ..; cp files/replaced x; mv x files/replaced; bin grown/deep/file; "
                       "bin exchanged/another; cd files/exchanged; mv another file");
        const Tree before = treeOf(trash);

        EXPECT_EQ(emptyBin(), HRESULT_FROM_WIN32(ERROR_FILE_INVALID));
        EXPECT_EQ(namesIn(files), (Names{"exchanged", "grown", "new", "replaced"}));
        auto expected = before;
        expected.erase("files/counted");
        expected.erase("info/counted.trashinfo");
        EXPECT_EQ(treeOf(trash), expected);
        EXPECT_EQ(query().first, 4);
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(namesIn(files), Names());
        fs::remove(trash + "/../restored");
    });
}

TEST(Trash, AnItemThatCannotGoWholeStaysWholeAndTheOthersGo) {
    inTrashOfItsOwn([] {
        const Scratch scratch;
        const std::string trash = trashOn(mountVolume(scratch, "volume"));
        const fs::path files = trash + "/files";
        inTrash(trash, "bin first; bin 'with mount/file'; bin 'with mounted file/file'; bin 'zz last'");
        for (const char *point : {"with mount/sub/point", "mount"}) {
            fs::create_directories(files / point);
            require(mount("tmpfs", (files / point).c_str(), "tmpfs", 0, nullptr) == 0, point);
            makeFile(files / point / "precious");
        }
        const fs::path mountedFile = files / "with mounted file/file";
        require(mount(scratch.file("bound").c_str(), mountedFile.c_str(), nullptr, MS_BIND, nullptr) == 0, "bind");
        auto expected = treeOf(files);

        EXPECT_EQ(query().first, 5);
        EXPECT_TRUE(FAILED(emptyBin()));
        expected.erase("first");
        expected.erase("zz last");
        EXPECT_EQ(treeOf(files), expected);
        EXPECT_EQ(namesIn(trash), (Names{"files", "info"}));
    });
}

TEST(Trash, AnItemWithAnImmutableFileStaysWhole) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        inTrash(trash, "bin folder/file; bin folder/sub/immutable");
        if (!runIn(trash, "chattr +i files/folder/sub/immutable"))
            GTEST_SKIP() << "This process cannot make a file immutable.";
        const Tree before = treeOf(trash);
        query();
        EXPECT_EQ(emptyBin(), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
        EXPECT_EQ(treeOf(trash), before);
        EXPECT_TRUE(runIn(trash, "chattr -i files/folder/sub/immutable"));
    });
}

TEST(Trash, InfoFilesWithoutFilesGoWhenNobodyCanBeTrashingThatFile) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        inTrash(trash, "cd info; for name in 25,kept 25,old 23,young -25,future; do echo > ${name#*,}.trashinfo; "
                       "touch -d \"${name%,*} hours ago\" ${name#*,}.trashinfo; done");
        EXPECT_EQ(query(), (Figures{0, 0}));
        makeFile(trash + "/files/kept");
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(namesIn(trash + "/info"), (Names{"future.trashinfo", "kept.trashinfo", "young.trashinfo"}));
    });
}

TEST(Trash, ClosedFoldersOfThisUserAreEmptied) {
    inTrashOfItsOwn([] {
        const std::string &base = platform::baseFolders().dataHome;
        if (geteuid() == 0)
            require(runIn(base, "chown 65534:65534 . && chmod 0711 .."), base);
        ASSERT_TRUE(becomeOrdinaryUser());
        const std::string trash = homeTrash();
        const fs::path files = trash + "/files";
        inTrash(trash, "bin read-only/sub/file 123; bin closed/file; bin outer/closed/file; cd files; "
                       "chmod 555 read-only/sub read-only; chmod 0 closed outer/closed");
        EXPECT_EQ(query(), (Figures{3, 3}));
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(namesIn(files), Names());

        inTrash(trash, "bin read-only/file; chmod 555 files/read-only; chmod 500 files");
        EXPECT_EQ(query().first, 1);
        EXPECT_EQ(emptyBin(), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
        EXPECT_EQ(fs::status(files / "read-only").permissions(), fs::perms(0555)) << "as it was";
        fs::permissions(files / "read-only", fs::perms(0755));

        SHQUERYRBINFO info{24, -1, -1};
        fs::permissions(files, fs::perms(0));
        EXPECT_EQ(SHQueryRecycleBinW(nullptr, &info), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
        fs::permissions(files, fs::perms(0700));
        EXPECT_EQ(emptyBin(), S_OK) << "a query that failed counted nothing";
        EXPECT_EQ(namesIn(files), Names{"read-only"});
    });
}

TEST(Trash, NoDepthIsTooDeep) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        inTrash(trash, "bin deep/file 1");
        platform::Fd folder(open((trash + "/files/deep").c_str(), O_PATH | O_CLOEXEC));
        constexpr int depth = 1000;
        const std::string name = "a folder";
        for (int level = 0; level < depth; ++level) {
            require(mkdirat(folder.get(), name.c_str(), 0700) == 0, name);
            folder = platform::Fd(openat(folder.get(), name.c_str(), O_PATH | O_CLOEXEC));
            platform::Fd(openat(folder.get(), "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        }
        folder.reset();
        const rlimit limit = {128, 128};
        require(setrlimit(RLIMIT_NOFILE, &limit) == 0, "limit");
        EXPECT_EQ(query(), (Figures{1, 1}));
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(namesIn(trash + "/files"), Names());
    });
}

TEST(Trash, AFullVolumeIsEmptied) {
    inTrashOfItsOwn([] {
        const Scratch scratch;
        const std::string volume = mountVolume(scratch, "volume", "mode=777,nr_inodes=50");
        const std::string trash = trashOn(volume);
        inTrash(trash, "bin file; bin folder/sub/file");
        ASSERT_FALSE(runIn(volume, "for number in $(seq 50); do echo > $number; done")) << "not full";
        EXPECT_EQ(query().first, 2);
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(treeOf(trash), (Tree{{"files", ""}, {"info", ""}}));
    });
}

TEST(Trash, BadArgumentsAndABusyTrashAreRefused) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        inTrash(trash, "bin file");
        SHQUERYRBINFO info{23, -1, -1};
        EXPECT_EQ(SHQueryRecycleBinW(nullptr, &info), E_INVALIDARG);
        EXPECT_EQ(info.i64NumItems, -1);
        EXPECT_EQ(SHQueryRecycleBinW(nullptr, nullptr), E_INVALIDARG);
        info.cbSize = 24;
        EXPECT_EQ(query(W("")).first, 1);
        for (LPCWSTR root : {W("?:\\"), W("B:\\"), W("file")}) {
            EXPECT_EQ(SHQueryRecycleBinW(root, &info), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
            EXPECT_EQ(emptyBin(root), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
        }
        query();
        platform::Fd other(open(trash.c_str(), O_RDONLY | O_CLOEXEC));
        ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
        EXPECT_EQ(emptyBin(), HRESULT_FROM_WIN32(ERROR_BUSY));
        EXPECT_TRUE(fs::exists(trash + "/files/file"));
        other.reset();
        EXPECT_EQ(emptyBin(), S_OK);
    });
}

TEST(Trash, WhatOtherProgramsTrashedIsEmptiedInTheirEyesToo) {
    inTrashOfItsOwn([] {
        if (!runIn("/", "command -v gio && command -v trash-put"))
            GTEST_SKIP() << "gio and trash-cli are not installed.";
        const std::string home = platform::baseFolders().home;
        makeFile(home + "/by gio", "12");
        makeFile(home + "/by trash-cli/file", "345");
        ASSERT_TRUE(runIn(home, "gio trash 'by gio'; trash-put 'by trash-cli'; test $(trash-list | wc -l) = 2"));
        EXPECT_EQ(query(), (Figures{2, 5}));
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_TRUE(runIn(homeTrash(), "test -z \"$(trash-list)\"; test -z \"$(ls info)\""));
    });
}

/// `prepare` makes a trash, which is counted; a process of its own empties it, and is interfered with at each call.
void atEveryCall(const std::function<void()> &prepare, const std::function<void(TracedProcess &)> &act,
                 const std::function<void()> &check) {
    const auto prepareAndCount = [&] {
        fs::remove_all(homeTrash());
        prepare();
        query();
    };
    const int times = test::atEveryCall(
        prepareAndCount, [] { emptyBin(); }, act, check, callsOnNames);
    EXPECT_GT(times, 40) << "fewer calls than an emptying has steps";
}

/// Without a shell, since it is done very often.
void trashFolderAndFile() {
    for (const auto &[path, content] : {std::pair("files/folder/file", "12"),
                                        {"files/folder/sub/deep/file", "345"},
                                        {"files/single", "6789"},
                                        {"info/folder.trashinfo", ""},
                                        {"info/single.trashinfo", ""}})
        makeFile(homeTrash() + '/' + path, content);
}

void expectEmptiedByTheNext() {
    query();
    EXPECT_EQ(emptyBin(), S_OK);
    EXPECT_EQ(namesIn(homeTrash()), (Names{"files", "info"}));
    EXPECT_EQ(namesIn(homeTrash() + "/files"), Names());
}

TEST(Trash, KilledAnywhereItLeavesNoHalfItemAndNothingUncounted) {
    inTrashOfItsOwn([] {
        const fs::path files = homeTrash() + "/files";
        trashFolderAndFile();
        const Tree whole = treeOf(files / "folder");
        atEveryCall(
            trashFolderAndFile, [](TracedProcess &process) { process.endByKill(); },
            [&] {
                if (fs::exists(files / "folder")) {
                    EXPECT_EQ(treeOf(files / "folder"), whole);
                    EXPECT_TRUE(fs::exists(homeTrash() + "/info/folder.trashinfo"));
                }
                std::uintmax_t bytes = 0;
                for (const auto &[name, content] : treeOf(homeTrash()))
                    bytes += name.starts_with("info/") ? 0 : content.size();
                EXPECT_EQ(static_cast<std::uintmax_t>(query().second), bytes);
                expectEmptiedByTheNext();
            });
    });
}

TEST(Trash, WhatIsRestoredMeanwhileIsRestoredWhole) {
    inTrashOfItsOwn([] {
        const Scratch scratch(platform::baseFolders().dataHome);
        const fs::path files = homeTrash() + "/files";
        trashFolderAndFile();
        const Tree whole = treeOf(files / "folder");
        int restored = 0;
        atEveryCall(
            trashFolderAndFile,
            [&](TracedProcess &) {
                restored += rename((files / "folder").c_str(), scratch.path("folder").c_str()) == 0;
            },
            [&] {
                EXPECT_EQ(namesIn(files), Names());
                EXPECT_TRUE(!scratch.exists("folder") || treeOf(scratch.path("folder")) == whole);
                fs::remove_all(scratch.path("folder"));
            });
        EXPECT_GT(restored, 0);
    });
}

TEST(Trash, ExchangesMeanwhileCostNothingThatWasNotCounted) {
    inTrashOfItsOwn([] {
        const Scratch outside(platform::baseFolders().dataHome);
        const std::string files = homeTrash() + "/files";
        platform::Fd held;
        const auto prepare = [&] {
            fs::remove_all(outside.path("precious"));
            outside.file("precious/sub/deep/file", "precious");
            outside.file("precious file", "precious");
            trashFolderAndFile();
            held = platform::Fd(open((files + "/folder").c_str(), O_PATH | O_CLOEXEC));
        };
        prepare();
        const Tree precious = treeOf(outside.path("precious"));

        // From inside, by a process that has held the folder open since before.
        int exchanged = 0;
        atEveryCall(
            prepare,
            [&](TracedProcess &) {
                if (renameat(held.get(), "sub", held.get(), "moved") == 0)
                    exchanged += symlinkat(outside.path("precious").c_str(), held.get(), "sub") == 0;
            },
            [&] {
                EXPECT_EQ(treeOf(outside.path("precious")), precious);
                expectEmptiedByTheNext();
            });
        EXPECT_GT(exchanged, 0);

        // From outside, with something of worth itself: it is in one of the two places afterwards, and whole.
        const auto exchange = [&](const char *counted, const char *other) {
            const std::string item = files + '/' + counted;
            renameat2(AT_FDCWD, item.c_str(), AT_FDCWD, outside.path(other).c_str(), RENAME_EXCHANGE);
        };
        atEveryCall(
            prepare,
            [&](TracedProcess &) {
                exchange("folder", "precious");
                exchange("single", "precious file");
            },
            [&] {
                EXPECT_TRUE(treeOf(outside.path("precious")) == precious || treeOf(files + "/folder") == precious);
                EXPECT_TRUE(outside.read("precious file") == "precious" || treeOf(files)["single"] == "precious");
            });
    });
}

} // namespace
} // namespace dm
