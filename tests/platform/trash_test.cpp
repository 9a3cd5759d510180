#include "platform/linux/base_folders.h"
#include "platform/linux/fd.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/volumes.h"
#include "platform/win32.h"

#include "namespaces.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <linux/filter.h>
#include <linux/fs.h>
#include <linux/seccomp.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>

namespace dm {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::require;
using test::Scratch;

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

std::string homeTrash() {
    return platform::baseFolders().dataHome + "/Trash";
}

void inTrashOfItsOwn(const std::function<void()> &inside) {
    test::runIsolated(test::Isolation::Processes, [&inside] {
        coverForeignTrashes();
        if (testing::Test::IsSkipped())
            return;
        fs::remove_all(homeTrash());
        inside();
        fs::remove_all(homeTrash());
    });
}

/// Permissions bind no root: the same as somebody whom they bind, who gets the home folder's trash.
void inTrashOfOrdinaryUser(const std::function<void()> &inside) {
    inTrashOfItsOwn([&inside] {
        const std::string &base = platform::baseFolders().dataHome;
        const bool root = geteuid() == 0;
        require(!root ||
                    (chown(base.c_str(), 65534, 65534) == 0 && chmod(fs::path(base).parent_path().c_str(), 0711) == 0),
                base);
        require(test::becomeOrdinaryUser(), "an ordinary user");
        inside();
    });
}

void write(const fs::path &path, std::string_view content = "content") {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    require(fs::exists(path), path);
}

void writeInfo(const std::string &trash, const std::string &name, std::chrono::nanoseconds age = 0s) {
    const fs::path info = fs::path(trash) / "info" / (name + ".trashinfo");
    write(info, "[Trash Info]\nPath=/somewhere/" + name + "\nDeletionDate=2026-01-01T00:00:00\n");
    fs::last_write_time(info, fs::file_time_type::clock::now() - age);
}

/// A trashed file, or one in a trashed folder.
void trashFile(const std::string &trash, const std::string &name, std::string_view content = "content") {
    write(fs::path(trash) / "files" / name, content);
    writeInfo(trash, name.substr(0, name.find('/')));
}

/// Everything below a path: contents of files, targets of links.
std::map<std::string, std::string> treeOf(const fs::path &root) {
    std::map<std::string, std::string> tree;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root)) {
        std::string &content = tree[entry.path().lexically_relative(root)];
        if (entry.is_symlink()) {
            content = fs::read_symlink(entry.path());
        } else if (entry.is_regular_file()) {
            std::ifstream file(entry.path());
            content.assign(std::istreambuf_iterator<char>(file), {});
        }
    }
    return tree;
}

std::vector<std::string> namesIn(const fs::path &folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

using Names = std::vector<std::string>;

struct Figures {
    LONGLONG items;
    LONGLONG bytes;
    bool operator==(const Figures &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Figures &figures) {
    return stream << figures.items << " items of " << figures.bytes << " bytes";
}

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
        const fs::path files = fs::path(trash) / "files";
        EXPECT_EQ(query(), (Figures{0, 0})) << "no trash yet";
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_FALSE(fs::exists(trash));

        const Scratch outside;
        outside.file("kept/file");
        outside.file("linked twice");
        const auto kept = treeOf(outside.path());
        trashFile(trash, "file", "12345");
        trashFile(trash, "folder/sub/file", "1234567");
        trashFile(trash, "\xff no UTF-8: %\n", "1");
        fs::create_directory_symlink(outside.path("kept"), files / "folder/link");
        fs::create_directory_symlink(outside.path("kept"), files / "link");
        fs::create_symlink("nowhere", files / "dangling");
        fs::create_hard_link(outside.path("linked twice"), files / "hard link");
        fs::create_directory(files / std::string(255, 'n'));
        require(mkfifo((files / "fifo").c_str(), 0600) == 0, "fifo");
        write(files / "sparse");
        fs::resize_file(files / "sparse", 1 << 20);
        write(fs::path(trash) / "directorysizes", "7 1 folder\n");

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
        trashFile(homeTrash(), "at home", "1");
        trashFile(first + "/.Trash/" + user, "shared", "12");
        require(chmod((first + "/.Trash").c_str(), 01777) == 0, "sticky");
        trashFile(trashOn(first), "own", "1234");
        trashFile(trashOn(second), "own", "12345678");
        // No trash: without the sticky bit, behind links, of somebody else.
        trashFile(second + "/.Trash/" + user, "kept");
        fs::create_directory_symlink(second + "/.Trash", third + "/.Trash");
        fs::create_directory_symlink(second + "/.Trash/" + user, trashOn(third));
        const auto kept = treeOf(second + "/.Trash");
        const auto linked = treeOf(third);
        const std::string fourth = mountVolume(scratch, "fourth");
        trashFile(trashOn(fourth), "kept");
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
        EXPECT_EQ(treeOf(third), linked);
        EXPECT_EQ(fs::exists(trashOn(fourth) + "/files/kept"), ofOther);

        trashFile(trashOn(first), "taken away");
        EXPECT_EQ(query().items, 1);
        require(umount2(first.c_str(), MNT_DETACH) == 0, "unmount");
        EXPECT_TRUE(FAILED(emptyBin())) << "What is away is not gone";
    });
}

TEST(Trash, OnlyWhatTheLastQueryCountedIsRemoved) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        const fs::path files = fs::path(trash) / "files";
        for (const char *name : {"counted", "restored", "replaced", "grown/file", "exchanged/file"})
            trashFile(trash, name);
        EXPECT_EQ(emptyBin(), S_OK) << "nothing was counted yet";
        EXPECT_EQ(query().items, 5);
        trashFile(trash, "new");
        fs::rename(files / "restored", trash + "/../restored");
        fs::remove(files / "replaced");
        trashFile(trash, "replaced", "another");
        write(files / "grown/deep/file");
        write(files / "exchanged/another file");
        fs::rename(files / "exchanged/another file", files / "exchanged/file");
        const auto before = treeOf(trash);

        EXPECT_EQ(emptyBin(), HRESULT_FROM_WIN32(ERROR_FILE_INVALID));
        EXPECT_EQ(namesIn(files), (Names{"exchanged", "grown", "new", "replaced"}));
        auto expected = before;
        expected.erase("files/counted");
        expected.erase("info/counted.trashinfo");
        EXPECT_EQ(treeOf(trash), expected);
        EXPECT_EQ(query().items, 4);
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(namesIn(files), Names());
        fs::remove(trash + "/../restored");
    });
}

TEST(Trash, AnItemThatCannotGoWholeStaysWholeAndTheOthersGo) {
    inTrashOfItsOwn([] {
        const Scratch scratch;
        const std::string trash = trashOn(mountVolume(scratch, "volume"));
        const fs::path files = fs::path(trash) / "files";
        trashFile(trash, "first");
        trashFile(trash, "with mount/file");
        trashFile(trash, "with mounted file/file");
        trashFile(trash, "zz last");
        for (const char *point : {"with mount/sub/point", "mount"}) {
            fs::create_directories(files / point);
            require(mount("tmpfs", (files / point).c_str(), "tmpfs", 0, nullptr) == 0, point);
            write(files / point / "precious");
        }
        const fs::path mountedFile = files / "with mounted file/file";
        require(mount(scratch.file("bound").c_str(), mountedFile.c_str(), nullptr, MS_BIND, nullptr) == 0, "bind");
        auto expected = treeOf(files);

        EXPECT_EQ(query().items, 5);
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
        trashFile(trash, "folder/file");
        trashFile(trash, "folder/sub/immutable");
        const platform::Fd file(open((trash + "/files/folder/sub/immutable").c_str(), O_RDONLY | O_CLOEXEC));
        const int on = FS_IMMUTABLE_FL;
        const int off = 0;
        if (ioctl(file.get(), FS_IOC_SETFLAGS, &on) != 0)
            GTEST_SKIP() << "This process cannot make a file immutable.";
        const auto before = treeOf(trash);
        query();
        const HRESULT result = emptyBin();
        const auto after = treeOf(trash);
        ioctl(file.get(), FS_IOC_SETFLAGS, &off);
        EXPECT_EQ(result, HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
        EXPECT_EQ(after, before);
    });
}

TEST(Trash, InfoFilesWithoutFilesGoWhenNobodyCanBeTrashingThatFile) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        fs::create_directories(trash + "/files");
        writeInfo(trash, "old", 25h);
        writeInfo(trash, "young", 23h);
        writeInfo(trash, "of the future", -25h);
        writeInfo(trash, "kept", 25h);
        EXPECT_EQ(query(), (Figures{0, 0}));
        write(trash + "/files/kept");
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(namesIn(trash + "/info"), (Names{"kept.trashinfo", "of the future.trashinfo", "young.trashinfo"}));
    });
}

TEST(Trash, ClosedFoldersOfThisUserAreEmptied) {
    inTrashOfOrdinaryUser([] {
        const std::string trash = homeTrash();
        const fs::path files = fs::path(trash) / "files";
        trashFile(trash, "read-only/sub/file", "123");
        trashFile(trash, "closed/file");
        trashFile(trash, "outer/closed/file");
        fs::permissions(files / "read-only/sub", fs::perms(0555));
        for (const char *closed : {"read-only", "closed", "outer/closed"})
            fs::permissions(files / closed, fs::perms(*closed == 'r' ? 0555 : 0));
        EXPECT_EQ(query(), (Figures{3, 3}));
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(namesIn(files), Names());

        trashFile(trash, "read-only/file");
        fs::permissions(files / "read-only", fs::perms(0555));
        fs::permissions(files, fs::perms(0500));
        EXPECT_EQ(query().items, 1);
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
        trashFile(trash, "deep/file", "1");
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
        trashFile(trash, "file");
        trashFile(trash, "folder/sub/file");
        for (int number = 0; platform::Fd(creat((volume + "/" + std::to_string(number)).c_str(), 0600)); ++number)
            ASSERT_LT(number, 50);
        ASSERT_EQ(mkdir((volume + "/folder").c_str(), 0700), -1) << "not full";
        EXPECT_EQ(query().items, 2);
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(treeOf(trash), (std::map<std::string, std::string>{{"files", ""}, {"info", ""}}));
    });
}

TEST(Trash, BadArgumentsAndABusyTrashAreRefused) {
    inTrashOfItsOwn([] {
        const std::string trash = homeTrash();
        trashFile(trash, "file");
        SHQUERYRBINFO info{23, -1, -1};
        EXPECT_EQ(SHQueryRecycleBinW(nullptr, &info), E_INVALIDARG);
        EXPECT_EQ(info.i64NumItems, -1);
        EXPECT_EQ(SHQueryRecycleBinW(nullptr, nullptr), E_INVALIDARG);
        info.cbSize = 24;
        EXPECT_EQ(query(W("")).items, 1);
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
        if (std::system("command -v gio trash-put trash-list >/dev/null 2>&1") != 0)
            GTEST_SKIP() << "gio and trash-cli are not installed.";
        const std::string home = platform::baseFolders().home;
        write(home + "/by gio", "12");
        write(home + "/by trash-cli/file", "345");
        ASSERT_EQ(std::system("cd \"$HOME\" && gio trash 'by gio' && trash-put 'by trash-cli'"), 0);
        ASSERT_EQ(std::system("test \"$(trash-list | grep -c ' by ')\" = 0 && test \"$(trash-list | wc -l)\" = 2"), 0);
        EXPECT_EQ(query(), (Figures{2, 5}));
        EXPECT_EQ(emptyBin(), S_OK);
        EXPECT_EQ(std::system("test -z \"$(trash-list)\" && test -z \"$(ls \"$XDG_DATA_HOME/Trash/info\")\""), 0);
    });
}

enum class Stepped { Ended, Stopped, NotAllowed };

/// Has this process stop for its tracer before each system call between which the names in a trash can be looked at or
/// changed.
bool stopAtCalls() {
    constexpr unsigned calls[] = {SYS_flock,   SYS_openat,    SYS_openat2, SYS_getdents64,
                                  SYS_mkdirat, SYS_renameat2, SYS_unlinkat};
    std::vector<sock_filter> filter = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const unsigned call : calls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 && prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Empties the bin in a process of its own, and calls `act` when that stops for the given time; Ended if it does not
/// stop that often.
Stepped emptyStepped(int stop, const std::function<void(pid_t)> &act, int &status) {
    const pid_t child = fork();
    require(child >= 0, "fork");
    if (child == 0) {
        // Both processes have the same store of random names, which this one uses up.
        for (int name = 0; name < 256; ++name)
            platform::randomName();
        if (!stopAtCalls())
            _exit(2);
        raise(SIGSTOP);
        _exit(emptyBin() == S_OK ? 0 : 1);
    }
    require(waitpid(child, &status, 0) == child, "wait");
    if (!WIFSTOPPED(status))
        return Stepped::NotAllowed;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESECCOMP | PTRACE_O_EXITKILL);
    int stops = 0;
    while (WIFSTOPPED(status)) {
        if (status >> 8 == (SIGTRAP | PTRACE_EVENT_SECCOMP << 8) && ++stops == stop)
            act(child);
        ptrace(PTRACE_CONT, child, nullptr, nullptr);
        require(waitpid(child, &status, 0) == child, "wait");
    }
    return stops < stop ? Stepped::Ended : Stepped::Stopped;
}

/// For one stop after the other: `prepare` makes a trash, which is counted; the emptying is interfered with at that
/// stop; `check` gets the exit status of the process that emptied.
void atEveryStop(const std::function<void()> &prepare, const std::function<void(pid_t)> &act,
                 const std::function<void(int status)> &check) {
    int stop = 0;
    for (Stepped result = Stepped::Stopped; result == Stepped::Stopped && !testing::Test::HasFailure();) {
        fs::remove_all(homeTrash());
        prepare();
        query();
        int status = 0;
        result = emptyStepped(++stop, act, status);
        if (result == Stepped::NotAllowed)
            GTEST_SKIP() << "This process may not trace another.";
        SCOPED_TRACE("at stop " + std::to_string(stop));
        check(status);
    }
    EXPECT_GT(stop, 40) << "fewer stops than an emptying has steps";
}

void trashFolderAndFile() {
    trashFile(homeTrash(), "folder/file", "12");
    trashFile(homeTrash(), "folder/sub/deep/file", "345");
    trashFile(homeTrash(), "single", "6789");
}

void expectEmptiedByTheNext() {
    query();
    EXPECT_EQ(emptyBin(), S_OK);
    EXPECT_EQ(namesIn(homeTrash()), (Names{"files", "info"}));
    EXPECT_EQ(namesIn(homeTrash() + "/files"), Names());
}

TEST(Trash, KilledAnywhereItLeavesNoHalfItemAndNothingUncounted) {
    inTrashOfItsOwn([] {
        const fs::path files = fs::path(homeTrash()) / "files";
        trashFolderAndFile();
        const auto whole = treeOf(files / "folder");
        atEveryStop(
            trashFolderAndFile, [](pid_t child) { kill(child, SIGKILL); },
            [&](int) {
                if (fs::exists(files / "folder")) {
                    EXPECT_EQ(treeOf(files / "folder"), whole);
                    EXPECT_TRUE(fs::exists(homeTrash() + "/info/folder.trashinfo"));
                }
                std::uintmax_t bytes = 0;
                for (const auto &[name, content] : treeOf(homeTrash()))
                    bytes += name.starts_with("info/") ? 0 : content.size();
                EXPECT_EQ(query().bytes, bytes);
                expectEmptiedByTheNext();
            });
    });
}

TEST(Trash, WhatIsRestoredMeanwhileIsRestoredWhole) {
    inTrashOfItsOwn([] {
        const Scratch scratch(platform::baseFolders().dataHome);
        const fs::path files = fs::path(homeTrash()) / "files";
        trashFolderAndFile();
        const auto whole = treeOf(files / "folder");
        int restored = 0;
        atEveryStop(
            trashFolderAndFile,
            [&](pid_t) { restored += rename((files / "folder").c_str(), scratch.path("folder").c_str()) == 0; },
            [&](int status) {
                EXPECT_EQ(WEXITSTATUS(status), 0);
                EXPECT_EQ(namesIn(files), Names());
                if (!scratch.exists("folder"))
                    return;
                EXPECT_EQ(treeOf(scratch.path("folder")), whole);
                fs::remove_all(scratch.path("folder"));
            });
        EXPECT_GT(restored, 0);
    });
}

TEST(Trash, ExchangesMeanwhileCostNothingThatWasNotCounted) {
    inTrashOfItsOwn([] {
        const Scratch outside(platform::baseFolders().dataHome);
        const std::string files = homeTrash() + "/files";
        const auto prepare = [&] {
            trashFolderAndFile();
            outside.file("precious/sub/deep/file", "precious");
            outside.file("precious file", "precious");
        };
        prepare();
        const auto precious = treeOf(outside.path("precious"));

        // From inside, by a process that has held the folder open since before.
        platform::Fd held;
        int exchanged = 0;
        atEveryStop(
            [&] {
                prepare();
                held = platform::Fd(open((files + "/folder").c_str(), O_PATH | O_CLOEXEC));
            },
            [&](pid_t) {
                if (renameat(held.get(), "sub", held.get(), "moved") == 0)
                    exchanged += symlinkat(outside.path("precious").c_str(), held.get(), "sub") == 0;
            },
            [&](int) {
                EXPECT_EQ(treeOf(outside.path("precious")), precious);
                held.reset();
                expectEmptiedByTheNext();
            });
        EXPECT_GT(exchanged, 0);

        // From outside, with something of worth itself: it is in one of the two places afterwards, and whole.
        const auto exchange = [&](const char *counted, const char *other) {
            const std::string item = files + '/' + counted;
            renameat2(AT_FDCWD, item.c_str(), AT_FDCWD, outside.path(other).c_str(), RENAME_EXCHANGE);
        };
        atEveryStop(
            prepare,
            [&](pid_t) {
                exchange("folder", "precious");
                exchange("single", "precious file");
            },
            [&](int) {
                const bool folderStayed = treeOf(outside.path("precious")) == precious;
                EXPECT_TRUE(folderStayed || treeOf(files + "/folder") == precious);
                EXPECT_TRUE(outside.read("precious file") == "precious" || treeOf(files)["single"] == "precious");
                fs::remove_all(outside.path("precious"));
            });
    });
}

} // namespace
} // namespace dm
