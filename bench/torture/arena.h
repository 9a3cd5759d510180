// The place of the torture: its folders, its files, and what all its processes share.
#pragma once

#include "platform/linux/fd.h"
#include "platform/linux/record.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace dm::torture {

using platform::Fd;

inline constexpr const char *arenaPath = "/tmp/arena";
inline constexpr const char *otherVolumePath = "/tmp/other";

/// What a file is to the cleaner.
enum class Kind : std::uint8_t {
    Deletable, ///< old and plain: it may go, unless it is sealed
    Pool,      ///< precious: attackers put it under names that are being deleted
    Tree,      ///< precious: attackers move only the folders above it
    Fresh,     ///< lies in the root, too young to be offered
    Linked,    ///< lies in the root under two names
    ReadOnly,  ///< lies in the root, protected
};

// Flags of a file.
inline constexpr std::uint8_t deletedFlag = 1; ///< the cleaner was told that it is deleted
inline constexpr std::uint8_t excusedFlag = 2; ///< the cleaner was killed while it was at this file
inline constexpr std::uint8_t sealedFlag = 4;  ///< was changed in time: may not be deleted any more
inline constexpr std::uint8_t redatedFlag = 8; ///< has another date than it was made with

struct FileState {
    std::atomic<std::uint8_t> flags;
    Kind kind;
    std::atomic<std::uint32_t> rewrites;
    std::atomic<std::uint64_t> deletedIn; ///< the attempt, by its sequence number
    std::uint64_t inode;
    std::uint64_t folder; ///< inode of the folder that it was made in
    char name[24];        ///< that it was made with
};

enum class Operation : unsigned {
    RootBecameLink,
    ParentBecameLink,
    SubfolderBecameLink,
    RootExchanged,
    ParentExchanged,
    SubfolderExchanged,
    SubfolderMovedOut,
    FileMovedOut,
    PreciousExchanged,
    NewNameExchanged,
    PrivateFolderExchanged,
    FolderListed,
    PreciousOnVanishedName,
    OldFileOnVanishedName,
    FreshFileOnVanishedName,
    HardLinkByName,
    HardLinkByHandle,
    Rewritten,
    Redated,
    HeldOpen,
    HeldMapped,
    LeaseBroken,
    Count
};
inline constexpr std::size_t operationCount = static_cast<std::size_t>(Operation::Count);
extern const std::array<const char *, operationCount> operationNames;

/// The root and the folders below it.
inline constexpr unsigned workFolders = 5;
inline constexpr std::array<const char *, workFolders> workFolderNames = {"root", "one", "two", "three", "deep"};
inline constexpr std::array<unsigned, workFolders> workFolderParents = {0, 0, 0, 0, 1};
/// Files in the root have these many names, spread over its folders.
inline constexpr unsigned nameCount = 160;
std::string slotName(unsigned slot);
constexpr unsigned folderOfSlot(unsigned slot) {
    return slot % workFolders;
}

/// The entry that the cleaner is at. Attackers are told, so that they hit often.
struct Current {
    std::atomic<std::uint64_t> sequence; ///< odd while an attempt goes on
    std::atomic<std::uint32_t> serial;
    std::atomic<std::uint32_t> folder;
    char name[128];
};

/// In memory that all processes share. Files are named by serial numbers.
struct Shared {
    std::atomic<bool> stopAttackers;
    std::atomic<bool> stopCleaner;
    bool killsCleaner;
    bool moves;                           ///< the cleaner moves to the Recycle Bin
    bool attackTrash;                     ///< attackers change the trash too
    bool attackJournal;                   ///< and exchange the journal of a private folder
    std::atomic<std::uint64_t> granted;   ///< attempts that the cleaner may make
    std::atomic<std::uint64_t> endOfLife; ///< after so many it ends itself
    Current current;
    std::array<std::atomic<std::uint64_t>, operationCount> operations;
    std::atomic<std::uint64_t> attempts, deleted, moved, skipped, errors, lockedSkipped, lockedErrors, retries, sealed;
    std::uint64_t starts, stops, stopsWithNameGone, kills, killsInDeletion, killsWithNameGone, preciousChecked;
    bool standsStill;
    bool isUnfit; ///< nothing is moved on a volume of this kind
    char volume[16];
    std::atomic<std::uint32_t> violationCount;
    char violations[64][200];
    std::atomic<std::uint32_t> files;
    std::uint32_t room; ///< files that fit
    std::uint64_t inodeOfTree;

    FileState *states;
    struct IndexSlot {
        std::atomic<std::uint64_t> index;
        std::atomic<std::uint32_t> serial;
    } * indexes; ///< open addressing; twice as many, and a power of two
    std::uint32_t indexMask;

    void count(Operation operation) { ++operations[static_cast<std::size_t>(operation)]; }
    [[gnu::format(printf, 2, 3)]] void violate(const char *format, ...);
    bool is(std::uint32_t serial, std::uint8_t flag) const { return (states[serial].flags & flag) != 0; }
    void seal(std::uint32_t serial);
    /// The file that is or was at that entry of a scan.
    std::optional<std::uint32_t> serialOf(std::uint64_t fileIndex) const;
};
Shared *newShared(std::uint32_t room);
void freeShared(Shared *shared);

/// Precious things on one volume, for attackers to put in the way.
struct Treasure {
    Fd pool; ///< Kind::Pool under their pool names
    std::vector<std::uint32_t> files;
    Fd decoys; ///< folders with Kind::Tree
};
inline constexpr unsigned poolShare = 16; ///< files of each attacker
inline constexpr unsigned poolShares = 3;
inline constexpr unsigned decoyCount = 4;
std::string poolName(std::uint32_t serial);
std::string decoyName(unsigned number);

/// Every folder is held from before the first attack: whatever its name leads to later, this is the folder.
struct Arena {
    Shared *shared;
    std::uint64_t seed;
    std::string dataHome;
    Fd top;   ///< the volume's own root
    Fd stage; ///< the parent of the root
    std::array<Fd, workFolders> work;
    Fd links;    ///< a link to the precious twin of each folder, by its name
    Fd precious; ///< the twin of the stage
    std::array<Fd, workFolders> twins;
    Fd outside;
    Fd vault; ///< sealed files, out of the way
    Fd data;  ///< the program's data folder
    Fd trashFiles;
    Fd trashInfo;
    Treasure near;
    Treasure far; ///< on the volume of the data folder, if that is another one

    int parentOf(unsigned folder) const { return folder == 0 ? stage.get() : work[workFolderParents[folder]].get(); }
    int twinParentOf(unsigned folder) const {
        return folder == 0 ? precious.get() : twins[workFolderParents[folder]].get();
    }
};
Arena makeArena(Shared &shared, std::uint64_t seed, bool dataElsewhere);

/// A folder made under another one, or found there.
Fd makeFolder(int parent, const char *name);

/// Makes a file of that kind; fails (nothing) where the name is taken or there is no room for more.
std::optional<std::uint32_t> makeFile(Shared &shared, std::uint64_t seed, int folder, const char *name, Kind kind);

/// The first content of a file; rewriters add lines to it.
std::string contentOf(std::uint32_t serial, std::uint64_t seed);
inline constexpr char rewrittenLine[] = "rewritten\n";

/// Files tell who they are by the time of their last access, so that nobody need open them.
std::optional<std::uint32_t> serialIn(const platform::Record &record);
std::optional<std::uint32_t> serialAt(const Shared &shared, int folder, const char *name);
std::optional<std::uint32_t> serialAt(const Shared &shared, int file);

bool exchangeNames(int folder, const char *name, int otherFolder, const char *otherName);
bool moveName(int folder, const char *name, int toFolder, const char *toName);

/// Looks at everything there is when all is over, and reports what must not be.
void account(const Arena &arena);

} // namespace dm::torture
