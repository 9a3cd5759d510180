#include "torture/attackers.h"

#include "scratch.h"

#include <dirent.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace dm::torture {

namespace {

using platform::Record;
using test::require;

/// xorshift64*: an attacker must not spend its time on drawing numbers.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) {}
    std::uint32_t below(std::uint32_t limit) {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return static_cast<std::uint32_t>((state_ * 2685821657736338717U) >> 33) % limit;
    }
    bool oneIn(std::uint32_t count) { return below(count) == 0; }

private:
    std::uint64_t state_;
};

/// A name in one of the work folders.
struct Target {
    std::uint64_t sequence = 0;
    unsigned folder = 0;
    std::string name;
};

struct Attacker {
    const Arena &arena;
    Shared &shared;
    Random random;
    const std::string own; ///< begins the names that this one makes
    std::uint64_t made = 0;

    Attacker(const Arena &itsArena, std::uint64_t seed, const char *name)
        : arena(itsArena), shared(*itsArena.shared), random(seed), own(name) {}

    bool goesOn() const { return !shared.stopAttackers; }
    int folder(const Target &target) const { return arena.work[target.folder].get(); }
    std::string newName(const char *kind) { return std::string(kind) + '-' + own + '-' + std::to_string(made++); }
    void spin(std::uint32_t most) {
        for (std::uint32_t rounds = random.below(most); rounds > 0; --rounds)
            std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    /// Lets the others have the processor.
    void pause() const { sched_yield(); }
};

std::optional<Target> currentTarget(const Attacker &attacker) {
    const Current &current = attacker.shared.current;
    Target target;
    target.sequence = current.sequence;
    if (target.sequence % 2 == 0)
        return std::nullopt;
    target.folder = current.folder;
    char name[sizeof current.name];
    std::memcpy(name, current.name, sizeof name);
    name[sizeof name - 1] = '\0';
    target.name = name;
    std::atomic_thread_fence(std::memory_order_acquire);
    return current.sequence == target.sequence ? std::optional(target) : std::nullopt;
}

bool isCurrent(const Attacker &attacker, const Target &target) {
    return attacker.shared.current.sequence == target.sequence;
}

Target anyTarget(Attacker &attacker) {
    const unsigned slot = attacker.random.below(nameCount);
    return {0, folderOfSlot(slot), slotName(slot)};
}

/// Mostly what the cleaner is at.
Target pickTarget(Attacker &attacker) {
    if (attacker.random.oneIn(4))
        return anyTarget(attacker);
    for (int look = 0; look < 50 && attacker.goesOn(); ++look) {
        if (const std::optional<Target> target = currentTarget(attacker))
            return *target;
        attacker.pause();
    }
    return anyTarget(attacker);
}

void waitForEnd(const Attacker &attacker, const Target &target) {
    for (int look = 0; look < 200 && isCurrent(attacker, target) && attacker.goesOn(); ++look)
        attacker.pause();
}

Fd hold(const Attacker &attacker, const Target &target) {
    return Fd(openat(attacker.folder(target), target.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

std::string pathOf(const Fd &file) {
    return "/proc/self/fd/" + std::to_string(file.get());
}

std::uint32_t linksOf(const Fd &file) {
    Record record;
    require(platform::readRecord(file.get(), "", record), "record of a held file");
    return record.stx_nlink;
}

bool mayChange(const Attacker &attacker, std::optional<std::uint32_t> serial) {
    return serial && attacker.shared.states[*serial].kind == Kind::Deletable;
}

/// Puts what came out of a folder back into it, if need be under another name.
void giveBack(Attacker &attacker, int from, const char *name, int folder, const char *itsName) {
    if (moveName(from, name, folder, itsName))
        return;
    while (errno == EEXIST && !moveName(from, name, folder, attacker.newName("back-0").c_str()))
        continue;
}

void giveBack(Attacker &attacker, int from, const char *name, const Target &target) {
    giveBack(attacker, from, name, attacker.folder(target), target.name.c_str());
}

/// An attacker's own share of the precious files in a pool.
class Share {
public:
    Share(Attacker &attacker, const Treasure &treasure, unsigned number)
        : attacker_(attacker), pool_(treasure.pool.get()),
          files_(treasure.files.begin() + number * poolShare, treasure.files.begin() + (number + 1) * poolShare) {}
    ~Share() {
        for (const std::uint32_t serial : files_)
            bringHome(serial, attacker_.arena.work[0].get(), "back-0");
    }
    Share(const Share &) = delete;
    Share &operator=(const Share &) = delete;

    int pool() const { return pool_; }
    /// One that is at home now, if the one drawn is or can be brought there.
    std::optional<std::uint32_t> draw() {
        const std::uint32_t serial = files_[attacker_.random.below(poolShare)];
        if (isHome(serial))
            return serial;
        bringHome(serial, attacker_.arena.work[0].get(), "back-0");
        return std::nullopt;
    }
    /// Exchanges a precious file with a name, and back after a moment or when the attempt of the moment is over.
    bool exchange(int folder, const char *name, std::uint32_t spin) {
        const std::optional<std::uint32_t> serial = draw();
        const std::optional<Target> current = currentTarget(attacker_);
        if (!serial || !exchangeNames(pool_, poolName(*serial).c_str(), folder, name))
            return false;
        if (current && attacker_.random.oneIn(2))
            waitForEnd(attacker_, *current);
        else
            attacker_.spin(spin);
        if (!exchangeNames(pool_, poolName(*serial).c_str(), folder, name))
            bringHome(*serial, folder, name);
        return true;
    }

private:
    bool isHome(std::uint32_t serial) const {
        return serialAt(attacker_.shared, pool_, poolName(serial).c_str()) == serial;
    }
    /// What is not at home is in one of these folders, or about to be put back there. What has its place goes to where
    /// it was exchanged.
    void bringHome(std::uint32_t serial, int folder, const char *name) {
        const std::string home = poolName(serial);
        if (isHome(serial))
            return;
        giveBack(attacker_, pool_, home.c_str(), folder, name);
        const Arena &arena = attacker_.arena;
        std::vector<int> places = {arena.top.get(), arena.data.get(), arena.trashFiles.get(), arena.trashInfo.get()};
        for (const Fd &work : arena.work)
            places.push_back(work.get());
        for (const int place : places) {
            DIR *listing = fdopendir(openat(place, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            require(listing != nullptr, "list");
            while (const dirent *entry = readdir(listing)) {
                if (serialAt(attacker_.shared, place, entry->d_name) == serial)
                    moveName(place, entry->d_name, pool_, home.c_str());
            }
            closedir(listing);
        }
    }

    Attacker &attacker_;
    int pool_;
    std::vector<std::uint32_t> files_;
};

/// While a folder is not in its place, nothing that is in it may be deleted: whoever takes a name from it now proves
/// the way to it later than that.
void watchDisplaced(Attacker &attacker, const Target &target) {
    const std::optional<std::uint32_t> serial = serialAt(attacker.shared, attacker.folder(target), target.name.c_str());
    waitForEnd(attacker, target);
    if (serial && attacker.shared.is(*serial, deletedFlag))
        attacker.shared.violate("deleted while a folder above it was elsewhere: %u, %s", *serial, target.name.c_str());
}

/// A folder and what stands in for it for a moment.
struct Stand {
    int parent;
    const char *name;
    int otherParent;
    const char *otherName;
    Operation operation;
    bool isAboveTarget;
};

void standIn(Attacker &attacker, const Stand &stand, const Target &target) {
    if (!exchangeNames(stand.parent, stand.name, stand.otherParent, stand.otherName))
        throw std::runtime_error("a folder of the attacker's own is gone");
    attacker.shared.count(stand.operation);
    if (stand.isAboveTarget && attacker.random.oneIn(2))
        watchDisplaced(attacker, target);
    else
        attacker.spin(2000);
    require(exchangeNames(stand.parent, stand.name, stand.otherParent, stand.otherName), stand.name);
}

/// The folder of the target or one above it; for a target in the root itself any subfolder, since the root is another
/// one's turn.
unsigned pickSubfolder(Attacker &attacker, const Target &target) {
    const unsigned folder = target.folder == 0 ? 1 + attacker.random.below(workFolders - 1) : target.folder;
    const unsigned parent = workFolderParents[folder];
    return parent != 0 && attacker.random.oneIn(2) ? parent : folder;
}

bool isAbove(unsigned folder, const Target &target) {
    return target.folder == folder || (target.folder != 0 && workFolderParents[target.folder] == folder);
}

void exchangeFolder(Attacker &attacker, const Target &target, bool link) {
    const Arena &arena = attacker.arena;
    const int links = arena.links.get();
    const unsigned folder = pickSubfolder(attacker, target);
    const char *name = workFolderNames[folder];
    switch (attacker.random.below(4)) {
    case 0:
        return standIn(attacker,
                       {arena.top.get(), "stage", link ? links : arena.top.get(), link ? "stage" : "precious",
                        link ? Operation::ParentBecameLink : Operation::ParentExchanged, true},
                       target);
    case 1:
        return standIn(attacker,
                       {arena.stage.get(), "root", link ? links : arena.precious.get(), "root",
                        link ? Operation::RootBecameLink : Operation::RootExchanged, true},
                       target);
    default:
        return standIn(attacker,
                       {arena.parentOf(folder), name, link ? links : arena.twinParentOf(folder), name,
                        link ? Operation::SubfolderBecameLink : Operation::SubfolderExchanged, isAbove(folder, target)},
                       target);
    }
}

void moveFolderOut(Attacker &attacker, const Target &target) {
    const Arena &arena = attacker.arena;
    const unsigned folder = pickSubfolder(attacker, target);
    const char *name = workFolderNames[folder];
    require(moveName(arena.parentOf(folder), name, arena.outside.get(), name), name);
    attacker.shared.count(Operation::SubfolderMovedOut);
    if (isAbove(folder, target))
        watchDisplaced(attacker, target);
    else
        attacker.spin(2000);
    require(moveName(arena.outside.get(), name, arena.parentOf(folder), name), name);
}

void moveFileOut(Attacker &attacker, const Target &target) {
    const int outside = attacker.arena.outside.get();
    const std::string name = attacker.newName("moved");
    if (!moveName(attacker.folder(target), target.name.c_str(), outside, name.c_str()))
        return;
    attacker.shared.count(Operation::FileMovedOut);
    const std::optional<std::uint32_t> serial = serialAt(attacker.shared, outside, name.c_str());
    waitForEnd(attacker, target);
    if (serial && attacker.shared.is(*serial, deletedFlag))
        attacker.shared.violate("deleted while it was elsewhere: %u, %s", *serial, target.name.c_str());
    giveBack(attacker, outside, name.c_str(), target);
}

/// A file that was changed in time and has a name that others can see cannot be on its way out any more: whoever takes
/// it now sees the change. From here on it must stay.
bool sealIfSeen(Attacker &attacker, const Target &target, std::uint32_t serial) {
    if (serialAt(attacker.shared, attacker.folder(target), target.name.c_str()) != serial)
        return false;
    attacker.shared.seal(serial);
    return true;
}

/// Sealed files leave the root, or it would fill up with them.
void putAway(Attacker &attacker, const Target &target, std::uint32_t serial) {
    const int vault = attacker.arena.vault.get();
    const std::string name = attacker.newName("vault");
    if (moveName(attacker.folder(target), target.name.c_str(), vault, name.c_str()) &&
        serialAt(attacker.shared, vault, name.c_str()) != serial)
        giveBack(attacker, vault, name.c_str(), target);
}

/// Opened for writing: the open waits until the cleaner has let go of the file, so that from then on the cleaner knows.
/// A file that has lost its last name by then was deleted before.
void rewrite(Attacker &attacker, const Target &target) {
    const Fd file = hold(attacker, target);
    const std::optional<std::uint32_t> serial = file ? serialAt(attacker.shared, file.get()) : std::nullopt;
    if (!mayChange(attacker, serial))
        return;
    const Fd data(open(pathOf(file).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    require(static_cast<bool>(data), target.name);
    if (linksOf(data) == 0)
        return;
    attacker.shared.seal(*serial);
    if (attacker.random.oneIn(2))
        attacker.spin(5000);
    require(write(data.get(), rewrittenLine, sizeof rewrittenLine - 1) == sizeof rewrittenLine - 1, target.name);
    ++attacker.shared.states[*serial].rewrites;
    attacker.shared.count(Operation::Rewritten);
    putAway(attacker, target, *serial);
}

void redate(Attacker &attacker, const Target &target) {
    const Fd file = hold(attacker, target);
    const std::optional<std::uint32_t> serial = file ? serialAt(attacker.shared, file.get()) : std::nullopt;
    if (!mayChange(attacker, serial))
        return;
    attacker.shared.states[*serial].flags |= redatedFlag;
    const timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_NOW}};
    require(utimensat(AT_FDCWD, pathOf(file).c_str(), times, 0) == 0, target.name);
    attacker.shared.count(Operation::Redated);
    if (sealIfSeen(attacker, target, *serial))
        putAway(attacker, target, *serial);
}

/// An open that does not wait gets nothing, but the cleaner is told. If the file still has its name then, it is taken
/// only later, and that attempt must leave it.
void breakLease(Attacker &attacker, const Target &target) {
    const Fd file = hold(attacker, target);
    const std::optional<std::uint32_t> serial = file ? serialAt(attacker.shared, file.get()) : std::nullopt;
    if (!mayChange(attacker, serial))
        return;
    const Fd data(open(pathOf(file).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (data || errno != EWOULDBLOCK ||
        serialAt(attacker.shared, attacker.folder(target), target.name.c_str()) != serial ||
        !isCurrent(attacker, target))
        return;
    attacker.shared.count(Operation::LeaseBroken);
    waitForEnd(attacker, target);
    if (attacker.shared.states[*serial].deletedIn == target.sequence)
        attacker.shared.violate("deleted although somebody wanted to open it: %u, %s", *serial, target.name.c_str());
}

/// A file in use.
class Use {
public:
    Use() = default;
    Use(const Use &) = delete;
    Use &operator=(const Use &) = delete;
    ~Use() {
        if (mapped_ != MAP_FAILED)
            munmap(mapped_, 1);
    }

    /// False where there is nothing to use, or it was deleted before it was opened.
    bool begin(Attacker &attacker, const Target &target, bool map) {
        file_ = hold(attacker, target);
        const std::optional<std::uint32_t> serial = file_ ? serialAt(attacker.shared, file_.get()) : std::nullopt;
        if (!mayChange(attacker, serial))
            return false;
        serial_ = *serial;
        data_ = Fd(open(pathOf(file_).c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC));
        require(static_cast<bool>(data_), target.name);
        if (linksOf(data_) == 0)
            return false;
        attacker.shared.count(map ? Operation::HeldMapped : Operation::HeldOpen);
        if (map) {
            mapped_ = mmap(nullptr, 1, PROT_READ, MAP_SHARED, data_.get(), 0);
            require(mapped_ != MAP_FAILED, target.name);
            data_.reset();
        }
        return true;
    }
    void look(Attacker &attacker) const {
        if (linksOf(file_) == 0 || attacker.shared.is(serial_, deletedFlag))
            attacker.shared.violate("deleted while it was in use: %u", serial_);
    }

private:
    Fd file_; ///< O_PATH: no use by itself
    Fd data_;
    void *mapped_ = MAP_FAILED;
    std::uint32_t serial_ = 0;
};

void linkByName(Attacker &attacker, int seconds, const Target &target) {
    const std::string name = attacker.newName("second");
    if (linkat(attacker.folder(target), target.name.c_str(), seconds, name.c_str(), 0) != 0)
        return;
    attacker.shared.count(Operation::HardLinkByName);
    const std::optional<std::uint32_t> serial = serialAt(attacker.shared, seconds, name.c_str());
    waitForEnd(attacker, target);
    if (serial && attacker.shared.is(*serial, deletedFlag))
        attacker.shared.violate("deleted while it had a second name: %u, %s", *serial, target.name.c_str());
    unlinkat(seconds, name.c_str(), 0);
}

/// By a handle the link can come while the file is taken and proved already. Then it must not count as deleted as long
/// as it has a name anywhere.
void linkByHandle(Attacker &attacker, int seconds, const Target &target) {
    const Fd file = hold(attacker, target);
    const std::optional<std::uint32_t> serial = file ? serialAt(attacker.shared, file.get()) : std::nullopt;
    if (!mayChange(attacker, serial))
        return;
    const std::string path = pathOf(file);
    for (int time = 0; time < 32 && attacker.goesOn(); ++time) {
        if (!isCurrent(attacker, target))
            time = 32;
        const std::string name = attacker.newName("second");
        if (linkat(AT_FDCWD, path.c_str(), seconds, name.c_str(), AT_SYMLINK_FOLLOW) != 0)
            return;
        attacker.shared.count(Operation::HardLinkByHandle);
        if (serialAt(attacker.shared, attacker.folder(target), target.name.c_str()) != serial)
            waitForEnd(attacker, target);
        else
            attacker.spin(500);
        if (attacker.shared.is(*serial, deletedFlag) && linksOf(file) > 0)
            attacker.shared.violate("told to be deleted while it has a name: %u, %s", *serial, target.name.c_str());
        unlinkat(seconds, name.c_str(), 0);
        attacker.spin(500);
    }
}

/// One folder that is watched and listed.
struct Watched {
    int folder;
    bool isWork;
    const Treasure *treasure; ///< on its volume
};

class Watcher {
public:
    explicit Watcher(Attacker &attacker) : attacker_(attacker), nearShare_(attacker, attacker.arena.near, 1) {
        const Arena &arena = attacker.arena;
        if (arena.far.pool)
            farShare_.emplace(attacker, arena.far, 1);
        for (const Fd &folder : arena.work)
            watch(folder.get(), {folder.get(), true, &arena.near});
        watch(arena.top.get(), {arena.top.get(), false, &arena.near});
        watch(arena.stage.get(), {arena.stage.get(), false, &arena.near});
        watch(arena.data.get(), {arena.data.get(), false, arena.far.pool ? &arena.far : &arena.near});
        for (const Fd *folder : {&arena.trashFiles, &arena.trashInfo}) {
            if (attacker.shared.attackTrash)
                watch(folder->get(), {folder->get(), true, &arena.near});
        }
    }

    void readEvents() {
        alignas(inotify_event) char buffer[8192];
        const ssize_t size = read(events_.get(), buffer, sizeof buffer);
        for (ssize_t at = 0; at < size && attacker_.goesOn();) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if (event->len > 0 && watched_.contains(event->wd))
                see(watched_.at(event->wd), event->name);
        }
    }

    void listAll() {
        for (const auto &[number, watched] : watched_) {
            DIR *listing = fdopendir(openat(watched.folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            if (listing == nullptr)
                continue;
            attacker_.shared.count(Operation::FolderListed);
            while (const dirent *entry = readdir(listing)) {
                if (!isKnown(entry->d_name))
                    see(watched, entry->d_name);
            }
            closedir(listing);
        }
    }

private:
    static bool isKnown(std::string_view name) {
        static const std::set<std::string_view> folders = {".",     "..",     "stage", "precious", "links", "outside",
                                                           "vault", "second", "pool",  "decoys",   "data",  "root",
                                                           "one",   "two",    "three", "deep",     "made"};
        return folders.contains(name) || name.starts_with("name-") || name.starts_with("bait-") ||
               name.starts_with("back-");
    }

    void watch(int folder, const Watched &watched) {
        const std::string path = "/proc/self/fd/" + std::to_string(folder);
        const int number = inotify_add_watch(events_.get(), path.c_str(), IN_CREATE | IN_MOVED_TO | IN_ONLYDIR);
        require(number >= 0, "watch");
        watched_.insert_or_assign(number, watched);
    }

    /// Names of the usual kind are seen all the time, and by others too.
    void see(const Watched &watched, const std::string &name) {
        const bool usual = name.starts_with("name-") && watched.isWork;
        if (isKnown(name) ? !usual || !attacker_.random.oneIn(4) : isNewsNoMore(name))
            return;
        if (!watched.isWork)
            return seeInPlace(watched, name);
        for (int time = 0; time < 3; ++time) {
            if (shareOf(watched).exchange(watched.folder, name.c_str(), 200))
                attacker_.shared.count(Operation::NewNameExchanged);
        }
    }

    /// Its own exchanges tell of a name again, each twice.
    bool isNewsNoMore(const std::string &name) { return !seen_.insert(name).second && attacker_.random.below(5) < 3; }

    Share &shareOf(const Watched &watched) {
        return watched.treasure == &attacker_.arena.far ? *farShare_ : nearShare_;
    }

    /// The folder itself, or the program's memory of it, is exchanged with precious things, and what can be reached in
    /// it is looked for: its list, and what its journal tells.
    void seeInPlace(const Watched &watched, const std::string &name) {
        const Fd inside(openat(watched.folder, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (inside && attacker_.random.oneIn(2))
            attackInside(watched, inside.get());
        const std::string decoy = decoyName(attacker_.random.below(decoyCount));
        const int decoys = watched.treasure->decoys.get();
        if (attacker_.random.oneIn(2)) {
            if (shareOf(watched).exchange(watched.folder, name.c_str(), 20000))
                attacker_.shared.count(Operation::PrivateFolderExchanged);
        } else if (exchangeNames(decoys, decoy.c_str(), watched.folder, name.c_str())) {
            attacker_.shared.count(Operation::PrivateFolderExchanged);
            attacker_.spin(20000);
            // With others at it, the precious folder can have come home by another way; the accounts tell.
            if (!exchangeNames(decoys, decoy.c_str(), watched.folder, name.c_str()) &&
                faccessat(decoys, (decoy + "/name-000").c_str(), F_OK, AT_SYMLINK_NOFOLLOW) != 0)
                moveName(decoys, decoy.c_str(), watched.folder, name.c_str());
        }
    }

    void attackInside(const Watched &watched, int inside) {
        // The one name in it that can be known without a list.
        if (attacker_.shared.attackJournal && attacker_.random.oneIn(4))
            shareOf(watched).exchange(inside, "journal", 2000);
        Fd listable(openat(inside, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (DIR *listing = listable ? fdopendir(dup(listable.get())) : nullptr) {
            while (const dirent *entry = readdir(listing)) {
                if (entry->d_type == DT_REG)
                    shareOf(watched).exchange(inside, entry->d_name, 20000);
            }
            closedir(listing);
            watch(listable.get(), {listable.get(), true, watched.treasure});
            opened_.push_back(std::move(listable));
        }
        // A recovery has to make it readable for a moment.
        const Fd journal(attacker_.shared.killsCleaner ? -1
                                                       : openat(inside, "journal", O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
        for (int time = 0; journal && time < 20000 && attacker_.goesOn(); ++time) {
            const std::string taken = takenIn(journal.get());
            if (!taken.empty() && faccessat(inside, taken.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0)
                shareOf(watched).exchange(inside, taken.c_str(), 200);
        }
    }

    /// The first random name that a journal tells.
    static std::string takenIn(int journal) {
        char text[64] = {};
        if (pread(journal, text, sizeof text, 0) < 0)
            return {};
        const std::string_view all(text, sizeof text);
        for (std::size_t at = 0; at + 32 <= all.size(); ++at) {
            if (all.substr(at, 32).find_first_not_of("0123456789abcdef") == all.npos)
                return std::string(all.substr(at, 32));
        }
        return {};
    }

    Attacker &attacker_;
    Share nearShare_;
    std::optional<Share> farShare_;
    Fd events_{inotify_init1(IN_CLOEXEC | IN_NONBLOCK)};
    std::map<int, Watched> watched_;
    std::set<std::string> seen_;
    std::vector<Fd> opened_; ///< private folders that were no secret
};

/// Old files made beforehand, so that a vanished name is taken at once.
class Stock {
public:
    explicit Stock(Attacker &attacker) : attacker_(attacker), folder_(makeFolder(attacker.arena.top.get(), "made")) {}

    int folder() const { return folder_.get(); }
    /// Empty where there is no room for more.
    std::string next(Kind kind) {
        std::string &ready = kind == Kind::Fresh ? fresh_ : old_;
        if (ready.empty() && attacker_.shared.files < attacker_.shared.room / 2) {
            ready = attacker_.newName("moved");
            makeFile(attacker_.shared, attacker_.arena.seed, folder_.get(), ready.c_str(), kind);
        }
        return ready;
    }
    void used(Kind kind) { (kind == Kind::Fresh ? fresh_ : old_).clear(); }

private:
    Attacker &attacker_;
    Fd folder_;
    std::string fresh_;
    std::string old_;
};

/// Fresh files in the root, which would fill up with them.
class FreshOnes {
public:
    void add(Attacker &attacker, const Target &target, std::uint32_t serial) {
        if (const auto &[oldTarget, oldSerial] = ring_[next_]; oldSerial != 0)
            putAway(attacker, oldTarget, oldSerial);
        ring_[next_] = {target, serial};
        next_ = (next_ + 1) % ring_.size();
    }

private:
    std::array<std::pair<Target, std::uint32_t>, 8> ring_;
    std::size_t next_ = 0;
};

void takeVanishedName(Attacker &attacker, const Target &target, Share &share, Stock &stock, FreshOnes &freshOnes) {
    const int folder = attacker.folder(target);
    const char *name = target.name.c_str();
    const std::uint32_t choice = attacker.random.below(8);
    if (choice < 4) {
        const std::optional<std::uint32_t> serial = share.draw();
        if (serial && moveName(share.pool(), poolName(*serial).c_str(), folder, name))
            attacker.shared.count(Operation::PreciousOnVanishedName);
        return;
    }
    const Kind kind = choice < 7 ? Kind::Deletable : Kind::Fresh;
    const std::string ready = stock.next(kind);
    const std::optional<std::uint32_t> serial = serialAt(attacker.shared, stock.folder(), ready.c_str());
    if (!serial || !moveName(stock.folder(), ready.c_str(), folder, name))
        return;
    stock.used(kind);
    attacker.shared.count(kind == Kind::Fresh ? Operation::FreshFileOnVanishedName : Operation::OldFileOnVanishedName);
    if (kind == Kind::Fresh)
        freshOnes.add(attacker, target, *serial);
}

} // namespace

void attackFolders(const Arena &arena, std::uint64_t seed) {
    Attacker attacker(arena, seed, "f");
    while (attacker.goesOn()) {
        const Target target = pickTarget(attacker);
        switch (attacker.random.below(4)) {
        case 0:
            exchangeFolder(attacker, target, true);
            break;
        case 1:
            exchangeFolder(attacker, target, false);
            break;
        case 2:
            moveFolderOut(attacker, target);
            break;
        default:
            moveFileOut(attacker, target);
        }
        // The cleaner must get to the files at times, or nothing is proved.
        for (std::uint32_t rounds = attacker.random.below(6); rounds > 0; --rounds)
            waitForEnd(attacker, pickTarget(attacker));
    }
}

void attackByExchange(const Arena &arena, std::uint64_t seed) {
    Attacker attacker(arena, seed, "x");
    Share share(attacker, arena.near, 0);
    while (attacker.goesOn()) {
        const Target target = pickTarget(attacker);
        if (attacker.random.oneIn(2)) {
            waitForEnd(attacker, target);
            continue;
        }
        for (std::uint32_t times = 1 + attacker.random.below(6); times > 0; --times) {
            attacker.spin(2000);
            if (share.exchange(attacker.folder(target), target.name.c_str(), 300))
                attacker.shared.count(Operation::PreciousExchanged);
        }
        attacker.pause();
    }
}

void attackByWatching(const Arena &arena, std::uint64_t seed) {
    Attacker attacker(arena, seed, "w");
    Watcher watcher(attacker);
    for (std::uint32_t round = 0; attacker.goesOn(); ++round) {
        watcher.readEvents();
        if (round % 512 == 0)
            watcher.listAll();
        if (round % 16 == 0)
            attacker.pause();
    }
}

void attackByMaking(const Arena &arena, std::uint64_t seed) {
    Attacker attacker(arena, seed, "m");
    Share share(attacker, arena.near, 2);
    Stock stock(attacker);
    FreshOnes freshOnes;
    while (attacker.goesOn()) {
        const Target target = pickTarget(attacker);
        for (int look = 0; look < 300 && isCurrent(attacker, target); ++look) {
            if (faccessat(attacker.folder(target), target.name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0)
                continue;
            takeVanishedName(attacker, target, share, stock, freshOnes);
            break;
        }
        attacker.pause();
    }
}

void attackByLinking(const Arena &arena, std::uint64_t seed) {
    Attacker attacker(arena, seed, "l");
    const Fd seconds = makeFolder(arena.top.get(), "second");
    while (attacker.goesOn()) {
        const Target target = pickTarget(attacker);
        if (attacker.random.oneIn(2))
            waitForEnd(attacker, target);
        else if (attacker.random.oneIn(4))
            linkByName(attacker, seconds.get(), target);
        else
            linkByHandle(attacker, seconds.get(), target);
        attacker.pause();
    }
}

void attackByUse(const Arena &arena, std::uint64_t seed) {
    Attacker attacker(arena, seed, "u");
    std::array<std::optional<Use>, 4> uses;
    while (attacker.goesOn()) {
        const Target target = pickTarget(attacker);
        const std::uint32_t choice = attacker.random.below(16);
        for (int time = 0; choice >= 8 && time < 100 && isCurrent(attacker, target); ++time)
            breakLease(attacker, target);
        if (choice == 0)
            rewrite(attacker, target);
        else if (choice == 1)
            redate(attacker, target);
        else if (choice < 6) {
            std::optional<Use> &use = uses[attacker.random.below(uses.size())];
            if (use)
                use.reset();
            else if (!use.emplace().begin(attacker, target, choice < 4))
                use.reset();
        } else {
            waitForEnd(attacker, target);
        }
        for (const std::optional<Use> &use : uses) {
            if (use)
                use->look(attacker);
        }
        attacker.pause();
    }
}

} // namespace dm::torture
