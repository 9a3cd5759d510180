// Both threads take their work from one agenda: the folders of the walk in the order in which it will come to them. A
// unit of work is the next few entries of one folder. The thread that lists does the unit that it needs itself unless
// the other is at it already; then it does what comes after, so that nobody waits while there is something to do.
#include "platform/linux/folder_listing.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <pthread.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace dm::platform {
namespace {

constexpr std::size_t bufferSize = 32 * 1024;
constexpr std::size_t longestEntry = 280; ///< of a name of 255 bytes
constexpr std::size_t chunkEntries = 16;

// What may be read ahead of the walk.
constexpr std::size_t mostEntriesAhead = 512;
constexpr std::size_t mostChunksAhead = 8; ///< of one folder
constexpr std::size_t mostFoldersAhead = 24;
/// Of the listings that are open at a time, one inside the other, the outer ones let their descriptors go.
constexpr std::size_t mostListingsReady = 16;
/// A walk that is through sooner has no need of a second thread.
constexpr unsigned chunksBeforeHelp = 16;

/// One entry as getdents64 writes it.
struct RawEntry {
    std::uint64_t inode;
    std::int64_t offset;
    unsigned short length;
    unsigned char type;
    char name[];
};

struct Source;
using SourceRef = std::shared_ptr<Source>;

struct Entry : ListedName {
    bool gone = false;
    SourceRef folder; ///< set for a folder that may be read ahead
};

/// A few entries. They belong to the thread that reads their records until that is done.
struct Chunk {
    std::vector<unsigned char> names;
    std::vector<Entry> entries;
    bool done = false;
};
using ChunkRef = std::shared_ptr<Chunk>;

/// The chunks that the walk has not come to: so few that they need no memory of their own, which could be wanting.
class ChunkQueue {
public:
    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    ChunkRef &front() { return chunks_[first_]; }
    void push(ChunkRef chunk) { chunks_[(first_ + count_++) % chunks_.size()] = std::move(chunk); }
    template <typename Visit>
    void forEach(Visit visit) {
        for (std::size_t index = 0; index < count_; ++index)
            visit(*chunks_[(first_ + index) % chunks_.size()]);
    }
    ChunkRef pop() {
        ChunkRef chunk = std::move(front());
        first_ = (first_ + 1) % chunks_.size();
        --count_;
        return chunk;
    }

private:
    std::array<ChunkRef, mostChunksAhead> chunks_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

/// A folder that is being read. What a thread that is busy with it reads and writes without the agenda's lock is
/// marked; all else is under the lock.
struct Source {
    SharedFd parent;                   ///< busy: where it is to be opened,
    std::string name;                  ///< busy: and under which name; empty once it is, or where that failed
    SharedFd opened;                   ///< until the walk comes to it
    SharedFd descriptor;               ///< the same for reading; empty also while it is not needed
    Record record = {};                ///< busy: of the folder, before its names were read
    std::vector<unsigned char> buffer; ///< busy
    std::size_t position = 0;          ///< busy
    std::int64_t offset = 0;           ///< busy: behind what was taken out of the buffer
    bool atEnd = false;                ///< busy: behind the buffer there is nothing,
    int error = 0;                     ///< busy: or nothing that can be read
    bool busy = false;                 ///< a thread is opening it or taking entries out of it
    bool failed = false;               ///< it could not be opened
    bool parked = false;               ///< the walk is far below it, and it gets no descriptor
    bool ahead = false;                ///< it counts as opened before it was asked for
    bool dropped = false;              ///< nobody wants it any more
    ChunkQueue chunks;
    std::optional<std::list<SourceRef>::iterator> place;

    bool isQueued() const { return !name.empty(); }
    bool bufferIsEmpty() const { return position >= buffer.size(); }
    bool hasMore() const { return !bufferIsEmpty() || !atEnd; }
    /// For one that is open: there is more to read, and the walk has not so much of it before it yet.
    bool mayBeRead(std::size_t chunksAhead) const { return descriptor && hasMore() && chunks.size() < chunksAhead; }
};

/// Both threads hold the lock for moments only: to be put to sleep and woken takes longer than to wait for it.
void lockSoon(std::unique_lock<std::mutex> &lock) {
    for (int attempt = 0; attempt < 100; ++attempt)
        if (lock.try_lock())
            return;
    lock.lock();
}

class Unlocked {
public:
    explicit Unlocked(std::unique_lock<std::mutex> &lock) : lock_(lock) { lock_.unlock(); }
    Unlocked(const Unlocked &) = delete;
    Unlocked &operator=(const Unlocked &) = delete;
    ~Unlocked() { lockSoon(lock_); }

private:
    std::unique_lock<std::mutex> &lock_;
};

/// Reads as many names as the buffer takes.
void fill(Source &source, int descriptor) {
    thread_local std::unique_ptr<unsigned char[]> room = std::make_unique_for_overwrite<unsigned char[]>(bufferSize);
    std::size_t filled = 0;
    while (!source.atEnd && filled + longestEntry <= bufferSize) {
        const long read = syscall(SYS_getdents64, descriptor, room.get() + filled, bufferSize - filled);
        source.error = read < 0 ? errno : 0;
        source.atEnd = read <= 0;
        filled += source.atEnd ? 0 : static_cast<std::size_t>(read);
    }
    source.buffer.assign(room.get(), room.get() + filled);
    source.position = 0;
}

/// Takes the next few entries out of the buffer; null where there are none.
ChunkRef carve(Source &source) {
    if (source.bufferIsEmpty())
        return nullptr;
    const std::size_t start = source.position;
    std::size_t count = 0;
    for (; !source.bufferIsEmpty() && count < chunkEntries; ++count) {
        const auto *raw = reinterpret_cast<const RawEntry *>(source.buffer.data() + source.position);
        source.offset = raw->offset;
        source.position += raw->length;
    }
    auto chunk = std::make_shared<Chunk>();
    chunk->names.assign(source.buffer.begin() + start, source.buffer.begin() + source.position);
    chunk->entries.reserve(count);
    for (std::size_t at = 0; at < chunk->names.size();) {
        const auto *raw = reinterpret_cast<const RawEntry *>(chunk->names.data() + at);
        at += raw->length;
        const std::string_view name = raw->name;
        if (name == "." || name == "..")
            continue;
        Entry &entry = chunk->entries.emplace_back();
        entry.name = raw->name;
        entry.type = raw->type;
    }
    return chunk;
}

/// A unit of work. It belongs to the thread that does it.
struct Work {
    SharedFd descriptor;
    bool announces;               ///< the subfolders go into the agenda
    ChunkRef chunk;               ///< null where the folder cannot be opened or has no more
    std::list<SourceRef> folders; ///< those of the chunk

    void forgetFolders() {
        folders.clear();
        if (chunk)
            for (Entry &entry : chunk->entries)
                entry.folder.reset();
    }
};

SharedFd openQueued(Source &source) {
    Fd opened = openForListing(source.parent->get(), source.name.c_str());
    source.parent.reset();
    source.name.clear();
    return opened && readRecord(opened.get(), "", source.record) ? std::make_shared<const Fd>(std::move(opened))
                                                                 : nullptr;
}

/// Opens the folder if it is not open yet, and takes its next entries.
void takeEntries(Source &source, Work &work) noexcept {
    try {
        if (source.isQueued())
            work.descriptor = openQueued(source);
        if (work.descriptor && source.bufferIsEmpty() && !source.atEnd)
            fill(source, work.descriptor->get());
        if (work.descriptor)
            work.chunk = carve(source);
    } catch (const std::bad_alloc &) {
        source.buffer.clear();
        source.atEnd = true;
        source.error = ENOMEM;
    }
}

/// Once the walk is over, what is not read yet stays so.
void readRecords(const Source &source, Work &work, const std::atomic<bool> &isOver) noexcept {
    for (Entry &entry : work.chunk->entries) {
        if (isOver)
            return;
        entry.readable = readRecord(work.descriptor->get(), entry.name, entry.record);
        entry.gone = !entry.readable && errno == ENOENT;
    }
    if (!work.announces)
        return;
    try {
        for (Entry &entry : work.chunk->entries) {
            if (!entry.readable || attributesOf(entry.record, idOf(source.record).device) != FILE_ATTRIBUTE_DIRECTORY)
                continue;
            entry.folder = std::make_shared<Source>();
            entry.folder->parent = work.descriptor;
            entry.folder->name = entry.name;
            entry.folder->place = work.folders.insert(work.folders.end(), entry.folder);
        }
    } catch (const std::bad_alloc &) {
        work.forgetFolders(); // nothing of it is needed
    }
}

/// Whether a source is this very folder, with the names that it had when it was last looked at.
bool describes(const Source &source, const Folder &folder) {
    const auto sameTime = [](const statx_timestamp &left, const statx_timestamp &right) {
        return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
    };
    return idOf(source.record) == folder.id() && source.record.stx_mnt_id == folder.record.stx_mnt_id &&
           sameTime(source.record.stx_ctime, folder.record.stx_ctime) &&
           sameTime(source.record.stx_mtime, folder.record.stx_mtime);
}

/// What is known of a walk to come, and the second thread that works on it.
class Agenda {
public:
    Agenda() = default;
    Agenda(const Agenda &) = delete;
    Agenda &operator=(const Agenda &) = delete;
    ~Agenda() {
        {
            const std::lock_guard lock(mutex);
            ending_ = true;
        }
        toDo_.notify_all();
        if (helper_.joinable())
            helper_.join();
    }

    std::mutex mutex;
    std::vector<FolderListing *> listings; ///< open ones, the innermost last

    void placeFirst(const SourceRef &source) { source->place = sources_.insert(sources_.begin(), source); }

    /// Reads the next few entries of a folder, which is opened first where it is not yet.
    void advance(std::unique_lock<std::mutex> &lock, const SourceRef &source) {
        source->busy = true;
        const bool wasQueued = source->isQueued();
        if (wasQueued) {
            source->ahead = true;
            ++foldersAhead_;
        }
        Work work{source->descriptor, helper_.joinable(), nullptr, {}};
        bool more = false;
        {
            const Unlocked unlocked(lock);
            takeEntries(*source, work);
            more = source->hasMore();
            // Where there is more, the other thread may go on with that meanwhile.
            if (work.chunk && !more)
                readRecords(*source, work, ending_);
        }
        source->failed = !work.descriptor;
        if (wasQueued && !source->dropped)
            source->opened = work.descriptor;
        source->descriptor = more && !source->dropped && !source->parked ? work.descriptor : nullptr;
        source->busy = false;
        if (work.chunk && !source->dropped) {
            entriesAhead_ += work.chunk->entries.size();
            source->chunks.push(work.chunk);
        }
        if (work.chunk && more) {
            done_.notify_all();
            const Unlocked unlocked(lock);
            readRecords(*source, work, ending_);
        }
        publish(*source, work);
    }

    /// Does something that is to be done, or waits until the other thread has done something.
    void helpOrWait(std::unique_lock<std::mutex> &lock) {
        if (const SourceRef source = claim())
            advance(lock, source);
        else
            done_.wait(lock);
    }

    /// The walk comes to the next entries of a folder.
    ChunkRef takeChunk(Source &source) {
        ChunkRef chunk = source.chunks.pop();
        entriesAhead_ -= chunk->entries.size();
        wakeHelper(!source.busy && source.mayBeRead(mostChunksAhead / 2));
        return chunk;
    }

    /// The walk has come to this folder.
    void take(Source &source) {
        if (std::exchange(source.ahead, false))
            --foldersAhead_;
        source.opened.reset();
        wakeHelper();
    }

    /// The walk has passed a folder, or is through with it.
    void drop(Source &source) {
        take(source);
        source.dropped = true;
        if (source.place)
            sources_.erase(*std::exchange(source.place, std::nullopt));
        source.descriptor.reset();
        while (!source.chunks.empty()) {
            const ChunkRef chunk = source.chunks.pop();
            entriesAhead_ -= chunk->entries.size();
            dropFolders(*chunk);
        }
    }
    void dropFolders(Chunk &chunk) {
        if (!chunk.done)
            return;
        for (Entry &entry : chunk.entries)
            if (const SourceRef folder = std::exchange(entry.folder, nullptr))
                drop(*folder);
    }

    /// Called by the walk's own thread with every chunk that it reads itself.
    void startHelperInTime() {
        if (helper_.joinable() || ++chunksAlone_ < chunksBeforeHelp)
            return;
        chunksAlone_ = 0;
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        try {
            helper_ = std::thread([this] { help(); });
            pthread_setname_np(helper_.native_handle(), "read-ahead");
        } catch (const std::system_error &) {
            // The walk goes on alone.
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

private:
    void help() {
        std::unique_lock lock(mutex);
        while (!ending_) {
            if (const SourceRef source = claim()) {
                advance(lock, source);
            } else {
                helperWaits_ = true;
                toDo_.wait(lock);
                helperWaits_ = false;
            }
        }
    }

    /// The first source that may be advanced now, or null.
    SourceRef claim() {
        if (entriesAhead_ >= mostEntriesAhead)
            return nullptr;
        const auto found = std::find_if(sources_.begin(), sources_.end(), [this](const SourceRef &source) {
            if (source->busy || source->failed)
                return false;
            if (source->isQueued())
                return foldersAhead_ < mostFoldersAhead;
            return source->mayBeRead(mostChunksAhead);
        });
        return found == sources_.end() ? nullptr : *found;
    }

    void publish(Source &source, Work &work) {
        if (work.chunk)
            work.chunk->done = true;
        if (source.dropped || source.parked)
            work.forgetFolders();
        else
            sources_.splice(*source.place, work.folders); // before what follows in their parent
        done_.notify_all();
        wakeHelper();
    }

    /// Not for every bit of work: to be woken takes longer than that.
    void wakeHelper(bool folderHasMore = false) {
        if (helperWaits_ && entriesAhead_ <= mostEntriesAhead / 2 &&
            (folderHasMore || foldersAhead_ <= mostFoldersAhead / 2))
            toDo_.notify_one();
    }

    std::list<SourceRef> sources_; ///< in the order of the walk
    std::size_t entriesAhead_ = 0;
    std::size_t foldersAhead_ = 0;
    unsigned chunksAlone_ = 0;
    std::atomic<bool> ending_ = false; ///< set under the lock, and looked at without it
    bool helperWaits_ = false;
    std::condition_variable toDo_;
    std::condition_variable done_;
    std::thread helper_;
};

thread_local std::weak_ptr<Agenda> agendaOfThread;

std::shared_ptr<Agenda> currentAgenda() {
    std::shared_ptr<Agenda> agenda = agendaOfThread.lock();
    if (!agenda)
        agendaOfThread = agenda = std::make_shared<Agenda>();
    return agenda;
}

} // namespace

struct FolderListing {
    FolderListing(std::shared_ptr<Agenda> itsAgenda, FolderRef itsFolder, SourceRef itsSource)
        : agenda(std::move(itsAgenda)), folder(std::move(itsFolder)), source(std::move(itsSource)) {
        agenda->listings.push_back(this);
    }
    FolderListing(const FolderListing &) = delete;
    FolderListing &operator=(const FolderListing &) = delete;
    ~FolderListing() {
        const std::lock_guard lock(agenda->mutex);
        std::erase(agenda->listings, this);
        if (chunk)
            agenda->dropFolders(*chunk);
        agenda->drop(*source);
    }

    /// The entry that was given last, or null.
    Entry *current() { return chunk && position < chunk->entries.size() ? &chunk->entries[position] : nullptr; }

    const std::shared_ptr<Agenda> agenda;
    const FolderRef folder;
    const SourceRef source;
    ChunkRef chunk;
    std::size_t position = 0; ///< of the entry that was given last
};

namespace {

/// What was read ahead of a folder that the walk comes to now; null where nothing was, or where the folder has changed
/// since.
SourceRef takeAhead(std::unique_lock<std::mutex> &lock, Agenda &agenda, const Folder &folder) {
    FolderListing *walk = agenda.listings.empty() ? nullptr : agenda.listings.back();
    Entry *entry = walk == nullptr ? nullptr : walk->current();
    if (entry == nullptr || !entry->folder || walk->folder != folder.parent || folder.name != entry->name)
        return nullptr;
    const SourceRef source = std::exchange(entry->folder, nullptr);
    while (source->busy)
        agenda.helpOrWait(lock);
    if (!source->isQueued() && !source->failed && describes(*source, folder)) {
        agenda.take(*source);
        return source;
    }
    agenda.drop(*source);
    return nullptr;
}

/// A descriptor to read from the folder's beginning; null with errno set.
SharedFd descriptorFor(Folder &folder) {
    if (std::exchange(folder.isToList, false) && folder.held)
        return folder.held;
    Fd opened = openForListing(folder.descriptor(), ".");
    return opened ? std::make_shared<const Fd>(std::move(opened)) : nullptr;
}

/// Lets go what a listing far above does not need while the walk is below it.
void park(Agenda &agenda, FolderListing &listing) {
    if (listing.chunk)
        agenda.dropFolders(*listing.chunk);
    listing.source->chunks.forEach([&agenda](Chunk &chunk) { agenda.dropFolders(chunk); });
    listing.source->parked = true;
    if (!listing.source->busy)
        listing.source->descriptor.reset();
}

/// Opens a parked folder again where it was.
void unpark(FolderListing &listing) {
    Source &source = *listing.source;
    if (!std::exchange(source.parked, false) || source.descriptor || !source.hasMore())
        return;
    for (std::size_t at = source.position; at < source.buffer.size();) {
        const auto *raw = reinterpret_cast<const RawEntry *>(source.buffer.data() + at);
        source.offset = raw->offset;
        at += raw->length;
    }
    Fd opened = openForListing(listing.folder->descriptor(), ".");
    if (opened && (source.atEnd || lseek(opened.get(), source.offset, SEEK_SET) >= 0)) {
        source.descriptor = std::make_shared<const Fd>(std::move(opened));
        return;
    }
    source.error = errno;
    source.buffer.clear();
    source.atEnd = true;
}

/// Makes the next chunk the listing's own. False with errno as nextName gives it where there is none.
bool takeChunk(FolderListing &listing) {
    Agenda &agenda = *listing.agenda;
    Source &source = *listing.source;
    listing.chunk.reset();
    std::unique_lock lock(agenda.mutex, std::defer_lock);
    lockSoon(lock);
    while (source.chunks.empty() || !source.chunks.front()->done) {
        if (!source.chunks.empty() || source.busy) {
            agenda.helpOrWait(lock);
            continue;
        }
        unpark(listing);
        if (!source.hasMore()) {
            errno = source.error;
            return false;
        }
        agenda.startHelperInTime();
        agenda.advance(lock, listing.source);
    }
    listing.chunk = agenda.takeChunk(source);
    return true;
}

} // namespace

Fd openForListing(int parent, const char *name) {
    struct open_how how = {};
    how.flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NOATIME;
    how.resolve = RESOLVE_NO_XDEV | RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH;
    Fd descriptor(static_cast<int>(syscall(SYS_openat2, parent, name, &how, sizeof how)));
    if (!descriptor && errno == EPERM) {
        how.flags &= ~static_cast<std::uint64_t>(O_NOATIME);
        descriptor = Fd(static_cast<int>(syscall(SYS_openat2, parent, name, &how, sizeof how)));
    }
    return descriptor;
}

SharedFd openedAhead(const FolderRef &parent, const std::string &name, Record &record) {
    const std::shared_ptr<Agenda> agenda = agendaOfThread.lock();
    if (!agenda)
        return nullptr;
    std::unique_lock lock(agenda->mutex, std::defer_lock);
    lockSoon(lock);
    const Entry *entry = agenda->listings.empty() ? nullptr : agenda->listings.back()->current();
    if (entry == nullptr || !entry->folder || agenda->listings.back()->folder != parent || name != entry->name ||
        entry->folder->busy || !entry->folder->opened)
        return nullptr;
    record = entry->folder->record;
    return entry->folder->opened;
}

std::shared_ptr<FolderListing> openListing(const FolderRef &folder) {
    const std::shared_ptr<Agenda> agenda = currentAgenda();
    std::unique_lock lock(agenda->mutex, std::defer_lock);
    lockSoon(lock);
    SourceRef source = takeAhead(lock, *agenda, *folder);
    if (!source) {
        SharedFd descriptor = descriptorFor(*folder);
        if (!descriptor)
            return nullptr;
        source = std::make_shared<Source>();
        source->descriptor = std::move(descriptor);
        source->record = folder->record;
        agenda->placeFirst(source);
    }
    const auto listing = std::make_shared<FolderListing>(agenda, folder, source);
    if (agenda->listings.size() > mostListingsReady)
        park(*agenda, *agenda->listings[agenda->listings.size() - 1 - mostListingsReady]);
    return listing;
}

const ListedName *nextName(FolderListing &listing) {
    if (Entry *passed = listing.current(); passed != nullptr && passed->folder) {
        const std::lock_guard lock(listing.agenda->mutex);
        listing.agenda->drop(*std::exchange(passed->folder, nullptr));
    }
    for (;;) {
        while (listing.chunk && ++listing.position < listing.chunk->entries.size())
            if (!listing.current()->gone)
                return listing.current();
        if (!takeChunk(listing))
            return nullptr;
        listing.position = static_cast<std::size_t>(-1);
    }
}

} // namespace dm::platform
