#include "torture/arena.h"

#include "platform/linux/trash_folders.h"
#include "scratch.h"

#include <dirent.h>
#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <regex>

namespace dm::torture {

namespace {

using platform::Record;
using test::require;

constexpr std::int64_t firstSerialTime = 1'000'000'000;
constexpr std::size_t contentSize = 96;
constexpr std::int64_t oldSeconds = 48 * 3600;

/// All old files were written in the same second, so that neither size nor time tells them apart.
std::int64_t oldTime() {
    static const std::int64_t time = std::time(nullptr) - oldSeconds;
    return time;
}

void makeTwin(Arena &arena, unsigned folder) {
    arena.twins[folder] = makeFolder(arena.twinParentOf(folder), workFolderNames[folder]);
    for (unsigned slot = 0; slot < nameCount; ++slot) {
        if (folderOfSlot(slot) == folder)
            makeFile(*arena.shared, arena.seed, arena.twins[folder].get(), slotName(slot).c_str(), Kind::Tree);
    }
}

Treasure makeTreasure(Shared &shared, std::uint64_t seed, int folder) {
    Treasure treasure;
    treasure.pool = makeFolder(folder, "pool");
    for (unsigned number = 0; number < poolShare * poolShares; ++number) {
        const std::uint32_t serial = shared.files;
        makeFile(shared, seed, treasure.pool.get(), poolName(serial).c_str(), Kind::Pool);
        treasure.files.push_back(serial);
    }
    treasure.decoys = makeFolder(folder, "decoys");
    for (unsigned number = 0; number < decoyCount; ++number) {
        const Fd decoy = makeFolder(treasure.decoys.get(), decoyName(number).c_str());
        for (const char *name : {"journal", "name-000"})
            makeFile(shared, seed, decoy.get(), name, Kind::Tree);
    }
    return treasure;
}

/// Files of the root that no scan may offer.
void makeBaits(const Arena &arena) {
    Shared &shared = *arena.shared;
    for (unsigned folder = 0; folder < workFolders; ++folder) {
        const int descriptor = arena.work[folder].get();
        makeFile(shared, arena.seed, descriptor, "bait-fresh", Kind::Fresh);
        makeFile(shared, arena.seed, descriptor, "bait-read-only", Kind::ReadOnly);
        makeFile(shared, arena.seed, descriptor, "bait-linked", Kind::Linked);
        require(linkat(descriptor, "bait-linked", descriptor, "bait-second", 0) == 0, "bait-second");
        require(symlinkat((std::string(arenaPath) + "/precious/root").c_str(), descriptor, "bait-link") == 0, "link");
    }
}

std::string readWhole(int folder, const char *name) {
    const Fd file(openat(folder, name, O_RDONLY | O_NOATIME | O_NOFOLLOW | O_CLOEXEC));
    std::string content;
    char block[4096];
    for (ssize_t size; file && (size = read(file.get(), block, sizeof block)) > 0;)
        content.append(block, static_cast<std::size_t>(size));
    return content;
}

struct Found {
    unsigned names = 0;
    std::uint64_t inode = 0;
    std::uint64_t folder = 0;
    std::string name;
};

/// The walk over all that is left.
struct Accounts {
    const Arena &arena;
    Shared &shared;
    std::vector<Found> found;

    void lookAtFile(int folder, const char *name, const Record &record, const Record &folderRecord,
                    const std::string &path);
    void walk(int folder, const std::string &path);
    void close(std::uint32_t serial);
};

/// Names that the attackers, this program and the trash give. Anything else is a name that a file got in the middle of
/// a removal and never got rid of. Where attackers take journals away, a start after a kill may know no better than
/// "recovered"; where they do not, it must know where the file came from.
bool isHonestName(const std::string &name, bool journalsAttacked) {
    static const std::regex honest("(name|pool|back|vault|bait|moved)-[a-z0-9-]+(\\.(kept-)?[0-9a-f]{8})*|journal");
    static const std::regex recovered("recovered(\\.kept-[0-9a-f]{8})?");
    return std::regex_match(name, honest) || (journalsAttacked && std::regex_match(name, recovered));
}

/// What the trash says about a file in it leads back to the root. Attackers in the trash can part the two.
void checkInfo(const Arena &arena, const char *name, const std::string &path) {
    static const std::regex valid(
        "\\[Trash Info\\]\nPath=/tmp/arena/stage/root/[-a-z0-9./]+\nDeletionDate=[-:T0-9]{19}\n");
    const std::string info = readWhole(arena.trashInfo.get(), (name + std::string(platform::infoSuffix)).c_str());
    if (!arena.shared->attackTrash && !std::regex_match(info, valid))
        arena.shared->violate("in the trash without a way back: %s", path.c_str());
}

/// An info file, or what a killed mover has written of one; attackers may have put it under another name.
bool isInfo(const Record &record, int folder, const std::string &name) {
    return record.stx_size == 0 ? name.ends_with(platform::infoSuffix)
                                : readWhole(folder, name.c_str()).starts_with("[Trash Info]");
}

/// The journal of a private folder: by its mode, or, if a recovery was killed after it had opened it, by its size,
/// which no file of the arena has. Its process may have been killed while an attacker had exchanged it.
bool isJournal(const Record &record) {
    return (record.stx_mode & 07777) == S_IWUSR || record.stx_size == 4096;
}

void Accounts::lookAtFile(int folder, const char *name, const Record &record, const Record &folderRecord,
                          const std::string &path) {
    const std::optional<std::uint32_t> serial = serialIn(record);
    if (!serial || *serial >= shared.files)
        return shared.violate("something of nobody's is left, %llu bytes, \"%.8s\": %s",
                              static_cast<unsigned long long>(record.stx_size), readWhole(folder, name).c_str(),
                              path.c_str());
    FileState &state = shared.states[*serial];
    std::string content = contentOf(*serial, arena.seed);
    for (std::uint32_t line = 0; line < state.rewrites; ++line)
        content += rewrittenLine;
    if (readWhole(folder, name) != content)
        shared.violate("other content than its own: %s", path.c_str());
    if (!isHonestName(name, shared.attackJournal))
        shared.violate("neither under its name nor beside it: %s, made as %s", path.c_str(), state.name);
    const bool untouched = state.rewrites == 0 && !shared.is(*serial, redatedFlag);
    const std::int64_t written = record.stx_mtime.tv_sec;
    const bool fresh = state.kind == Kind::Fresh;
    if (untouched && (fresh ? written <= oldTime() : written != oldTime()))
        shared.violate("another date than its own: %s", path.c_str());
    if ((record.stx_mode & 07777) != (state.kind == Kind::ReadOnly ? 0400 : 0600))
        shared.violate("another mode than its own: %s", path.c_str());
    Found &entry = found[*serial];
    ++entry.names;
    entry.inode = record.stx_ino;
    entry.folder = folderRecord.stx_ino;
    entry.name = name;
}

void Accounts::walk(int folder, const std::string &path) {
    Record folderRecord;
    require(platform::readRecord(folder, "", folderRecord), path);
    DIR *listing = fdopendir(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    require(listing != nullptr, path);
    while (const dirent *entry = readdir(listing)) {
        const std::string name = entry->d_name;
        Record record;
        if (name == "." || name == ".." || !platform::readRecord(folder, name.c_str(), record))
            continue;
        const std::string itsPath = path + '/' + name;
        if (S_ISREG(record.stx_mode) && (isJournal(record) || isInfo(record, folder, name))) {
            continue;
        } else if (S_ISREG(record.stx_mode)) {
            if (path.ends_with("/Trash/files"))
                checkInfo(arena, name.c_str(), itsPath);
            lookAtFile(folder, name.c_str(), record, folderRecord, itsPath);
        } else if (S_ISDIR(record.stx_mode)) {
            if (name.starts_with(".dustmere-"))
                shared.violate("a private folder is left: %s", itsPath.c_str());
            fchmodat(folder, name.c_str(), S_IRWXU, 0);
            walk(makeFolder(folder, name.c_str()).get(), itsPath);
        } else if (name.starts_with(".dustmere-")) {
            shared.violate("the memory of a private folder is left: %s", itsPath.c_str());
        }
    }
    closedir(listing);
}

void Accounts::close(std::uint32_t serial) {
    const FileState &state = shared.states[serial];
    const Found &entry = found[serial];
    const bool deleted = shared.is(serial, deletedFlag);
    const bool precious = state.kind != Kind::Deletable;
    const char *what = precious ? "precious" : shared.is(serial, sealedFlag) ? "changed" : "old";
    if (deleted && (precious || shared.is(serial, sealedFlag)))
        shared.violate("a %s file was deleted: %u", what, serial);
    if (deleted && entry.names > 0)
        shared.violate("a file is there that was told to be deleted: %u, as %s", serial, entry.name.c_str());
    const bool mayBeGone = deleted || (!precious && shared.is(serial, excusedFlag) && !shared.is(serial, sealedFlag));
    if (entry.names == 0 && !mayBeGone)
        shared.violate("a %s file is lost: %u, made as %s", what, serial, state.name);
    if (entry.names == 0)
        return;
    if (entry.names != (state.kind == Kind::Linked ? 2 : 1))
        shared.violate("a %s file has %u names: %u, %s", what, entry.names, serial, entry.name.c_str());
    if (entry.inode != state.inode)
        shared.violate("a %s file is another one: %u, %s", what, serial, entry.name.c_str());
    if (state.kind == Kind::Tree && (entry.folder != state.folder || entry.name != state.name))
        shared.violate("a file of a precious folder was moved: %s is %s", state.name, entry.name.c_str());
}

} // namespace

const std::array<const char *, operationCount> operationNames = {"root_became_link",
                                                                 "parent_became_link",
                                                                 "subfolder_became_link",
                                                                 "root_exchanged",
                                                                 "parent_exchanged",
                                                                 "subfolder_exchanged",
                                                                 "subfolder_moved_out",
                                                                 "file_moved_out",
                                                                 "precious_exchanged",
                                                                 "new_name_exchanged",
                                                                 "private_folder_exchanged",
                                                                 "folder_listed",
                                                                 "precious_on_vanished",
                                                                 "old_file_on_vanished",
                                                                 "fresh_file_on_vanished",
                                                                 "hard_link_by_name",
                                                                 "hard_link_by_handle",
                                                                 "rewritten",
                                                                 "redated",
                                                                 "held_open",
                                                                 "held_mapped",
                                                                 "lease_broken"};

std::string slotName(unsigned slot) {
    char name[16];
    std::snprintf(name, sizeof name, "name-%03u", slot);
    return name;
}

std::string poolName(std::uint32_t serial) {
    return "pool-" + std::to_string(serial);
}

std::string decoyName(unsigned number) {
    return "decoy-" + std::to_string(number);
}

void Shared::violate(const char *format, ...) {
    const std::uint32_t number = violationCount++;
    if (number >= std::size(violations))
        return;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(violations[number], sizeof violations[number], format, arguments);
    va_end(arguments);
}

void Shared::seal(std::uint32_t serial) {
    if ((states[serial].flags.fetch_or(sealedFlag) & sealedFlag) == 0)
        ++sealed;
}

std::optional<std::uint32_t> Shared::serialOf(std::uint64_t fileIndex) const {
    for (std::uint32_t at = static_cast<std::uint32_t>(fileIndex) & indexMask;; at = (at + 1) & indexMask) {
        const std::uint64_t index = indexes[at].index;
        if (index == fileIndex)
            return indexes[at].serial;
        if (index == 0)
            return std::nullopt;
    }
}

Shared *newShared(std::uint32_t room) {
    const auto map = [](std::size_t size) {
        void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        require(memory != MAP_FAILED, "shared memory");
        return memory;
    };
    auto *shared = static_cast<Shared *>(map(sizeof(Shared)));
    shared->room = room;
    shared->states = static_cast<FileState *>(map(room * sizeof(FileState)));
    const std::uint32_t slots = std::bit_ceil(room * 2);
    shared->indexes = static_cast<Shared::IndexSlot *>(map(slots * sizeof(Shared::IndexSlot)));
    shared->indexMask = slots - 1;
    return shared;
}

void freeShared(Shared *shared) {
    munmap(shared->states, shared->room * sizeof(FileState));
    munmap(shared->indexes, (shared->indexMask + 1UL) * sizeof(Shared::IndexSlot));
    munmap(shared, sizeof(Shared));
}

std::string contentOf(std::uint32_t serial, std::uint64_t seed) {
    char text[contentSize + 1];
    std::uint64_t mixed = (seed + 1) * 0x9e3779b97f4a7c15U + serial * 0xbf58476d1ce4e5b9U;
    mixed ^= mixed >> 31;
    std::snprintf(text, sizeof text, "%08u %016llx", serial, static_cast<unsigned long long>(mixed));
    std::string content = text;
    while (content.size() + 1 < contentSize)
        content += static_cast<char>('a' + (mixed = mixed * 6364136223846793005U + 1442695040888963407U) % 26);
    return content + '\n';
}

Fd makeFolder(int parent, const char *name) {
    require(mkdirat(parent, name, S_IRWXU) == 0 || errno == EEXIST, name);
    Fd folder(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    require(static_cast<bool>(folder), name);
    return folder;
}

std::optional<std::uint32_t> makeFile(Shared &shared, std::uint64_t seed, int folder, const char *name, Kind kind) {
    const std::uint32_t serial = shared.files++;
    if (serial >= shared.room) {
        --shared.files;
        return std::nullopt;
    }
    const Fd file(openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    const std::string content = contentOf(serial, seed);
    const timespec times[2] = {{firstSerialTime + serial, 0},
                               {kind == Kind::Fresh ? std::time(nullptr) : oldTime(), 0}};
    Record record;
    Record folderRecord;
    require(file && write(file.get(), content.data(), content.size()) == static_cast<ssize_t>(content.size()) &&
                futimens(file.get(), times) == 0 && fchmod(file.get(), kind == Kind::ReadOnly ? 0400 : 0600) == 0 &&
                platform::readRecord(file.get(), "", record) && platform::readRecord(folder, "", folderRecord),
            name);
    FileState &state = shared.states[serial];
    state.kind = kind;
    state.inode = record.stx_ino;
    state.folder = folderRecord.stx_ino;
    std::snprintf(state.name, sizeof state.name, "%s", name);
    const std::uint64_t index = platform::fileIndexOf(file.get(), record);
    for (std::uint32_t at = static_cast<std::uint32_t>(index) & shared.indexMask;; at = (at + 1) & shared.indexMask) {
        std::uint64_t there = 0;
        if (shared.indexes[at].index.compare_exchange_strong(there, index) || there == index) {
            // An inode that is free is given out again, even within the tick of its birth time.
            shared.indexes[at].serial = serial;
            break;
        }
    }
    return serial;
}

std::optional<std::uint32_t> serialIn(const Record &record) {
    const std::int64_t serial = record.stx_atime.tv_sec - firstSerialTime;
    if (!S_ISREG(record.stx_mode) || serial < 0 || serial > UINT32_MAX)
        return std::nullopt;
    return static_cast<std::uint32_t>(serial);
}

std::optional<std::uint32_t> serialAt(const Shared &shared, int folder, const char *name) {
    Record record;
    if (!platform::readRecord(folder, name, record))
        return std::nullopt;
    const std::optional<std::uint32_t> serial = serialIn(record);
    return serial && *serial < shared.files ? serial : std::nullopt;
}

std::optional<std::uint32_t> serialAt(const Shared &shared, int file) {
    return serialAt(shared, file, "");
}

bool exchangeNames(int folder, const char *name, int otherFolder, const char *otherName) {
    return renameat2(folder, name, otherFolder, otherName, RENAME_EXCHANGE) == 0;
}

bool moveName(int folder, const char *name, int toFolder, const char *toName) {
    return renameat2(folder, name, toFolder, toName, RENAME_NOREPLACE) == 0;
}

Arena makeArena(Shared &shared, std::uint64_t seed, bool dataElsewhere) {
    Arena arena;
    arena.shared = &shared;
    arena.seed = seed;
    oldTime();
    arena.top = makeFolder(AT_FDCWD, arenaPath);
    const int top = arena.top.get();
    arena.stage = makeFolder(top, "stage");
    arena.precious = makeFolder(top, "precious");
    arena.links = makeFolder(top, "links");
    const auto addLink = [&](const char *name, const std::string &target) {
        require(symlinkat((arenaPath + target).c_str(), arena.links.get(), name) == 0, name);
    };
    addLink("stage", "/precious");
    std::array<std::string, workFolders> twinPaths;
    for (unsigned folder = 0; folder < workFolders; ++folder) {
        twinPaths[folder] =
            (folder == 0 ? "/precious" : twinPaths[workFolderParents[folder]]) + '/' + workFolderNames[folder];
        arena.work[folder] = makeFolder(arena.parentOf(folder), workFolderNames[folder]);
        makeTwin(arena, folder);
        addLink(workFolderNames[folder], twinPaths[folder]);
    }
    arena.outside = makeFolder(top, "outside");
    arena.vault = makeFolder(top, "vault");
    arena.near = makeTreasure(shared, seed, top);
    Fd other;
    if (dataElsewhere) {
        other = makeFolder(AT_FDCWD, otherVolumePath);
        arena.far = makeTreasure(shared, seed, other.get());
    }
    arena.dataHome = std::string(dataElsewhere ? otherVolumePath : arenaPath) + "/data";
    const Fd dataHome = makeFolder(dataElsewhere ? other.get() : top, "data");
    arena.data = makeFolder(dataHome.get(), "Dustmere");
    const Fd trash = makeFolder(dataHome.get(), "Trash");
    arena.trashFiles = makeFolder(trash.get(), "files");
    arena.trashInfo = makeFolder(trash.get(), "info");
    makeBaits(arena);
    return arena;
}

void account(const Arena &arena) {
    Accounts accounts{arena, *arena.shared, std::vector<Found>(arena.shared->files)};
    accounts.walk(arena.top.get(), arenaPath);
    if (arena.far.pool) {
        const Fd other = makeFolder(AT_FDCWD, otherVolumePath);
        accounts.walk(other.get(), otherVolumePath);
    }
    for (std::uint32_t serial = 0; serial < arena.shared->files; ++serial) {
        arena.shared->preciousChecked += arena.shared->states[serial].kind != Kind::Deletable;
        accounts.close(serial);
    }
}

} // namespace dm::torture
