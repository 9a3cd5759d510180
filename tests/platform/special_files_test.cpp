// What is no plain file of this user: met by a scan and named to a removal, it is counted, and neither opened nor
// followed nor removed.
#include "empty_machine.h"
#include "engine/cleaner.h"
#include "engine/identity.h"
#include "engine/paths.h"
#include "engine/scanner.h"
#include "files.h"
#include "platform/linux/fd.h"
#include "platform/win32.h"

#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace dm {
namespace {

using platform::Fd;
using namespace test;

const std::atomic<bool> goOn = false;
constexpr uid_t ordinaryUser = 65534;

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

const struct Row {
    const char *name;
    bool onlyRoot; ///< can make it
    void (*make)(const std::string &path);
    const char *commands; ///< in a folder; $out is one beside it
    std::uint64_t skipped;
} rows[] = {
    {"named pipe with a process that waits for its reader", false, makeBlockedReader, ":", 1},
    {"socket", false, makeSocket, ":", 1},
    {"devices", true, nullptr, "mknod -m 666 null c 1 3; mknod -m 666 loop b 7 0", 2},
    {"mount point", true, nullptr,
     "mkdir disk; mount -t tmpfs tmpfs disk; touch -d 2001-01-01 disk/old; chown -R 65534:65534 .", 1},
    {"mounted file", true, nullptr,
     "mkdir $out; touch -d 2001-01-01 $out/above below; mount --bind $out/above below; chown -R 65534:65534 . $out", 1},
    {"links", false, nullptr,
     "mkdir $out; echo > $out/old; ln -s $out/old 'to a file'; ln -s $out 'to a folder'; ln -s nowhere 'to nowhere'; "
     "ln -s itself itself",
     4},
    {"folders that cannot be listed", false, nullptr,
     "mkdir closed .dustmere-x; echo > closed/old; echo > .dustmere-x/old; chmod 0 closed; chmod 300 .dustmere-x", 2},
    {"file of another user in a folder of this one", true, nullptr, "touch -d 2001-01-01 theirs; chown 1:1 theirs", 1},
    {"what is immutable or takes additions only", true, nullptr,
     "mkdir fixed growing; touch immutable additions fixed/old growing/old; touch -d 2001-01-01 * */old; "
     "chown -R 65534:65534 .; chattr +i immutable fixed; chattr +a additions growing",
     4},
};

/// What a mere look must leave as it is; nothing of what this user cannot reach.
struct statx stateOf(const std::string &path) {
    struct statx state = {};
    require(statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &state) == 0 || errno == EACCES,
            path);
    return state;
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
        if (row.make != nullptr)
            row.make(folder + "/special");
        require(runIn(folder, "out=" + folder + "-outside; " + row.commands), row.name);
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
        enterEmptyMachine(user);
        const Fd events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        std::vector<Made> all;
        for (const Row &row : rows)
            if (isRoot || !row.onlyRoot)
                all.emplace_back(row, user, events.get());
        ASSERT_TRUE(becomeOrdinaryUser(user));

        for (const Made &made : all) {
            SCOPED_TRACE(made.row.name);
            std::vector<struct statx> states;
            for (const std::string &path : made.paths)
                states.push_back(stateOf(path));
            const ScanResult scan = scanRoot(platform::drivePath(made.folder), goOn);
            ASSERT_EQ(scan.entries.size(), 1U);
            EXPECT_EQ(platform::linuxPath(scan.entries.front().path), made.folder + "/plain");
            EXPECT_EQ(scan.skipped, made.row.skipped);
            EXPECT_EQ(scan.errors, 0U);
            for (std::size_t index = 0; index < made.paths.size(); ++index) {
                const struct statx now = stateOf(made.paths[index]);
                EXPECT_EQ(std::memcmp(&now, &states[index], sizeof now), 0) << made.paths[index];
            }

            CleanResult result;
            for (const std::string &path : made.paths)
                if (fs::path(path).parent_path() == made.folder)
                    deleteEntry(forgedEntry(path, scan.roots.front()), scan.roots.front(), false, goOn, result, {});
            EXPECT_EQ(result.filesDeleted, 0U);
            EXPECT_GE(result.skipped, made.row.skipped);
            EXPECT_EQ(result.errors, 0U);
            deleteEntry(scan.entries.front(), scan.roots.front(), true, goOn, result, {});
            EXPECT_EQ(result.filesDeleted, 1U);
            for (std::size_t index = 0; index < made.paths.size(); ++index) {
                const struct statx now = stateOf(made.paths[index]);
                EXPECT_TRUE(now.stx_ino == states[index].stx_ino && now.stx_mode == states[index].stx_mode &&
                            now.stx_nlink == states[index].stx_nlink && now.stx_uid == states[index].stx_uid)
                    << made.paths[index];
            }
            char event[4096];
            EXPECT_EQ(read(events.get(), event, sizeof event), -1) << "something was opened";
        }
    });
}

} // namespace
} // namespace dm
