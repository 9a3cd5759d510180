#include "platform/linux/private_folder.h"

#include "platform/linux/base_folders.h"
#include "platform/linux/errors.h"
#include "platform/linux/path_text.h"
#include "platform/linux/scan_paths.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <vector>

namespace dm::platform {

namespace {

/// How the record begins that is written before each rename into the folder; then follow the absolute path of the
/// folder that the object came from, and its name. What it names as taken need not be there any more.
struct RecordHead {
    char taken[32];
    std::uint32_t folderBytes;
    std::uint32_t nameBytes;
};

constexpr std::string_view namePrefix = ".dustmere-";
constexpr std::string_view memoryPrefix = "private-folder-";
constexpr std::size_t randomDigits = 32;
constexpr const char *journalName = "journal";
constexpr mode_t privateMode = S_IWUSR | S_IXUSR;
/// While a recovery lists the folder, and while it reads the journal. Nobody gives such a mode to what is his own,
/// which may have come under a private name by an exchange.
constexpr mode_t listedMode = S_ISVTX | S_IRWXU;
constexpr mode_t readableMode = S_ISVTX | S_IRUSR | S_IWUSR;
/// Nobody reads it while its process lives: it tells the name under which something is in the folder at the moment.
constexpr mode_t journalMode = S_IWUSR;
constexpr std::size_t journalBlock = 4096;

struct PrivateFolders {
    std::mutex mutex;
    std::vector<std::shared_ptr<PrivateFolder>> folders;
    bool madeDataFolder = false;
};

PrivateFolders &privateFolders() {
    static PrivateFolders folders;
    return folders;
}

std::string dataFolderPath() {
    return baseFolders().dataHome + "/Dustmere";
}

/// Opens an absolute path through no link; unlike a name under a folder it may cross mounts.
Fd openWay(std::string_view path, int lastFlags) {
    Fd folder(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    while (folder && !path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string name(path.substr(0, slash));
        path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
        if (name.empty())
            continue;
        const int flags = path.empty() ? lastFlags : O_PATH;
        folder = Fd(openat(folder.get(), name.c_str(), flags | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    return folder;
}

/// The temp folders, which are looked through at each start: what lies there need not be remembered elsewhere.
constexpr std::array<const char *, 2> knownPlaces = {userTempPath, systemTempPath};

bool isRandomName(std::string_view name) {
    return name.size() == randomDigits && name.find_first_not_of("0123456789abcdef") == name.npos;
}

/// A folder of this user, with exactly the private mode.
bool isOursAlone(const Record &record) {
    return S_ISDIR(record.stx_mode) && record.stx_uid == geteuid() && (record.stx_mode & 07777) == privateMode;
}

/// Whether the kernel sees every way in which a file can be in use here: it must grant a lease on a file that nobody
/// else has open, and refuse it while the file is only mapped. Nothing, with errno set, where that cannot be tried: a
/// full disk says nothing about leases.
std::optional<bool> probeLeases(int folder) {
    const mode_t mode = S_IRUSR | S_IWUSR;
    Fd file(openat(folder, ".", O_RDWR | O_TMPFILE | O_CLOEXEC, mode));
    // Not every file system makes files without a name. A name is left behind if the process is killed just then.
    if (!file && (errno == EOPNOTSUPP || errno == EISDIR)) {
        const std::string name = randomName();
        file = Fd(openat(folder, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
        if (file)
            unlinkat(folder, name.c_str(), 0);
    }
    Fd other = file ? Fd(open(("/proc/self/fd/" + std::to_string(file.get())).c_str(), O_RDONLY | O_CLOEXEC)) : Fd();
    if (!other)
        return std::nullopt;
    void *mapped = mmap(nullptr, 1, PROT_READ, MAP_PRIVATE, other.get(), 0);
    other.reset();
    fcntl(file.get(), F_SETSIG, SIGURG);
    const bool refusedWhileMapped =
        mapped != MAP_FAILED && fcntl(file.get(), F_SETLEASE, F_WRLCK) != 0 && errno == EAGAIN;
    if (mapped != MAP_FAILED)
        munmap(mapped, 1);
    return refusedWhileMapped && fcntl(file.get(), F_SETLEASE, F_WRLCK) == 0;
}

/// Sets so much of the disk aside that a record of that size can be written when the disk is full.
bool reserveJournal(PrivateFolder &folder, std::size_t size) {
    if (size <= folder.journalSize)
        return true;
    const std::size_t rounded = (size + journalBlock - 1) / journalBlock * journalBlock;
    const int failure = posix_fallocate(folder.journal.get(), 0, static_cast<off_t>(rounded));
    if (failure == 0)
        folder.journalSize = rounded;
    errno = failure;
    return failure == 0;
}

/// A file system that writes everything to a new place needs room even for what it has room for; this one may not.
void writeInPlace(int file) {
    int flags = 0;
    if (ioctl(file, FS_IOC_GETFLAGS, &flags) != 0)
        return;
    flags |= FS_NOCOW_FL;
    ioctl(file, FS_IOC_SETFLAGS, &flags);
}

/// The sign that a private folder is in use: a socket without a place on the disk, named after the folder's identity.
/// Unlike the journal, whose name is known, nobody can put anything else in its place. Empty with errno set;
/// EWOULDBLOCK where another process has it.
Fd claim(int privateFolder) {
    Record record;
    Fd socketOfFolder(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socketOfFolder || !readRecord(privateFolder, "", record))
        return Fd();
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    // The zero before the name keeps it off the disk.
    const int length = std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "dustmere-private-%016llx",
                                     static_cast<unsigned long long>(fileIndexOf(privateFolder, record)));
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
    if (bind(socketOfFolder.get(), reinterpret_cast<const sockaddr *>(&address), size) == 0)
        return socketOfFolder;
    if (errno == EADDRINUSE)
        errno = EWOULDBLOCK;
    return Fd();
}

/// Removes the journal that is open. Somebody may know its name and exchange it; so it first gets a random one in a
/// folder that nobody can list, which may be the one that it is in, and what is not it goes back.
void removeJournal(int privateFolder, const char *name, int journal, int unlisted) {
    const std::string random = randomName();
    if (renameat2(privateFolder, name, unlisted, random.c_str(), RENAME_NOREPLACE) != 0)
        return;
    Record open;
    Record taken;
    if (readRecord(journal, "", open) && readRecord(unlisted, random.c_str(), taken) && idOf(open) == idOf(taken) &&
        taken.stx_nlink == 1)
        unlinkat(unlisted, random.c_str(), 0);
    else
        renameat2(unlisted, random.c_str(), privateFolder, name, RENAME_NOREPLACE);
}

/// Makes a private folder under `base`, or nothing and errno. A starting process that finds it without a locked
/// journal takes it for abandoned and removes it; the caller then tries again.
std::shared_ptr<PrivateFolder> makeUnder(int base, const std::string &basePath, const std::string &name) {
    auto folder = std::make_shared<PrivateFolder>();
    if (mkdirat(base, name.c_str(), privateMode) != 0)
        return nullptr;
    folder->path = joinPath(basePath, name);
    const auto undo = [&] {
        const int failure = errno;
        if (folder->journal)
            removeJournal(folder->descriptor.get(), journalName, folder->journal.get(), folder->descriptor.get());
        unlinkat(base, name.c_str(), AT_REMOVEDIR);
        errno = failure;
        return nullptr;
    };
    Record record;
    folder->descriptor = openName(base, name.c_str());
    if (!folder->descriptor || !readRecord(folder->descriptor.get(), "", record))
        return undo();
    if (!isOursAlone(record)) {
        errno = EACCES;
        return undo();
    }
    folder->claim = claim(folder->descriptor.get());
    if (!folder->claim)
        return undo();
    folder->mountId = record.stx_mnt_id;
    folder->device = idOf(record).device;
    folder->journal = Fd(
        openat(folder->descriptor.get(), journalName, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, journalMode));
    if (!folder->journal || flock(folder->journal.get(), LOCK_EX | LOCK_NB) != 0)
        return undo();
    writeInPlace(folder->journal.get());
    if (!reserveJournal(*folder, journalBlock))
        return undo();
    const std::optional<bool> leasesTell = probeLeases(folder->descriptor.get());
    if (!leasesTell)
        return undo();
    folder->leasesTell = *leasesTell;
    return folder;
}

/// The data folder; made if it is missing. Empty with errno set.
Fd openDataFolder() {
    const std::string path = dataFolderPath();
    Fd folder = openWay(path, O_RDONLY);
    if (folder || errno != ENOENT || !makeBaseFolder(baseFolders().dataHome))
        return folder;
    privateFolders().madeDataFolder = mkdir(path.c_str(), S_IRWXU) == 0;
    return openWay(path, O_RDONLY);
}

/// A folder that is looked through at each start.
struct Memory {
    Fd folder;
    std::string path;
};

/// The way to a private folder elsewhere is remembered as a chain of empty folders that are named like those on that
/// way. Such a memory can be removed where everybody sees it: what removes an empty folder never removes a file.
bool remember(const Memory &memory, const std::string &name, const std::string &basePath) {
    if (mkdirat(memory.folder.get(), name.c_str(), S_IRWXU) != 0)
        return false;
    std::string way = joinPath(memory.path, name);
    for (std::size_t start = 1; start < basePath.size();) {
        const std::size_t end = std::min(basePath.find('/', start), basePath.size());
        const std::string level = basePath.substr(start, end - start);
        const Fd folder = openWay(way, O_PATH);
        if (!folder || mkdirat(folder.get(), level.c_str(), S_IRWXU) != 0)
            return false;
        way = joinPath(way, level);
        start = end + 1;
    }
    return true;
}

void forget(const std::string &memoryPath, const std::string &basePath) {
    std::string way = basePath.size() > 1 ? memoryPath + basePath : memoryPath;
    for (; way.size() >= memoryPath.size(); way = parentPath(way)) {
        const Fd folder = openWay(parentPath(way), O_PATH);
        if (folder)
            unlinkat(folder.get(), std::string(lastComponent(way)).c_str(), AT_REMOVEDIR);
    }
}

/// The way that a memory stands for; empty for a folder that is none.
std::string recall(const std::string &memoryPath) {
    std::string way = memoryPath;
    for (;;) {
        DIR *listing = fdopendir(openWay(way, O_RDONLY).release());
        if (listing == nullptr)
            return std::string();
        std::vector<std::string> names;
        while (const dirent *entry = readdir(listing)) {
            if (const std::string_view name = entry->d_name; name != "." && name != "..")
                names.emplace_back(name);
        }
        closedir(listing);
        if (names.empty())
            return way.size() == memoryPath.size() ? "/" : way.substr(memoryPath.size());
        if (names.size() > 1)
            return std::string();
        way = joinPath(way, names.front());
    }
}

/// True also where that cannot be told.
bool exists(int folder, const std::string &name) {
    Record record;
    return readRecord(folder, name.c_str(), record) || errno != ENOENT;
}

/// A private folder that is remembered before it is made: what a killed process leaves must be found again, or nothing
/// may be put there.
std::shared_ptr<PrivateFolder> makeRemembered(Folder &base, const Memory &memory) {
    const std::string name = newPrivateName();
    const std::string memoryName = std::string(memoryPrefix) + name.substr(namePrefix.size());
    const std::string memoryPath = joinPath(memory.path, memoryName);
    std::shared_ptr<PrivateFolder> made;
    if (remember(memory, memoryName, base.linuxPath))
        made = makeUnder(base.descriptor(), base.linuxPath, name);
    if (made) {
        made->memory = memoryPath;
        return made;
    }
    const int failure = errno;
    // If somebody was in the way of removing it again, it must be found.
    if (!exists(base.descriptor(), name))
        forget(memoryPath, base.linuxPath);
    errno = failure;
    return nullptr;
}

/// The private folder of a mount that the data folder is not on lies in the topmost folder on the way in which this
/// user can make one.
std::shared_ptr<PrivateFolder> makeOnMountOf(const FolderRef &folder, const Memory &memory) {
    std::vector<Folder *> way;
    for (FolderRef level = folder; level && !level->isNameless(); level = level->parent)
        way.push_back(level.get());
    std::shared_ptr<PrivateFolder> made;
    errno = EACCES;
    for (auto level = way.rbegin(); level != way.rend() && !made; ++level) {
        if (!isWritable(**level))
            continue;
        const bool known = std::find(knownPlaces.begin(), knownPlaces.end(), (*level)->linuxPath) != knownPlaces.end();
        made = known ? makeUnder((*level)->descriptor(), (*level)->linuxPath, newPrivateName())
                     : makeRemembered(**level, memory);
    }
    return made;
}

std::shared_ptr<PrivateFolder> makeFor(const FolderRef &folder) {
    Memory memory{openDataFolder(), dataFolderPath()};
    Record record;
    if (memory.folder && readRecord(memory.folder.get(), "", record) &&
        record.stx_mnt_id == folder->record.stx_mnt_id && idOf(record).device == folder->id().device)
        return makeUnder(memory.folder.get(), memory.path, newPrivateName());
    // Who has no data folder, an account without a home, still has the temp folder.
    if (!memory.folder)
        memory = {openWay(userTempPath, O_PATH), userTempPath};
    return makeOnMountOf(folder, memory);
}

/// Moves a taken object to a folder, under its name or else, where that is taken, under a kept name.
PutBack moveBack(int privateFolder, const std::string &taken, int to, const std::string &name, bool underItsName) {
    if (underItsName && renameat2(privateFolder, taken.c_str(), to, name.c_str(), RENAME_NOREPLACE) == 0)
        return PutBack::UnderItsName;
    if (underItsName && errno != EEXIST)
        return PutBack::Failed;
    const bool moved = renameat2(privateFolder, taken.c_str(), to, keptName(name).c_str(), RENAME_NOREPLACE) == 0;
    return moved ? PutBack::Beside : PutBack::Failed;
}

/// The same into the folder of an absolute path, or the nearest one above it that takes the object.
bool moveBackTo(int privateFolder, const std::string &taken, std::string folder, const std::string &name) {
    for (bool underItsName = true;; underItsName = false) {
        const Fd to = openWay(folder, O_PATH);
        if (to && moveBack(privateFolder, taken, to.get(), name, underItsName) != PutBack::Failed)
            return true;
        if (folder.size() <= 1)
            return false;
        folder.resize(std::max<std::size_t>(folder.rfind('/'), 1));
    }
}

/// What a journal says: the taken name, and the folder and name that it came from.
struct JournalRecord {
    std::string taken;
    std::string folder;
    std::string name;
};

/// Opens and locks a journal that no living process has. Empty with errno set; EWOULDBLOCK where it is locked.
Fd openJournal(int privateFolder, const char *name) {
    const Fd path(openat(privateFolder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    Record record;
    if (!path || !readRecord(path.get(), "", record))
        return Fd();
    const mode_t mode = record.stx_mode & 07777;
    errno = EACCES;
    // Whoever knows its name can have put something else in its place, but hardly with its mode.
    if (!S_ISREG(record.stx_mode) || record.stx_uid != geteuid() || (mode != journalMode && mode != readableMode))
        return Fd();
    Fd journal(open(("/proc/self/fd/" + std::to_string(path.get())).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (journal && flock(journal.get(), LOCK_EX | LOCK_NB) != 0)
        return Fd();
    return journal;
}

std::string bytesOf(int journal) {
    fchmod(journal, readableMode);
    const Fd readable(open(("/proc/self/fd/" + std::to_string(journal)).c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC));
    std::string bytes;
    std::array<char, journalBlock> block;
    for (ssize_t count; (count = read(readable.get(), block.data(), block.size())) > 0;)
        bytes.append(block.data(), static_cast<std::size_t>(count));
    return bytes;
}

std::optional<JournalRecord> parseJournal(const std::string &bytes) {
    RecordHead head;
    if (bytes.size() < sizeof head)
        return std::nullopt;
    std::memcpy(&head, bytes.data(), sizeof head);
    const std::size_t textBytes = bytes.size() - sizeof head;
    if (head.folderBytes > textBytes || head.nameBytes > textBytes - head.folderBytes || head.nameBytes == 0)
        return std::nullopt;
    JournalRecord record{std::string(head.taken, sizeof head.taken), bytes.substr(sizeof head, head.folderBytes),
                         bytes.substr(sizeof head + head.folderBytes, head.nameBytes)};
    const bool valid = record.folder.starts_with('/') && record.name.find('/') == std::string::npos &&
                       record.name != "." && record.name != ".." && isRandomName(record.taken);
    return valid ? std::optional(std::move(record)) : std::nullopt;
}

/// Brings back what a journal that is open tells of. False if that is there and goes nowhere.
bool bringBack(int privateFolder, int journal) {
    const std::optional<JournalRecord> last = parseJournal(bytesOf(journal));
    return !last || !exists(privateFolder, last->taken) ||
           moveBackTo(privateFolder, last->taken, last->folder, last->name);
}

/// A claimed folder that lives no longer than this object, for a journal whose own folder can be listed.
class UnlistedFolder {
public:
    explicit UnlistedFolder(int base) : base_(base), name_(newPrivateName()) {
        if (mkdirat(base_, name_.c_str(), privateMode) != 0)
            return;
        Record record;
        descriptor_ = openName(base_, name_.c_str());
        claim_ = descriptor_ ? claim(descriptor_.get()) : Fd();
        if (!claim_ || !readRecord(descriptor_.get(), "", record) || !isOursAlone(record))
            descriptor_.reset();
    }
    UnlistedFolder(const UnlistedFolder &) = delete;
    UnlistedFolder &operator=(const UnlistedFolder &) = delete;
    ~UnlistedFolder() { unlinkat(base_, name_.c_str(), AT_REMOVEDIR); }

    int get() const { return descriptor_.get(); }

private:
    int base_;
    std::string name_;
    Fd descriptor_;
    Fd claim_;
};

/// A journal that another recovery was about to remove.
bool removeStrayJournal(int base, int privateFolder, const char *name) {
    const Fd journal = openJournal(privateFolder, name);
    if (!journal)
        return false;
    const std::string bytes = bytesOf(journal.get());
    const bool unused = bytes.find_first_not_of('\0') == std::string::npos;
    if (bytes.size() % journalBlock != 0 || (!unused && !parseJournal(bytes)))
        return false;
    removeJournal(privateFolder, name, journal.get(), UnlistedFolder(base).get());
    return !exists(privateFolder, name);
}

/// Whatever no journal explains is set beside the private folder, where it can be found. Everybody sees into the folder
/// from here on, so nothing in it may be removed by its name any more. The journal may be among what is there: under
/// the name that a recovery gave it, or given back by who had exchanged it.
void setFree(int base, int privateFolder, const std::string &basePath) {
    fchmodat(privateFolder, ".", listedMode, 0);
    DIR *listing = fdopendir(openat(privateFolder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (listing == nullptr)
        return;
    std::vector<std::string> names;
    while (const dirent *entry = readdir(listing)) {
        if (const std::string_view name = entry->d_name; name != "." && name != "..")
            names.emplace_back(name);
    }
    closedir(listing);
    for (const std::string &name : names) {
        if (const Fd journal = openJournal(privateFolder, name.c_str()))
            bringBack(privateFolder, journal.get());
    }
    for (const std::string &name : names) {
        if (exists(privateFolder, name) && !removeStrayJournal(base, privateFolder, name.c_str()))
            moveBackTo(privateFolder, name, basePath, "recovered");
    }
}

/// Empties and removes one abandoned private folder. One that is claimed, or whose journal is locked or cannot be
/// asked, may belong to a process that lives. False if it must stay, or is not there: its volume may be away.
bool recover(const std::string &basePath, const std::string &name) {
    const Fd base = openWay(basePath, O_PATH);
    const Fd folder = base ? openName(base.get(), name.c_str()) : Fd();
    Record folderRecord;
    if (!folder || !readRecord(folder.get(), "", folderRecord) || !isPrivateFolder(name, folderRecord) ||
        folderRecord.stx_uid != geteuid())
        return false;
    const Fd ours = claim(folder.get());
    if (!ours)
        return false;
    Fd journal = openJournal(folder.get(), journalName);
    if (!journal && errno != ENOENT && errno != EACCES)
        return false;
    if (journal) {
        if (!bringBack(folder.get(), journal.get()))
            return false;
        if (isOursAlone(folderRecord))
            removeJournal(folder.get(), journalName, journal.get(), folder.get());
        journal.reset();
    }
    if (unlinkat(base.get(), name.c_str(), AT_REMOVEDIR) == 0)
        return true;
    setFree(base.get(), folder.get(), basePath);
    return unlinkat(base.get(), name.c_str(), AT_REMOVEDIR) == 0;
}

/// Recovers what a folder knows of: private folders in it, and the memories of others.
void recoverIn(const std::string &basePath) {
    DIR *listing = fdopendir(openWay(basePath, O_RDONLY).release());
    if (listing == nullptr)
        return;
    std::vector<std::string> names;
    while (const dirent *entry = readdir(listing))
        names.emplace_back(entry->d_name);
    const int base = dirfd(listing);
    for (const std::string &name : names) {
        const bool isMemory = name.starts_with(memoryPrefix) && isRandomName(name.substr(memoryPrefix.size()));
        Record record;
        if ((!isMemory && !isPrivateName(name)) || !readRecord(base, name.c_str(), record) ||
            record.stx_uid != geteuid())
            continue;
        if (!isMemory) {
            recover(basePath, name);
            continue;
        }
        const std::string memoryPath = joinPath(basePath, name);
        const std::string elsewhere = recall(memoryPath);
        const std::string itsName = std::string(namePrefix) + name.substr(memoryPrefix.size());
        if (!elsewhere.empty() && recover(elsewhere, itsName))
            forget(memoryPath, elsewhere);
    }
    closedir(listing);
}

} // namespace

std::string randomName() {
    constexpr const char *digits = "0123456789abcdef";
    std::array<unsigned char, randomDigits / 2> bytes;
    if (getentropy(bytes.data(), bytes.size()) != 0)
        std::abort(); // A name that could be guessed would be worse than an end.
    std::string name;
    for (const unsigned char byte : bytes) {
        name += digits[byte >> 4];
        name += digits[byte & 15];
    }
    return name;
}

std::string newPrivateName() {
    return std::string(namePrefix) + randomName();
}

bool isPrivateName(std::string_view name) {
    return name.starts_with(namePrefix) && isRandomName(name.substr(namePrefix.size()));
}

std::string keptName(const std::string &name) {
    const std::string end = ".kept-" + randomName().substr(0, 8);
    return name.substr(0, NAME_MAX - end.size()) + end;
}

std::shared_ptr<PrivateFolder> privateFolderFor(const FolderRef &folder) {
    PrivateFolders &all = privateFolders();
    const std::lock_guard lock(all.mutex);
    std::erase_if(all.folders, [](const std::shared_ptr<PrivateFolder> &known) { return known->retired; });
    for (const std::shared_ptr<PrivateFolder> &known : all.folders) {
        if (known->mountId == folder->record.stx_mnt_id && known->device == folder->id().device)
            return known;
    }
    std::shared_ptr<PrivateFolder> made = makeFor(folder);
    // A starting process may have taken it for abandoned, at either of its looks.
    for (int attempt = 0; !made && (errno == ENOENT || errno == EWOULDBLOCK) && attempt < 3; ++attempt)
        made = makeFor(folder);
    if (made)
        all.folders.push_back(made);
    else
        failErrno();
    return made;
}

void retire(PrivateFolder &folder) {
    const std::lock_guard lock(privateFolders().mutex);
    folder.retired = true;
}

DWORD takeName(PrivateFolder &folder, const FolderRef &from, const std::string &name, const std::string &taken) {
    RecordHead head;
    taken.copy(head.taken, sizeof head.taken);
    head.folderBytes = static_cast<std::uint32_t>(from->linuxPath.size());
    head.nameBytes = static_cast<std::uint32_t>(name.size());
    std::string &record = folder.record;
    record.assign(reinterpret_cast<const char *>(&head), sizeof head);
    record.append(from->linuxPath).append(name);
    // Not through a mapping: where the disk has no room for a page of one, its write kills the process.
    if (!reserveJournal(folder, record.size()))
        return errorOf(errno);
    const ssize_t written = pwrite(folder.journal.get(), record.data(), record.size(), 0);
    if (written != static_cast<ssize_t>(record.size()))
        return written < 0 ? errorOf(errno) : ERROR_DISK_FULL;
    if (renameat2(from->descriptor(), name.c_str(), folder.descriptor.get(), taken.c_str(), RENAME_NOREPLACE) == 0)
        return ERROR_SUCCESS;
    return errno == EINVAL ? ERROR_NOT_SUPPORTED : errorOf(errno);
}

PutBack putBack(PrivateFolder &folder, const std::string &taken, Folder &to, const std::string &name) {
    bool underItsName = true;
    for (Folder *level = &to; level != nullptr && !level->isNameless(); level = level->parent.get()) {
        const PutBack result = moveBack(folder.descriptor.get(), taken, level->descriptor(), name, underItsName);
        if (result != PutBack::Failed)
            return result;
        underItsName = false;
    }
    return PutBack::Failed;
}

bool isPrivateFolder(std::string_view name, const Record &record) {
    const mode_t mode = record.stx_mode & 07777;
    return name.starts_with(namePrefix) && S_ISDIR(record.stx_mode) && (mode == privateMode || mode == listedMode);
}

void recoverPrivateFolders() {
    recoverIn(dataFolderPath());
    for (const char *place : knownPlaces)
        recoverIn(place);
}

void removePrivateFolders() {
    PrivateFolders &all = privateFolders();
    const std::lock_guard lock(all.mutex);
    for (const std::shared_ptr<PrivateFolder> &folder : all.folders) {
        if (folder->retired)
            continue;
        removeJournal(folder->descriptor.get(), journalName, folder->journal.get(), folder->descriptor.get());
        const Fd base = openWay(folder->path.substr(0, folder->path.rfind('/') + 1), O_PATH);
        const std::string name = folder->path.substr(folder->path.rfind('/') + 1);
        Record record;
        if (base && readRecord(base.get(), name.c_str(), record) && isOursAlone(record))
            unlinkat(base.get(), name.c_str(), AT_REMOVEDIR);
        if (!folder->memory.empty() && base && !exists(base.get(), name))
            forget(folder->memory, parentPath(folder->path));
    }
    all.folders.clear();
    if (all.madeDataFolder)
        rmdir(dataFolderPath().c_str());
}

} // namespace dm::platform
