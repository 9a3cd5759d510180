#include "engine/cleaner.h"

#include "as_user.h"
#include "engine/scanner.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <functional>

#include <csignal>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

namespace dm {
namespace {

using test::require;
using test::runAsOrdinaryUser;
using test::Scratch;
using namespace std::chrono_literals;

const std::atomic<bool> goOn = false;

struct Counts {
    std::uint64_t deleted = 0;
    std::uint64_t skipped = 0;
    std::uint64_t errors = 0;
    std::uint64_t lockedSkipped = 0;
    std::uint64_t lockedErrors = 0;
    std::uint64_t retries = 0;
    bool cancelled = false;
    bool operator==(const Counts &) const = default;
};

constexpr Counts deletedOne = {.deleted = 1};
constexpr Counts keptOne = {.skipped = 1};
constexpr Counts failedOne = {.errors = 1};
constexpr Counts cancelledOne = {.cancelled = true};

std::ostream &operator<<(std::ostream &out, const Counts &counts) {
    return out << "deleted " << counts.deleted << ", skipped " << counts.skipped << ", errors " << counts.errors
               << ", locked " << counts.lockedSkipped << " and " << counts.lockedErrors << ", retries "
               << counts.retries << (counts.cancelled ? ", cancelled" : "");
}

Counts countsOf(const CleanResult &result) {
    return {result.filesDeleted, result.skipped, result.errors,   result.lockedSkipped,
            result.lockedErrors, result.retries, result.cancelled};
}

// A root with one old file in a folder, scanned.
struct Scanned {
    Scratch scratch;
    FileEntry entry;
    RootIdentity root;

    Scanned() {
        scratch.file("root/folder/file", "old content");
        const ScanResult result = scanRoot(scratch.wide("root"), goOn);
        entry = result.entries.at(0);
        root = result.roots.at(0);
    }
    CleanResult clean(CleanOptions options = {}, bool enforceAgeCutoff = true) const {
        CleanResult result;
        deleteEntry(entry, root, enforceAgeCutoff, goOn, result, options);
        return result;
    }
    bool fileExists() const { return scratch.exists("root/folder/file"); }
};

TEST(Cleaner, TheScannedFileIsDeletedAndNothingElse) {
    const Scanned scanned;
    scanned.scratch.file("root/folder/FILE", "another name on this disk");
    const CleanResult result = scanned.clean();
    EXPECT_EQ(countsOf(result), deletedOne);
    EXPECT_EQ(result.bytesFreed, 11U);
    EXPECT_FALSE(scanned.fileExists());
    EXPECT_EQ(scanned.scratch.read("root/folder/FILE"), "another name on this disk");
    EXPECT_EQ(countsOf(scanned.clean()), keptOne);
}

TEST(Cleaner, WhatChangedSinceTheScanIsKept) {
    const struct {
        const char *name;
        void (*change)(const Scratch &scratch);
        Counts expected;
        std::string survivor = "root/folder/file";
    } table[] = {
        {"grown, with its old time",
         [](const Scratch &scratch) {
             const timespec time = scratch.writeTime("root/folder/file");
             scratch.file("root/folder/file", "old content and more");
             scratch.setWriteTime("root/folder/file", time);
         },
         keptOne},
        {"one tick younger",
         [](const Scratch &scratch) {
             timespec time = scratch.writeTime("root/folder/file");
             time.tv_nsec += time.tv_nsec < 999'999'900 ? 100 : -100;
             scratch.setWriteTime("root/folder/file", time);
         },
         keptOne},
        {"re-dated young", [](const Scratch &scratch) { scratch.setAge("root/folder/file", 1h); }, keptOne},
        {"replaced by a file of the same size and time",
         [](const Scratch &scratch) {
             scratch.file("root/folder/new", "new content");
             scratch.setWriteTime("root/folder/new", scratch.writeTime("root/folder/file"));
             scratch.rename("root/folder/new", "root/folder/file");
         },
         keptOne},
        {"removed and made anew",
         [](const Scratch &scratch) {
             const timespec time = scratch.writeTime("root/folder/file");
             std::filesystem::remove(scratch.path("root/folder/file"));
             scratch.file("root/folder/file", "new content");
             scratch.setWriteTime("root/folder/file", time);
         },
         keptOne},
        {"a second name", [](const Scratch &scratch) { scratch.hardLink("elsewhere", "root/folder/file"); }, keptOne},
        {"read-only", [](const Scratch &scratch) { scratch.setMode("root/folder/file", 0400); }, keptOne},
        {"gone", [](const Scratch &scratch) { scratch.rename("root/folder/file", "elsewhere"); }, keptOne, "elsewhere"},
        {"replaced by a link to itself",
         [](const Scratch &scratch) {
             scratch.rename("root/folder/file", "root/folder/moved");
             scratch.link("root/folder/file", "moved");
         },
         keptOne, "root/folder/moved"},
        {"replaced by a folder",
         [](const Scratch &scratch) {
             scratch.rename("root/folder/file", "elsewhere");
             scratch.folder("root/folder/file");
         },
         keptOne, "elsewhere"},
        {"its folder gone", [](const Scratch &scratch) { scratch.rename("root/folder", "elsewhere"); }, keptOne,
         "elsewhere/file"},
        {"its folder replaced by a link to it",
         [](const Scratch &scratch) {
             scratch.rename("root/folder", "elsewhere");
             scratch.link("root/folder", scratch.path("elsewhere"));
         },
         failedOne, "elsewhere/file"},
        {"its root replaced by a link to it",
         [](const Scratch &scratch) {
             scratch.rename("root", "elsewhere");
             scratch.link("root", scratch.path("elsewhere"));
         },
         failedOne, "elsewhere/folder/file"},
        {"its root made anew around it",
         [](const Scratch &scratch) {
             scratch.rename("root", "elsewhere");
             scratch.folder("root");
             scratch.rename("elsewhere/folder", "root/folder");
         },
         keptOne},
    };
    for (const auto &row : table) {
        for (const bool skipLockedFiles : {true, false}) {
            const Scanned scanned;
            row.change(scanned.scratch);
            const std::string content = scanned.scratch.read(row.survivor);
            EXPECT_EQ(countsOf(scanned.clean({skipLockedFiles})), row.expected) << row.name;
            EXPECT_TRUE(scanned.scratch.exists(row.survivor)) << row.name;
            EXPECT_EQ(scanned.scratch.read(row.survivor), content) << row.name;
        }
    }
}

TEST(Cleaner, WhatIsAsItWasAgainIsDeleted) {
    void (*const detours[])(const Scratch &scratch) = {
        [](const Scratch &scratch) {
            scratch.hardLink("other", "root/folder/file");
            std::filesystem::remove(scratch.path("other"));
        },
        [](const Scratch &scratch) {
            scratch.rename("root", "moved");
            scratch.rename("moved", "root");
        },
        [](const Scratch &scratch) {
            scratch.rename("root/folder/file", "moved");
            scratch.rename("moved", "root/folder/file");
        },
        // Which folder it lies in is told by the path alone: only root and file are known by identity.
        [](const Scratch &scratch) {
            scratch.rename("root/folder", "moved");
            scratch.folder("root/folder");
            scratch.rename("moved/file", "root/folder/file");
        },
    };
    for (std::size_t row = 0; row < std::size(detours); ++row) {
        const Scanned scanned;
        detours[row](scanned.scratch);
        EXPECT_EQ(countsOf(scanned.clean()), deletedOne) << "row " << row;
        EXPECT_FALSE(scanned.fileExists()) << "row " << row;
    }
}

TEST(Cleaner, AnEntryOrRootThatDoesNotFitIsRefused) {
    const struct {
        const char *name;
        void (*falsify)(Scanned &scanned);
    } table[] = {
        {"another root index", [](Scanned &scanned) { scanned.root.fileIndex ^= std::uint64_t{1} << 40; }},
        {"another root volume", [](Scanned &scanned) { ++scanned.root.volumeSerial; }},
        {"another root path", [](Scanned &scanned) { scanned.root.path = scanned.scratch.wide(); }},
        {"another file index", [](Scanned &scanned) { scanned.entry.fileIndex ^= std::uint64_t{1} << 40; }},
        {"another file volume", [](Scanned &scanned) { ++scanned.entry.volumeSerial; }},
        {"another size", [](Scanned &scanned) { scanned.entry.size += std::uint64_t{1} << 32; }},
        {"another time", [](Scanned &scanned) { --scanned.entry.lastWriteTime; }},
        {"a root beside the file",
         [](Scanned &scanned) {
             scanned.scratch.folder("root/fold");
             scanned.entry.rootPath = scanned.root.path = scanned.scratch.wide("root/fold");
         }},
        {"the file as its own root", [](Scanned &scanned) { scanned.entry.rootPath = scanned.entry.path; }},
        {"a way out and back",
         [](Scanned &scanned) { scanned.entry.path = scanned.entry.rootPath + W("\\..\\root\\folder\\file"); }},
        {"a relative path", [](Scanned &scanned) { scanned.entry.path = W("file"); }},
        {"no path", [](Scanned &scanned) { scanned.entry.path.clear(); }},
    };
    for (const auto &row : table) {
        Scanned scanned;
        row.falsify(scanned);
        EXPECT_EQ(countsOf(scanned.clean()), keptOne) << row.name;
        EXPECT_TRUE(scanned.fileExists()) << row.name;
    }
}

TEST(Cleaner, TheAgeOfTheMomentCountsWhereItIsEnforced) {
    Scanned scanned;
    scanned.scratch.setAge("root/folder/file", 1h);
    // An entry that fits the young file in everything.
    const std::uint64_t epoch = 11'644'473'600;
    const timespec time = scanned.scratch.writeTime("root/folder/file");
    scanned.entry.lastWriteTime = (epoch + time.tv_sec) * 10'000'000 + time.tv_nsec / 100;
    EXPECT_EQ(countsOf(scanned.clean({}, true)), keptOne);
    EXPECT_TRUE(scanned.fileExists());
    EXPECT_EQ(countsOf(scanned.clean({}, false)), deletedOne);
}

TEST(Cleaner, ARaisedFlagCancelsBeforeAnythingIsDone) {
    const Scanned scanned;
    const std::atomic<bool> cancelFlag = true;
    CleanResult result;
    deleteEntry(scanned.entry, scanned.root, true, cancelFlag, result, {});
    EXPECT_EQ(countsOf(result), cancelledOne);
    deleteEntry({}, {}, true, cancelFlag, result, {});
    EXPECT_EQ(countsOf(result), cancelledOne);
    EXPECT_TRUE(scanned.fileExists());
}

// Another process that has a file in use until it is let go.
class Holder {
public:
    Holder(const std::string &path, void (*hold)(const char *path)) {
        int ready[2];
        require(pipe2(ready, O_CLOEXEC) == 0, "pipe");
        child_ = fork();
        if (child_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            hold(path.c_str());
            close(ready[1]);
            for (;;)
                pause();
        }
        close(ready[1]);
        char byte;
        const ssize_t end = read(ready[0], &byte, 1);
        close(ready[0]);
        require(child_ > 0 && end == 0, "holder");
    }
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;
    ~Holder() {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }

private:
    pid_t child_ = -1;
};

void holdMapped(const char *path, int flags, int protection, int sharing) {
    const int file = open(path, flags);
    if (mmap(nullptr, 1, protection, sharing, file, 0) == MAP_FAILED)
        _exit(1);
    close(file);
}

TEST(Cleaner, AFileInUseByAnotherProcessIsKeptUnderBothPolicies) {
    const std::pair<const char *, void (*)(const char *)> table[] = {
        {"open for reading", [](const char *path) { open(path, O_RDONLY); }},
        {"open for writing", [](const char *path) { open(path, O_WRONLY); }},
        {"open for both", [](const char *path) { open(path, O_RDWR | O_APPEND); }},
        {"mapped, closed", [](const char *path) { holdMapped(path, O_RDONLY, PROT_READ, MAP_PRIVATE); }},
        {"mapped for writing, closed",
         [](const char *path) { holdMapped(path, O_RDWR, PROT_READ | PROT_WRITE, MAP_SHARED); }},
    };
    for (const auto &[name, hold] : table) {
        const Scanned scanned;
        {
            const Holder holder(scanned.scratch.path("root/folder/file"), hold);
            EXPECT_EQ(countsOf(scanned.clean({true})), (Counts{.skipped = 1, .lockedSkipped = 1})) << name;
            EXPECT_EQ(countsOf(scanned.clean({false})), (Counts{.errors = 1, .lockedErrors = 1, .retries = 2})) << name;
            EXPECT_EQ(scanned.scratch.read("root/folder/file"), "old content") << name;
        }
        EXPECT_EQ(countsOf(scanned.clean({true})), deletedOne) << name;
        EXPECT_FALSE(scanned.fileExists()) << name;
    }
}

TEST(Cleaner, WhatThisUserMayNotRemoveIsKept) {
    runAsOrdinaryUser([](const std::string &) {
        const Scanned scanned;
        for (const mode_t mode : {0500, 0000}) {
            scanned.scratch.setMode("root/folder", mode);
            EXPECT_EQ(countsOf(scanned.clean()), keptOne) << std::oct << mode;
            scanned.scratch.setMode("root/folder", 0700);
            EXPECT_TRUE(scanned.fileExists());
        }
        EXPECT_EQ(countsOf(scanned.clean()), deletedOne);
    });
}

TEST(Cleaner, FilesOfEveryNameAreDeleted) {
    const Scratch scratch;
    std::size_t files = 0;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '/')
            continue;
        scratch.file("root/x" + std::string(1, static_cast<char>(byte)));
        ++files;
    }
    for (const std::string &name : {std::string("case"), std::string("CASE"), std::string(255, '\xFF')}) {
        scratch.file("root/" + name);
        ++files;
    }
    const ScanResult scan = scanRoot(scratch.wide("root"), goOn);
    CleanResult result;
    for (const FileEntry &entry : scan.entries)
        deleteEntry(entry, scan.roots.front(), true, goOn, result, {});
    EXPECT_EQ(result.filesDeleted, files);
    EXPECT_EQ(result.bytesFreed, scan.bytesByCategory[0]);
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path("root")));
}

TEST(Cleaner, OpensAreTriedAgainOnlyUnderTheRetryPolicy) {
    using enum OpenAttempt;
    enum Event { Never, BeforeTheFirstAttempt, DuringTheLastAttempt, DuringTheLastWait };
    const struct {
        bool skipLockedFiles;
        std::vector<OpenAttempt> attempts; ///< all of which must be made
        std::size_t waits;                 ///< that must be started
        Event flagRaised;
        OpenCode code;
        unsigned waitsSpent;
    } table[] = {
        {true, {Opened}, 0, Never, OpenCode::Opened, 0},
        {true, {Failed}, 0, Never, OpenCode::Failed, 0},
        {true, {Locked}, 0, Never, OpenCode::Locked, 0},
        {false, {Opened}, 0, Never, OpenCode::Opened, 0},
        {false, {Failed}, 0, Never, OpenCode::Failed, 0},
        {false, {Locked, Opened}, 1, Never, OpenCode::Opened, 1},
        {false, {Locked, Failed}, 1, Never, OpenCode::Failed, 1},
        {false, {Locked, Locked, Opened}, 2, Never, OpenCode::Opened, 2},
        {false, {Locked, Locked, Locked}, 2, Never, OpenCode::Failed, 2},
        {true, {}, 0, BeforeTheFirstAttempt, OpenCode::Cancelled, 0},
        {true, {Opened}, 0, DuringTheLastAttempt, OpenCode::Cancelled, 0},
        {true, {Locked}, 0, DuringTheLastAttempt, OpenCode::Cancelled, 0},
        {false, {Locked, Failed}, 1, DuringTheLastAttempt, OpenCode::Cancelled, 1},
        {false, {Locked}, 1, DuringTheLastWait, OpenCode::Cancelled, 0},
        {false, {Locked, Locked}, 2, DuringTheLastWait, OpenCode::Cancelled, 1},
    };
    for (std::size_t row = 0; row < std::size(table); ++row) {
        const auto &expected = table[row];
        std::atomic<bool> cancelFlag = expected.flagRaised == BeforeTheFirstAttempt;
        std::size_t attempts = 0;
        std::vector<unsigned> waits;
        const auto attempt = [&] {
            const OpenAttempt outcome = expected.attempts.at(attempts++);
            if (expected.flagRaised == DuringTheLastAttempt && attempts == expected.attempts.size())
                cancelFlag = true;
            return outcome;
        };
        const auto wait = [&](unsigned milliseconds) {
            waits.push_back(milliseconds);
            if (expected.flagRaised == DuringTheLastWait && waits.size() == expected.waits)
                cancelFlag = true;
        };
        const OpenOutcome outcome = openWithRetry(expected.skipLockedFiles, cancelFlag, attempt, wait);
        EXPECT_EQ(outcome.code, expected.code) << "row " << row;
        EXPECT_EQ(outcome.waits, expected.waitsSpent) << "row " << row;
        EXPECT_EQ(attempts, expected.attempts.size()) << "row " << row;
        EXPECT_EQ(waits, std::vector<unsigned>(expected.waits, 50)) << "row " << row;
    }
}

} // namespace
} // namespace dm
