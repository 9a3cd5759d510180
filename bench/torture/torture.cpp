#include "torture/torture.h"

#include "engine/cleaner.h"
#include "engine/scanner.h"
#include "large/recycle.h"
#include "namespaces.h"
#include "platform/linux/base_folders.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/volumes.h"
#include "scratch.h"
#include "torture/attackers.h"

#include <sys/statfs.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>

namespace dm::torture {

namespace {

using test::require;
using namespace std::chrono_literals;

constexpr uid_t ordinaryUser = 65534;
constexpr std::uint64_t attemptsOfLife = 300; ///< of a cleaner that is not killed
constexpr auto longStandstill = 1s;
constexpr auto longestStandstill = 60s;
constexpr std::uint64_t longestWait = 8; ///< times the attempts asked for, until every attacker had its success

struct Run {
    const TortureOptions &options;
    Arena arena;
    Shared &shared;
    std::uint64_t random;

    std::uint64_t below(std::uint64_t limit) {
        random = random * 6364136223846793005U + 1442695040888963407U;
        return (random >> 33) % limit;
    }
};

/// Runs in a process of its own; what it throws is a violation.
pid_t startProcess(Shared &shared, const char *name, const std::function<void()> &work) {
    const pid_t process = fork();
    require(process >= 0, "fork");
    if (process != 0)
        return process;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    nice(10); // its master must get the processor when it wants it
    try {
        work();
    } catch (const std::exception &error) {
        shared.violate("%s stopped: %s", name, error.what());
        _exit(1);
    }
    _exit(0);
}

// The cleaner.

void publish(Shared &shared, const WString &drivePath, std::uint32_t serial) {
    const std::string path = platform::linuxPath(drivePath);
    const std::size_t slash = path.rfind('/');
    const std::string folder = path.substr(0, slash);
    const auto *known = std::find_if(workFolderNames.begin(), workFolderNames.end(),
                                     [&](const char *name) { return folder.ends_with(std::string("/") + name); });
    shared.current.serial = serial;
    shared.current.folder =
        static_cast<std::uint32_t>(known == workFolderNames.end() ? 0 : known - workFolderNames.begin());
    std::snprintf(shared.current.name, sizeof shared.current.name, "%s", path.c_str() + slash + 1);
    ++shared.current.sequence;
}

/// What the kernel calls a held file's name follows its renames.
bool isLeftIn(const Fd &file, const char *place) {
    char path[PATH_MAX];
    const ssize_t size =
        file ? readlink(("/proc/self/fd/" + std::to_string(file.get())).c_str(), path, sizeof path) : 0;
    const std::string_view name(path, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return name.find(place) != name.npos && !name.ends_with(" (deleted)");
}

/// The file of an entry that its user would choose.
std::optional<std::uint32_t> choose(Shared &shared, std::uint64_t fileIndex) {
    const std::optional<std::uint32_t> serial = shared.serialOf(fileIndex);
    if (!serial) {
        shared.violate("the scan offers what nobody made");
        return std::nullopt;
    }
    const Kind kind = shared.states[*serial].kind;
    const bool offered = kind == Kind::Deletable || kind == Kind::Pool || kind == Kind::Tree;
    if (!offered && (!shared.moves || kind == Kind::Linked))
        shared.violate("the scan offers a protected file: %u", *serial);
    // A precious file that lies in the root at the moment of the scan is rightly offered. Its user does not choose it.
    return kind == Kind::Deletable ? serial : std::nullopt;
}

/// However busy the machine is, the attackers get their share of each attempt.
void waitForAttackers(const Shared &shared) {
    while (shared.attempts >= shared.granted && !shared.stopCleaner)
        sched_yield();
}

Fd holdByPath(const WString &path) {
    return Fd(open(platform::linuxPath(path).c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

void tryToDelete(Shared &shared, const FileEntry &entry, const RootIdentity &root, bool skipLockedFiles) {
    static const std::atomic<bool> goOn = false;
    const std::optional<std::uint32_t> serial = choose(shared, entry.fileIndex);
    if (!serial)
        return;
    waitForAttackers(shared);
    publish(shared, entry.path, *serial);
    const Fd file = holdByPath(entry.path);
    CleanResult result;
    deleteEntry(entry, root, true, goOn, result, {.skipLockedFiles = skipLockedFiles});
    if (result.filesDeleted == 1) {
        shared.states[*serial].deletedIn = shared.current.sequence.load();
        shared.states[*serial].flags |= deletedFlag;
    } else if (isLeftIn(file, "/.dustmere-")) {
        shared.violate("kept, but not put back: %u, %s", *serial, shared.current.name);
    }
    ++shared.current.sequence;
    if (result.filesDeleted + result.skipped + result.errors != 1)
        shared.violate("one attempt counts %d times",
                       static_cast<int>(result.filesDeleted + result.skipped + result.errors));
    ++shared.attempts;
    shared.deleted += result.filesDeleted;
    shared.skipped += result.skipped;
    shared.errors += result.errors;
    shared.lockedSkipped += result.lockedSkipped;
    shared.lockedErrors += result.lockedErrors;
    shared.retries += result.retries;
}

/// While nobody else changes the trash, a file is there if and only if that is told. (Failed means that it may be.)
void checkMoved(Shared &shared, std::uint32_t serial, const Fd &file, large::RecycleStatus status) {
    if (isLeftIn(file, "/.dustmere-"))
        shared.violate("kept, but not put back: %u, %s", serial, shared.current.name);
    if (shared.attackTrash || !file || serialAt(shared, file.get()) != serial)
        return;
    const bool isTrashed = isLeftIn(file, "/Trash/files/");
    if (status == large::RecycleStatus::Moved ? !isTrashed : isTrashed && status != large::RecycleStatus::Failed)
        shared.violate("%s the trash: %u, %s", isTrashed ? "kept, but in" : "moved, but not in", serial,
                       shared.current.name);
}

void tryToMove(Shared &shared, const large::LargeSearchResult &found, std::uint64_t index) {
    static const std::atomic<bool> goOn = false;
    const large::LargeFileEntry &entry = found.entries[index];
    const std::optional<std::uint32_t> serial = choose(shared, entry.fileIndex);
    if (!serial)
        return;
    waitForAttackers(shared);
    publish(shared, entry.path, *serial);
    const Fd file = holdByPath(entry.path);
    const large::RecycleResult result = large::moveToRecycleBin(found, {index}, goOn, {}, nullptr);
    checkMoved(shared, *serial, file, result.outcomes.front().status);
    ++shared.current.sequence;
    if (result.moved + result.kept + result.errors != 1)
        shared.violate("one attempt counts %d times", static_cast<int>(result.moved + result.kept + result.errors));
    ++shared.attempts;
    shared.moved += result.moved;
    shared.skipped += result.kept;
    shared.errors += result.errors;
}

/// One scan, and the deletion of what was found.
void cleanOnce(Shared &shared, const WString &root, bool skipLockedFiles, const std::function<bool()> &isOver) {
    static const std::atomic<bool> goOn = false;
    const ScanResult scan = scanRoot(root, goOn);
    for (const FileEntry &entry : scan.entries) {
        if (isOver())
            break;
        tryToDelete(shared, entry, scan.roots.front(), skipLockedFiles);
    }
}

/// One search, and the move of what was found.
void moveOnce(Shared &shared, const WString &root, const std::function<bool()> &isOver) {
    static const std::atomic<bool> goOn = false;
    const large::LargeSearchResult found = large::searchLargeFiles({.root = root, .minBytes = 1}, goOn, {});
    for (std::uint64_t index = 0; index < found.entries.size() && !isOver(); ++index)
        tryToMove(shared, found, index);
}

/// What the program does from its start to its end, over and over in between; deletions under each policy in turn.
void clean(Shared &shared) {
    platform::recoverPrivateFolders();
    const auto isOver = [&] { return shared.stopCleaner || shared.attempts >= shared.endOfLife; };
    const WString root = platform::drivePath(std::string(arenaPath) + "/stage/root");
    for (bool skipLockedFiles = true; !isOver(); skipLockedFiles = !skipLockedFiles) {
        if (shared.moves)
            moveOnce(shared, root, isOver);
        else
            cleanOnce(shared, root, skipLockedFiles, isOver);
    }
    platform::removePrivateFolders();
}

pid_t startCleaner(Run &run) {
    ++run.shared.starts;
    if (run.shared.current.sequence % 2 != 0)
        ++run.shared.current.sequence;
    return startProcess(run.shared, "the cleaner", [&run] { clean(run.shared); });
}

// Its master, who kills it and keeps the root filled.

void refill(Run &run) {
    for (unsigned slot = 0; slot < nameCount; ++slot) {
        const int folder = run.arena.work[folderOfSlot(slot)].get();
        const std::string name = slotName(slot);
        if (faccessat(folder, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0)
            continue;
        // It comes to the root whole and old.
        const std::string made = "moved-" + std::to_string(run.shared.files);
        if (makeFile(run.shared, run.arena.seed, run.arena.outside.get(), made.c_str(), Kind::Deletable))
            moveName(run.arena.outside.get(), made.c_str(), folder, name.c_str());
    }
}

/// The cleaner was killed.
void bury(Run &run) {
    Shared &shared = run.shared;
    ++shared.kills;
    if (shared.current.sequence % 2 == 0)
        return;
    ++shared.killsInDeletion;
    const std::uint32_t serial = shared.current.serial;
    if (!shared.is(serial, deletedFlag) && !shared.moves)
        shared.states[serial].flags |= excusedFlag;
}

void check(Shared &shared, int status) {
    if (WIFSIGNALED(status))
        shared.violate("the cleaner was ended by signal %d", WTERMSIG(status));
    else if (WEXITSTATUS(status) != 0)
        shared.violate("the cleaner ended with %d", WEXITSTATUS(status));
}

bool isNameGone(const Run &run) {
    const Current &current = run.shared.current;
    return current.sequence % 2 != 0 &&
           serialAt(run.shared, run.arena.work[current.folder].get(), current.name) != current.serial;
}

void pause(std::uint64_t microseconds) {
    const timespec time = {0, static_cast<long>(microseconds) * 1000};
    nanosleep(&time, nullptr);
}

/// Until a moment in an attempt, whichever.
void letRun(Run &run) {
    if (run.below(2) == 0)
        return pause(run.below(200));
    for (int look = 0; look < 20'000 && run.shared.current.sequence % 2 == 0; ++look)
        std::atomic_signal_fence(std::memory_order_seq_cst);
    for (std::uint64_t rounds = run.below(60'000); rounds > 0; --rounds)
        std::atomic_signal_fence(std::memory_order_seq_cst);
}

/// While the cleaner stands still between two of its steps, the attackers have all the time they need. In the middle of
/// a removal it stands longer, and is killed more often.
bool shouldKill(Run &run) {
    const bool nameGone = isNameGone(run);
    const bool kills = run.options.kill && run.below(nameGone ? 6 : 48) == 0;
    run.shared.stopsWithNameGone += nameGone;
    run.shared.killsWithNameGone += kills && nameGone;
    pause(run.below(nameGone ? 1000 : 200));
    return kills;
}

/// One life of the cleaner, which is stopped and let go on at random moments, until it ends by itself, is killed, or
/// stands still for no reason.
void live(Run &run) {
    Shared &shared = run.shared;
    shared.endOfLife = run.options.kill ? UINT64_MAX : shared.attempts + std::min(attemptsOfLife, run.options.attempts);
    const pid_t cleaner = startCleaner(run);
    std::uint64_t attempts = shared.attempts;
    auto moved = std::chrono::steady_clock::now();
    for (std::uint64_t turn = 0;; ++turn) {
        if (turn % 16 == 0)
            refill(run);
        shared.granted = shared.attempts + 1 + run.below(4);
        // On a busy machine the moments that it is let run may be none to it.
        if (std::chrono::steady_clock::now() - moved > longStandstill)
            pause(20'000);
        else
            letRun(run);
        int status = 0;
        kill(cleaner, SIGSTOP);
        waitpid(cleaner, &status, WUNTRACED);
        if (!WIFSTOPPED(status))
            return check(shared, status);
        ++shared.stops;
        if (std::exchange(attempts, shared.attempts) != attempts)
            moved = std::chrono::steady_clock::now();
        shared.standsStill = std::chrono::steady_clock::now() - moved > longestStandstill;
        if (shared.standsStill)
            shared.violate("the cleaner stands still");
        if (shared.standsStill || shouldKill(run)) {
            kill(cleaner, SIGKILL);
            waitpid(cleaner, &status, 0);
            return bury(run);
        }
        kill(cleaner, SIGCONT);
    }
}

bool hasIdleOperation(const Run &run) {
    const auto &operations = run.shared.operations;
    return std::any_of(operations.begin(), operations.end(), [](const auto &count) { return count == 0; });
}

/// On until there are attempts enough and every attacker had its success, but not for ever. Moves are too slow, and so
/// too few, for that.
bool goesOn(const Run &run) {
    const std::uint64_t attempts = run.shared.attempts;
    if (run.shared.standsStill)
        return false;
    const bool waits = !run.options.moves && hasIdleOperation(run);
    return attempts < run.options.attempts || (attempts < run.options.attempts * longestWait && waits);
}

void torture(Run &run) {
    refill(run);
    std::vector<pid_t> processes;
    for (std::size_t number = 0; number < attackers.size(); ++number)
        processes.push_back(startProcess(run.shared, attackers[number].name, [&run, number] {
            attackers[number].run(run.arena, run.options.seed * attackers.size() + number);
        }));
    while (goesOn(run))
        live(run);
    run.shared.stopAttackers = true;
    for (std::size_t number = 0; number < processes.size(); ++number) {
        int status = 0;
        waitpid(processes[number], &status, 0);
        if (WIFSIGNALED(status))
            run.shared.violate("%s was ended by signal %d", attackers[number].name, WTERMSIG(status));
    }
    // The last start and its end, in peace.
    run.shared.stopCleaner = true;
    int status = 0;
    waitpid(startCleaner(run), &status, 0);
    check(run.shared, status);
    account(run.arena);
}

// The surroundings.

const char *nameOf(const struct statfs &status) {
    constexpr decltype(status.f_type) ext4 = 0xEF53;
    constexpr decltype(status.f_type) btrfs = 0x9123683E;
    constexpr decltype(status.f_type) xfs = 0x58465342;
    constexpr decltype(status.f_type) ram = 0x01021994;
    return status.f_type == ext4    ? "ext4"
           : status.f_type == btrfs ? "btrfs"
           : status.f_type == xfs   ? "xfs"
           : status.f_type == ram   ? "tmpfs"
                                    : "other";
}

/// Leases do not tell on layered file systems, so that nothing would ever be deleted there.
bool isLayered(const struct statfs &status) {
    constexpr decltype(status.f_type) overlay = 0x794C7630;
    return status.f_type == overlay;
}

/// The working folder becomes a volume of its own, whose topmost folder attackers see into.
void mountVolumes(Shared &shared) {
    struct statfs status;
    require(mkdir(arenaPath, 0777) == 0 && mkdir(otherVolumePath, 0777) == 0 && statfs(".", &status) == 0, arenaPath);
    if (isLayered(status))
        require(mount("tmpfs", arenaPath, "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0, "tmpfs");
    else
        require(mount(".", arenaPath, nullptr, MS_BIND, nullptr) == 0, "bind");
    require(mount("tmpfs", otherVolumePath, "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0, "tmpfs");
    require(statfs(arenaPath, &status) == 0, arenaPath);
    std::snprintf(shared.volume, sizeof shared.volume, "%s", nameOf(status));
}

void tortureInside(const TortureOptions &options, Shared &shared) {
    mountVolumes(shared);
    require(test::becomeOrdinaryUser(ordinaryUser), "ordinary user");
    Run run{options, makeArena(shared, options.seed, options.dataElsewhere), shared, options.seed};
    setenv("HOME", (std::string(arenaPath) + "/home").c_str(), 1);
    setenv("XDG_DATA_HOME", run.arena.dataHome.c_str(), 1);
    for (const char *variable : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
        unsetenv(variable);
    if (platform::baseFolders().dataHome != run.arena.dataHome)
        throw std::runtime_error("the base folders were looked up before");
    shared.killsCleaner = options.kill;
    shared.moves = options.moves;
    shared.attackTrash = options.attackTrash;
    shared.attackJournal = options.attackJournal;
    if (options.moves && GetDriveTypeW(platform::drivePath(arenaPath).substr(0, 3).c_str()) != DRIVE_FIXED)
        shared.isUnfit = true;
    else
        torture(run);
}

/// Empty, or why there are no namespaces.
std::string runInNamespaces(const std::string &folder, const std::function<void()> &inside) {
    int reasonPipe[2];
    require(pipe2(reasonPipe, O_CLOEXEC) == 0, "pipe");
    std::fflush(nullptr);
    const pid_t child = fork();
    require(child >= 0, "fork");
    if (child == 0) {
        close(reasonPipe[0]);
        if (chdir(folder.c_str()) != 0)
            _exit(1);
        test::detail::runOutside(test::Isolation::ProcessesAndPlaces, inside, reasonPipe[1]);
    }
    close(reasonPipe[1]);
    std::string reason;
    char text[256];
    for (ssize_t size; (size = read(reasonPipe[0], text, sizeof text)) > 0;)
        reason.append(text, static_cast<std::size_t>(size));
    close(reasonPipe[0]);
    waitpid(child, nullptr, 0);
    return reason;
}

TortureReport reportOf(const Shared &shared) {
    TortureReport report;
    report.volume = shared.volume;
    report.attempts = shared.attempts;
    report.deleted = shared.deleted;
    report.moved = shared.moved;
    report.skipped = shared.skipped;
    report.errors = shared.errors;
    report.lockedSkipped = shared.lockedSkipped;
    report.lockedErrors = shared.lockedErrors;
    report.retries = shared.retries;
    report.starts = shared.starts;
    report.stops = shared.stops;
    report.stopsWithNameGone = shared.stopsWithNameGone;
    report.kills = shared.kills;
    report.killsInDeletion = shared.killsInDeletion;
    report.killsWithNameGone = shared.killsWithNameGone;
    report.preciousChecked = shared.preciousChecked;
    report.filesMade = shared.files - shared.preciousChecked;
    report.sealed = shared.sealed;
    report.violationCount = shared.violationCount;
    for (std::uint32_t number = 0; number < std::min<std::size_t>(shared.violationCount, std::size(shared.violations));
         ++number)
        report.violations.emplace_back(shared.violations[number]);
    for (std::size_t operation = 0; operation < operationCount; ++operation)
        report.operations.emplace_back(operationNames[operation], shared.operations[operation]);
    return report;
}

} // namespace

TortureReport runTorture(const TortureOptions &options) {
    std::string folder = options.folder + "/torture-XXXXXX";
    require(mkdtemp(folder.data()) != nullptr, folder);
    if (geteuid() == 0)
        require(chown(folder.c_str(), ordinaryUser, ordinaryUser) == 0, folder);
    Shared *shared = newShared(static_cast<std::uint32_t>(options.attempts * 8 + 8192));

    const std::string reason = runInNamespaces(folder, [&] {
        try {
            tortureInside(options, *shared);
        } catch (const std::exception &error) {
            shared->violate("the torture stopped: %s", error.what());
        }
    });
    TortureReport report = reportOf(*shared);
    if (!reason.empty())
        report.unavailable = reason;
    else if (shared->isUnfit)
        report.unavailable = "no fixed drive to move files on";
    else if (report.starts == 0 && report.violationCount == 0)
        report.violations.emplace_back("the torture did not start");

    freeShared(shared);
    std::filesystem::remove_all(folder);
    return report;
}

} // namespace dm::torture
