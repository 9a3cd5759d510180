#include "engine/cleaner.h"

#include "as_user.h"
#include "empty_machine.h"
#include "engine/scanner.h"
#include "files.h"

#include <set>

#include <sys/mman.h>

namespace dm {
namespace {

using namespace test;

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
        const char *commands; ///< with $f for the file
        Counts expected;
        std::string survivor = "root/folder/file";
    } table[] = {
        {"cp -p $f old; echo >> $f; touch -r old $f", keptOne},
        {"touch -d '1 hour ago' $f", keptOne},
        {"echo new content > new; truncate -s 11 new; touch -r $f new; mv new $f", keptOne},
        {"cp -p $f old; rm $f; cp -p old $f", keptOne},
        {"ln $f elsewhere", keptOne},
        {"chmod 400 $f", keptOne},
        {"mv $f elsewhere", keptOne, "elsewhere"},
        {"mv $f root/folder/moved; ln -s moved $f", keptOne, "root/folder/moved"},
        {"mv $f elsewhere; mkdir $f", keptOne, "elsewhere"},
        {"mv root/folder elsewhere", keptOne, "elsewhere/file"},
        {"mv root/folder elsewhere; ln -s ../elsewhere root/folder", failedOne, "elsewhere/file"},
        {"mv root elsewhere; ln -s elsewhere root", failedOne, "elsewhere/folder/file"},
        {"mv root elsewhere; mkdir root; mv elsewhere/folder root", keptOne},
        // As it was again. Which folder it lies in is told by the path alone: only root and file have an identity.
        {"ln $f other; rm other", deletedOne},
        {"mv root moved; mv moved root", deletedOne},
        {"mv $f moved; mv moved $f", deletedOne},
        {"mv root/folder moved; mkdir root/folder; mv moved/file $f", deletedOne},
    };
    for (const auto &[commands, expected, survivor] : table) {
        SCOPED_TRACE(commands);
        for (const bool skipLockedFiles : {true, false}) {
            const Scanned scanned;
            ASSERT_TRUE(runIn(scanned.scratch.path(), std::string("f=root/folder/file; ") + commands));
            const std::string content = scanned.scratch.read(survivor);
            EXPECT_EQ(countsOf(scanned.clean({skipLockedFiles})), expected);
            EXPECT_EQ(scanned.scratch.exists(survivor), expected.deleted == 0);
            EXPECT_EQ(scanned.scratch.read(survivor), expected.deleted == 0 ? content : "");
        }
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
    const std::int64_t anHourAgo = std::time(nullptr) - 3600;
    ASSERT_TRUE(runIn(scanned.scratch.path("root/folder"), "touch -d @" + std::to_string(anHourAgo) + " file"));
    // An entry that fits the young file in everything.
    scanned.entry.lastWriteTime = (11'644'473'600 + anHourAgo) * 10'000'000;
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
    for (const auto &row : table) {
        SCOPED_TRACE(row.first);
        const Scanned scanned;
        {
            const std::string path = scanned.scratch.path("root/folder/file");
            const pid_t holder = startProcess([&] { row.second(path.c_str()); });
            EXPECT_EQ(countsOf(scanned.clean({true})), (Counts{.skipped = 1, .lockedSkipped = 1}));
            EXPECT_EQ(countsOf(scanned.clean({false})), (Counts{.errors = 1, .lockedErrors = 1, .retries = 2}));
            EXPECT_EQ(scanned.scratch.read("root/folder/file"), "old content");
            endProcess(holder);
        }
        EXPECT_EQ(countsOf(scanned.clean({true})), deletedOne);
        EXPECT_FALSE(scanned.fileExists());
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

TEST(Cleaner, FilesOfEveryNameAreListedAndDeleted) {
    const Scratch scratch;
    std::set<std::string> names = {"case", "CASE", "aux", "con.txt", "...", " ", "\xED\xA0\x80", "\xC0\xAF"};
    names.insert({"\xEF\x80\xAE", "\xF0\x9F\x98\x80", "name.kept-1", std::string(255, '\xFF'), std::string(255, ':')});
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '/')
            continue;
        const std::string text(1, static_cast<char>(byte));
        names.insert({'x' + text, text + 'x'});
    }
    for (const std::string &name : names)
        scratch.file("root/" + name);
    const ScanResult scan = scanRoot(scratch.wide("root"), goOn);
    CleanResult result;
    for (const FileEntry &entry : scan.entries)
        deleteEntry(entry, scan.roots.front(), true, goOn, result, {});
    EXPECT_EQ(countsOf(result), Counts{.deleted = names.size()});
    EXPECT_EQ(result.bytesFreed, scan.bytesByCategory[0]);
    EXPECT_TRUE(fs::is_empty(scratch.path("root")));
}

TEST(Cleaner, OpensAreTriedAgainOnlyUnderTheRetryPolicy) {
    using enum OpenCode;
    const struct {
        bool skipLockedFiles;
        std::string_view steps; ///< attempts that are [o]pened, [l]ocked or [f]ailed and [w]aits; "!" raises the flag
        OpenCode code;
        unsigned waits;
    } table[] = {
        {true, "o", Opened, 0},        {true, "f", Failed, 0},       {true, "l", Locked, 0},
        {false, "o", Opened, 0},       {false, "f", Failed, 0},      {false, "lwo", Opened, 1},
        {false, "lwf", Failed, 1},     {false, "lwlwo", Opened, 2},  {false, "lwlwl", Failed, 2},
        {true, "!", Cancelled, 0},     {true, "o!", Cancelled, 0},   {true, "l!", Cancelled, 0},
        {false, "lwf!", Cancelled, 1}, {false, "lw!", Cancelled, 0}, {false, "lwlw!", Cancelled, 1},
    };
    for (const auto &row : table) {
        SCOPED_TRACE(row.steps);
        const std::string_view steps = row.steps;
        std::string made;
        std::atomic<bool> cancelFlag = false;
        const auto raiseIfDue = [&] {
            if (made.size() + 1 == steps.size() && steps.back() == '!') {
                cancelFlag = true;
                made += '!';
            }
        };
        const auto attempt = [&] {
            made += made.size() < steps.size() ? steps[made.size()] : '?';
            const char outcome = made.back();
            raiseIfDue();
            return outcome == 'o' ? OpenAttempt::Opened : outcome == 'l' ? OpenAttempt::Locked : OpenAttempt::Failed;
        };
        const auto wait = [&](unsigned milliseconds) {
            EXPECT_EQ(milliseconds, 50U);
            made += 'w';
            raiseIfDue();
        };
        raiseIfDue();
        const OpenOutcome outcome = openWithRetry(row.skipLockedFiles, cancelFlag, attempt, wait);
        EXPECT_EQ(outcome.code, row.code);
        EXPECT_EQ(outcome.waits, row.waits);
        EXPECT_EQ(made, steps);
    }
}

} // namespace
} // namespace dm
