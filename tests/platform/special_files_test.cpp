// What is no plain file of this user: met by a scan and named to a removal, it is counted, and neither opened nor
// followed nor removed.
#include "empty_machine.h"
#include "engine/cleaner.h"
#include "engine/identity.h"
#include "engine/paths.h"
#include "engine/scanner.h"
#include "platform/linux/fd.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include <linux/fs.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/sysmacros.h>
#include <sys/un.h>

namespace dm {
namespace {

namespace fs = std::filesystem;
using platform::Fd;
using test::Isolation;
using test::makeFile;
using test::require;
using test::runIsolated;

const std::atomic<bool> goOn = false;
constexpr uid_t ordinaryUser = 65534;

void makeFlagged(const std::string &path, int flag) {
    const Fd file(open(path.c_str(), O_RDONLY));
    require(file && fchown(file.get(), ordinaryUser, ordinaryUser) == 0, path);
    require(ioctl(file.get(), FS_IOC_SETFLAGS, &flag) == 0, "flag");
}

void makeBlockedReader(const std::string &path) {
    require(mkfifo(path.c_str(), 0666) == 0, path);
    const pid_t child = fork();
    if (child == 0) {
        const int opened = open(path.c_str(), O_WRONLY);
        _exit(opened < 0 ? 1 : 0);
    }
    // It sleeps nowhere but in that open.
    for (std::string state; state != "S";) {
        std::string ignored;
        std::ifstream("/proc/" + std::to_string(child) + "/stat") >> ignored >> ignored >> state;
    }
}

void makeSocket(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                listen(descriptor, 1) == 0,
            path);
}

void mountOver(const std::string &path, const std::string &source) {
    const bool bind = source != "tmpfs";
    require(mount(source.c_str(), path.c_str(), bind ? nullptr : "tmpfs", bind ? MS_BIND : 0, nullptr) == 0, path);
}

const struct Row {
    const char *name;
    bool onlyRoot; ///< can make it
    void (*make)(const std::string &folder);
    std::uint64_t skipped;
} rows[] = {
    {"named pipe with a process that waits for its reader", false,
     [](const std::string &folder) { makeBlockedReader(folder + "/pipe"); }, 1},
    {"socket", false, [](const std::string &folder) { makeSocket(folder + "/socket"); }, 1},
    {"devices", true,
     [](const std::string &folder) {
         require(mknod((folder + "/null").c_str(), S_IFCHR | 0666, makedev(1, 3)) == 0, "null");
         require(mknod((folder + "/loop").c_str(), S_IFBLK | 0666, makedev(7, 0)) == 0, "loop");
     },
     2},
    {"mount point", false,
     [](const std::string &folder) {
         fs::create_directory(folder + "/disk");
         mountOver(folder + "/disk", "tmpfs");
         makeFile(folder + "/disk/old");
     },
     1},
    {"mounted file", false,
     [](const std::string &folder) {
         makeFile(folder + "/below");
         makeFile(folder + "-outside/above");
         mountOver(folder + "/below", folder + "-outside/above");
     },
     1},
    {"links", false,
     [](const std::string &folder) {
         makeFile(folder + "-outside/old");
         fs::create_symlink(folder + "-outside/old", folder + "/to a file");
         fs::create_directory_symlink(folder + "-outside", folder + "/to a folder");
         fs::create_symlink("nowhere", folder + "/to nowhere");
         fs::create_symlink("to itself", folder + "/to itself");
     },
     4},
    {"folders that cannot be listed", false,
     [](const std::string &folder) {
         for (const char *name : {"/closed/old", "/.dustmere-x/old"})
             makeFile(folder + name);
         fs::permissions(folder + "/closed", fs::perms::none);
         fs::permissions(folder + "/.dustmere-x", fs::perms::owner_write | fs::perms::owner_exec);
     },
     2},
    {"file of another user in a folder of this one", true,
     [](const std::string &folder) {
         makeFile(folder + "/theirs");
         require(chown((folder + "/theirs").c_str(), 1, 1) == 0, "theirs");
     },
     1},
    {"what is immutable or takes additions only", true,
     [](const std::string &folder) {
         for (const char *name : {"/immutable", "/additions", "/fixed/old", "/growing/old"}) {
             makeFile(folder + name);
             require(chown((folder + name).c_str(), ordinaryUser, ordinaryUser) == 0, name);
         }
         for (const auto &[name, flag] : {std::pair("/immutable", FS_IMMUTABLE_FL),
                                          {"/additions", FS_APPEND_FL},
                                          {"/fixed", FS_IMMUTABLE_FL},
                                          {"/growing", FS_APPEND_FL}})
             makeFlagged(folder + name, flag);
     },
     4},
};

using State = std::array<long, 10>;

/// What a mere look must leave as it is; nothing of what this user cannot reach.
State stateOf(const std::string &path) {
    struct stat status = {};
    require(lstat(path.c_str(), &status) == 0 || errno == EACCES, path);
    return {static_cast<long>(status.st_ino),
            static_cast<long>(status.st_mode),
            static_cast<long>(status.st_nlink),
            static_cast<long>(status.st_uid),
            status.st_size,
            status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec,
            status.st_ctim.tv_sec,
            status.st_ctim.tv_nsec,
            status.st_atim.tv_sec};
}

/// One row on the disk: a folder with what the row makes in it, and a plain old file.
struct Made {
    const Row &row;
    std::string folder;
    std::vector<std::string> paths; ///< all that is there but the plain file

    Made(const Row &rowToMake, uid_t user, int events)
        : row(rowToMake), folder("/var/tmp/" + std::to_string(&row - rows)) {
        fs::create_directory(folder);
        require(chown(folder.c_str(), user, user) == 0, folder);
        row.make(folder);
        for (const std::string &base : {folder, folder + "-outside"}) {
            if (!fs::exists(base))
                continue;
            paths.push_back(base);
            for (const auto &entry : fs::recursive_directory_iterator(base))
                paths.push_back(entry.path());
        }
        // Read so long ago that every kind of mount would note that it is read again.
        const timespec longAgo[2] = {{1'000'000'000, 0}, {0, UTIME_OMIT}};
        for (const std::string &path : paths) {
            require(row.onlyRoot || lchown(path.c_str(), user, user) == 0, path);
            utimensat(AT_FDCWD, path.c_str(), longAgo, AT_SYMLINK_NOFOLLOW);
            require(fs::is_directory(fs::symlink_status(path)) ||
                        inotify_add_watch(events, path.c_str(), IN_OPEN | IN_DONT_FOLLOW) >= 0,
                    path);
        }
        makeFile(folder + "/plain");
        require(chown((folder + "/plain").c_str(), user, user) == 0, folder);
    }
};

/// An entry as a scan would have listed it if it had listed such a thing.
FileEntry forgedEntry(const std::string &path, const RootIdentity &root) {
    FileEntry entry;
    entry.path = platform::drivePath(path);
    entry.rootPath = root.path;
    BY_HANDLE_FILE_INFORMATION info = {};
    const OwnedHandle object = openForScan(toExtendedPath(entry.path));
    if (object && GetFileInformationByHandle(object.get(), &info)) {
        entry.size = fileSizeOf(info);
        entry.lastWriteTime = ticksOf(info.ftLastWriteTime);
        entry.fileIndex = fileIndexOf(info);
        entry.volumeSerial = info.dwVolumeSerialNumber;
    }
    return entry;
}

TEST(SpecialFiles, AreCountedAndNeitherOpenedNorFollowedNorRemoved) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const bool isRoot = geteuid() == 0;
        const uid_t user = isRoot ? ordinaryUser : geteuid();
        test::enterEmptyMachine(user);
        const Fd events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        std::vector<Made> all;
        for (const Row &row : rows)
            if (isRoot || !row.onlyRoot)
                all.emplace_back(row, user, events.get());
        ASSERT_TRUE(test::becomeOrdinaryUser(user));

        for (const Made &made : all) {
            SCOPED_TRACE(made.row.name);
            std::vector<State> states;
            for (const std::string &path : made.paths)
                states.push_back(stateOf(path));
            const ScanResult scan = scanRoot(platform::drivePath(made.folder), goOn);
            ASSERT_EQ(scan.entries.size(), 1U);
            EXPECT_EQ(platform::linuxPath(scan.entries.front().path), made.folder + "/plain");
            EXPECT_EQ(scan.skipped, made.row.skipped);
            EXPECT_EQ(scan.errors, 0U);
            for (std::size_t index = 0; index < made.paths.size(); ++index)
                EXPECT_EQ(stateOf(made.paths[index]), states[index]) << made.paths[index];

            CleanResult result;
            for (const std::string &path : made.paths)
                if (fs::path(path).parent_path() == made.folder)
                    deleteEntry(forgedEntry(path, scan.roots.front()), scan.roots.front(), false, goOn, result, {});
            EXPECT_EQ(result.filesDeleted, 0U);
            EXPECT_GE(result.skipped, made.row.skipped);
            EXPECT_EQ(result.errors, 0U);
            deleteEntry(scan.entries.front(), scan.roots.front(), true, goOn, result, {});
            EXPECT_EQ(result.filesDeleted, 1U);
            for (std::size_t index = 0; index < made.paths.size(); ++index)
                EXPECT_TRUE(
                    std::equal(states[index].begin(), states[index].begin() + 4, stateOf(made.paths[index]).begin()))
                    << made.paths[index];
            char event[4096];
            EXPECT_EQ(read(events.get(), event, sizeof event), -1) << "something was opened";
        }
    });
}

} // namespace
} // namespace dm
