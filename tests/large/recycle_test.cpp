#include "large/recycle.h"
#include "large/transfer_sink.h"

#include "as_user.h"
#include "empty_machine.h"
#include "platform/linux/private_folder.h"
#include "traced.h"
#include "trashed.h"

#include <gtest/gtest.h>

#include <numeric>

#include <climits>
#include <sys/mman.h>
#include <sys/resource.h>

namespace dm::large {
namespace {

namespace fs = std::filesystem;
using test::homeTrash;
using test::require;
using test::Scratch;
using test::trashedIn;

const std::atomic<bool> goOn = false;
constexpr std::uint32_t notSupported = 0x80070032;
constexpr std::uint32_t diskFull = 0x80070070;

using Trashed = std::map<std::string, std::string>;

struct Row {
    std::uint64_t entryIndex;
    RecycleStatus status;
    std::uint32_t code;
    bool operator==(const Row &) const = default;
};
void PrintTo(const Row &row, std::ostream *stream) {
    *stream << row.entryIndex << ": " << static_cast<std::uint32_t>(row.status) << ", " << std::hex << row.code;
}

std::vector<Row> rowsOf(const RecycleResult &result) {
    std::vector<Row> rows;
    for (const RecycleOutcome &outcome : result.outcomes)
        rows.push_back({outcome.entryIndex, outcome.status, outcome.code});
    return rows;
}

/// The counters say what the rows say.
void expectCounted(const RecycleResult &result) {
    const auto count = [&](RecycleStatus first, RecycleStatus last) {
        return static_cast<std::uint64_t>(
            std::count_if(result.outcomes.begin(), result.outcomes.end(), [&](const RecycleOutcome &outcome) {
                return outcome.status >= first && outcome.status <= last;
            }));
    };
    EXPECT_EQ(result.moved, count(RecycleStatus::Moved, RecycleStatus::Moved));
    EXPECT_EQ(result.kept, count(RecycleStatus::Changed, RecycleStatus::Unsupported));
    EXPECT_EQ(result.errors, count(RecycleStatus::Failed, RecycleStatus::Failed));
}

LargeSearchResult search(const std::string &folder) {
    return searchLargeFiles({.root = platform::drivePath(folder), .minBytes = 1}, goOn, {});
}

std::uint64_t indexOf(const LargeSearchResult &found, const std::string &path) {
    for (std::uint64_t index = 0; index < found.entries.size(); ++index)
        if (platform::linuxPath(found.entries[index].path) == path)
            return index;
    throw std::runtime_error("not found: " + path);
}

RecycleResult moveAll(const LargeSearchResult &found) {
    std::vector<std::uint64_t> all(found.entries.size());
    std::iota(all.begin(), all.end(), 0);
    return moveToRecycleBin(found, all, goOn, {}, nullptr);
}

/// Why nothing can be moved from a folder of this machine; empty if it can. Leaves the program's private folder on that
/// volume, which every deletion open needs.
std::string obstacleIn(const Scratch &scratch) {
    if (!isLocalDrive(scratch.wide(), true))
        return "The folder for temporary files lies on no fixed drive.";
    scratch.file("probe");
    const OwnedHandle file = openForDeletion(scratch.wide("probe"));
    fs::remove(scratch.path("probe"));
    return file ? "" : "The file system of the folder for temporary files cannot tell who has a file open.";
}

#define SKIP_WHERE_NOTHING_MOVES(scratch)                                                                              \
    fs::remove_all(homeTrash());                                                                                       \
    if (const std::string obstacle = obstacleIn(scratch); !obstacle.empty())                                           \
    GTEST_SKIP() << obstacle

TEST(TransferSink, AnswersAsTheFlagSaysAndGivesNothingUp) {
    std::atomic<bool> flag = false;
    auto *sink = new TransferSink(flag);
    void *given = &flag;
    EXPECT_EQ(sink->QueryInterface(IID_IShellItem, &given), E_NOINTERFACE);
    EXPECT_EQ(given, nullptr);
    EXPECT_EQ(sink->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(sink->QueryInterface(IID_IUnknown, &given), S_OK);
    EXPECT_EQ(sink->QueryInterface(IID_ITransferAdviseSink, &given), S_OK);
    EXPECT_EQ(given, static_cast<ITransferAdviseSink *>(sink));
    EXPECT_EQ(sink->AddRef(), 4U);
    for (ULONG left = 3; left > 0; --left)
        EXPECT_EQ(sink->Release(), left);
    for (const bool cancelled : {false, true}) {
        flag = cancelled;
        const auto told = [cancelled](std::uint32_t code) {
            return static_cast<HRESULT>(cancelled ? 0x80270000 : code);
        };
        EXPECT_EQ(sink->UpdateProgress(0, 0, 0, 0, 0, 0), told(0));
        EXPECT_EQ(sink->UpdateTransferState(TS_PERFORMING), told(0));
        EXPECT_EQ(sink->ConfirmOverwrite(nullptr, nullptr, nullptr), static_cast<HRESULT>(0x800700B7));
        EXPECT_EQ(sink->ConfirmEncryptionLoss(nullptr), static_cast<HRESULT>(0x80070005));
        EXPECT_EQ(sink->FileFailure(nullptr, nullptr, E_ABORT, nullptr, 0), told(0x80004004));
        EXPECT_EQ(sink->SubStreamFailure(nullptr, nullptr, S_OK), told(0x80004005));
        EXPECT_EQ(sink->PropertyFailure(nullptr, nullptr, 1), told(0x80004005));
    }
    EXPECT_EQ(sink->Release(), 0U);
}

TEST(Recycle, EachIndexCountsOnceAndStrangersAreErrors) {
    EXPECT_EQ(uniqueIndexes({5, 2, 5, 9, 0, 2}, 6), (std::vector<std::uint64_t>{5, 2, 0}));
    const std::atomic<bool> flag = true;
    for (const std::atomic<bool> *cancelFlag : {&goOn, &flag}) {
        const RecycleResult nothing = moveToRecycleBin({}, {7, 0, 7}, *cancelFlag, {}, nullptr);
        EXPECT_EQ(rowsOf(nothing), (std::vector<Row>{{7, RecycleStatus::Failed, 87}, {0, RecycleStatus::Failed, 87}}));
        EXPECT_EQ(nothing.cancelled, cancelFlag->load());
        expectCounted(nothing);
    }

    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    const std::string first = scratch.file("films/first", "1");
    const std::string second = scratch.file("films/deep/second", "22");
    const std::string third = scratch.file("films/third", "333");
    const LargeSearchResult found = search(scratch.path("films"));
    ASSERT_EQ(found.entries.size(), 3U);
    const std::uint64_t one = indexOf(found, first);
    const std::uint64_t two = indexOf(found, second);
    std::vector<std::string> progress;
    const auto report = [&](WStringView path, std::uint64_t done, std::uint64_t total) {
        progress.push_back(platform::linuxPath(path) + ' ' + std::to_string(done) + '/' + std::to_string(total));
    };
    const RecycleResult result = moveToRecycleBin(found, {two, one, 3, two, one, 3}, goOn, report, nullptr);
    EXPECT_EQ(rowsOf(result),
              (std::vector<Row>{
                  {3, RecycleStatus::Failed, 87}, {two, RecycleStatus::Moved, 0}, {one, RecycleStatus::Moved, 0}}));
    EXPECT_EQ(result.movedBytes, 3U);
    EXPECT_FALSE(result.cancelled);
    expectCounted(result);
    EXPECT_EQ(progress, (std::vector<std::string>{second + " 0/2", second + " 1/2", first + " 1/2", first + " 2/2"}));
    EXPECT_EQ(trashedIn(homeTrash()), (Trashed{{first, "1"}, {second, "22"}}));
    EXPECT_EQ(scratch.read("films/third"), "333");
}

/// Shell commands in a folder; false if one fails.
bool run(const std::string &folder, const std::string &commands) {
    return std::system(
               ("exec 2>/dev/null; set -e; PATH=$PATH:/usr/sbin:/sbin; cd '" + folder + "'; " + commands).c_str()) == 0;
}

/// What happens to films/sub/film between the search and the move.
struct Change {
    const char *name;
    const char *commands;
    RecycleStatus status;
    std::uint32_t code;
    const char *stays; ///< where the film is afterwards; null in the trash
};
void PrintTo(const Change &change, std::ostream *stream) {
    *stream << change.commands;
}

class RecycleChange : public testing::TestWithParam<Change> {};

const Change changes[] = {
    {"nothing", ":", RecycleStatus::Moved, 0, nullptr},
    {"readOnly", "chmod 400 films/sub/film", RecycleStatus::Moved, 0, nullptr},
    {"replaced", "cp -p films/sub/film twin; mv films/sub/film away; mv twin films/sub/film", RecycleStatus::Changed,
     1006, "away"},
    {"grown", "echo >> films/sub/film", RecycleStatus::Changed, 1006, "films/sub/film"},
    {"touched", "touch films/sub/film", RecycleStatus::Changed, 1006, "films/sub/film"},
    {"linked", "ln films/sub/film second", RecycleStatus::Changed, 1006, "films/sub/film"},
    {"gone", "mv films/sub/film away", RecycleStatus::Changed, 2, "away"},
    {"becameLink", "mv films/sub/film away; ln -s ../../away films/sub/film", RecycleStatus::Changed, 1006, "away"},
    {"becameFolder", "mv films/sub/film away; mkdir films/sub/film", RecycleStatus::Failed, 5, "away"},
    {"read", ":", RecycleStatus::InUse, 32, "films/sub/film"},
    {"immutable", "chattr +i films/sub/film", RecycleStatus::Failed, 5, "films/sub/film"},
    {"folderReplaced", "cp -pr films/sub twin; mv films/sub away; mv twin films/sub", RecycleStatus::Changed, 1006,
     "away/film"},
    {"folderBecameLink", "mv films/sub away; ln -s ../away films/sub", RecycleStatus::Changed, 4393, "away/film"},
    {"folderGone", "mv films/sub away", RecycleStatus::Changed, 2, "away/film"},
    {"rootReplaced", "mv films away; mkdir films; mv away/sub films", RecycleStatus::Changed, 1006, "films/sub/film"},
    {"rootBecameLink", "mv films away; ln -s away films", RecycleStatus::Changed, 4393, "away/sub/film"},
    {"rootGone", "mv films away", RecycleStatus::Changed, 2, "away/sub/film"},
};

TEST_P(RecycleChange, BetweenSearchAndMoveHasItsStatus) {
    const Change &change = GetParam();
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    scratch.file("films/sub/film", "film");
    const LargeSearchResult found = search(scratch.path("films"));
    ASSERT_EQ(found.entries.size(), 1U);
    if (!run(scratch.path(), change.commands))
        GTEST_SKIP() << "This cannot be done here: " << change.commands;
    std::ifstream reader;
    if (change.status == RecycleStatus::InUse)
        reader.open(scratch.path("films/sub/film"));
    const RecycleResult result = moveAll(found);
    run(scratch.path(), "chattr -i films/sub/film");
    EXPECT_EQ(rowsOf(result), (std::vector<Row>{{0, change.status, change.code}}));
    expectCounted(result);
    const Trashed trashed = trashedIn(homeTrash());
    const Trashed film = {{scratch.path("films/sub/film"), "film"}};
    EXPECT_EQ(trashed, change.stays == nullptr ? film : Trashed());
    EXPECT_TRUE(change.stays == nullptr || scratch.read(change.stays).starts_with("film"));
}

INSTANTIATE_TEST_SUITE_P(All, RecycleChange, testing::ValuesIn(changes),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(Recycle, WhatCannotBeOfTheSearchIsKept) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    scratch.file("films/film", "film");
    scratch.file("films/$Recycle.Bin/film", "film");
    scratch.file("beside", "film");
    LargeSearchResult found = search(scratch.path("films"));
    ASSERT_EQ(found.entries.size(), 1U);
    found.entries.resize(4, found.entries.front());
    found.entries[0].path = scratch.wide("beside");
    found.entries[1].volumeSerial ^= 1;
    found.entries[2].path = scratch.wide("films/$Recycle.Bin/film");
    ++found.entries[3].fileIndex;
    const RecycleResult result = moveAll(found);
    EXPECT_EQ(rowsOf(result), (std::vector<Row>{{0, RecycleStatus::Changed, 123},
                                                {1, RecycleStatus::Changed, 123},
                                                {2, RecycleStatus::Unsupported, 50},
                                                {3, RecycleStatus::Changed, 1006}}));
    expectCounted(result);
    EXPECT_FALSE(fs::exists(homeTrash()));
}

TEST(Recycle, HoweverDeepAFileIsMovedIfItCanBeRestored) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    const rlimit few = {256, 256};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    // Two branches that part on the way; each file lies deeper than descriptors are kept for.
    for (const WChar branch : {W('a'), W('b')}) {
        WString folder = scratch.wide();
        for (int level = 0; level < 120; ++level) {
            folder.append(1, W('\\')).append(level < 80 ? 20 : 60, level < 40 ? W('d') : branch);
            CreateDirectoryW(folder.c_str(), nullptr);
            if (level % 40 == 39)
                CloseHandle(
                    CreateFileW((folder + W("\\film")).c_str(), FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS, 0, nullptr));
        }
    }
    const LargeSearchResult found = searchLargeFiles({.root = scratch.wide(), .minBytes = 0}, goOn, {});
    ASSERT_EQ(found.entries.size(), 5U);
    for (const RecycleOutcome &outcome : moveAll(found).outcomes) {
        const bool canBeRestored = platform::linuxPath(found.entries[outcome.entryIndex].path).size() < PATH_MAX;
        EXPECT_EQ(outcome.status, canBeRestored ? RecycleStatus::Moved : RecycleStatus::Unsupported);
        EXPECT_EQ(outcome.code, canBeRestored ? 0 : notSupported);
    }
    EXPECT_EQ(trashedIn(homeTrash()).size(), 3U);
}

TEST(Recycle, ACancelEndsItWithTheFileThatItMet) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    scratch.file("films/one", "1");
    scratch.file("films/two", "2");
    const LargeSearchResult found = search(scratch.path("films"));
    ASSERT_EQ(found.entries.size(), 2U);
    const std::vector<Row> stopped = {{0, RecycleStatus::Cancelled, 1223}};
    std::atomic<bool> flag = true;
    EXPECT_EQ(rowsOf(moveToRecycleBin(found, {0, 1}, flag, {}, nullptr)), stopped) << "before the start";
    const auto cancelAt = [&](unsigned call) {
        flag = false;
        return moveToRecycleBin(
            found, {0, 1}, flag,
            [&, at = 0U](WStringView, std::uint64_t, std::uint64_t) mutable { flag = at++ == call; }, nullptr);
    };
    EXPECT_EQ(rowsOf(cancelAt(0)), stopped) << "when the first was begun";
    EXPECT_EQ(trashedIn(homeTrash()), Trashed());
    const RecycleResult between = cancelAt(1);
    EXPECT_EQ(rowsOf(between), (std::vector<Row>{{0, RecycleStatus::Moved, 0}})) << "when the first was done";
    EXPECT_TRUE(between.cancelled);
    EXPECT_EQ(trashedIn(homeTrash()).size(), 1U);
}

/// What a mover in another process tells, and is told.
struct Told {
    std::atomic<bool> cancel = false;
    bool done = false;
    Row row = {};
    bool cancelled = false;
};

/// Lets a process move films/film and interferes before each of its system calls in turn, or at that stride: between
/// two of them nothing changes outside of it. In the end it is left in peace. `check` gets what it told, which is
/// nothing if it was killed.
void atEveryCall(const Scratch &scratch, const std::function<void(test::TracedProcess &, Told &)> &act,
                 const std::function<void(const Told &)> &check, int stride = 1) {
    auto *told =
        static_cast<Told *>(mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    require(told != MAP_FAILED, "shared memory");
    bool goesOn = true;
    int calls = 0;
    for (; goesOn && !testing::Test::HasFailure(); calls += stride) {
        fs::remove_all(homeTrash());
        fs::remove_all(scratch.path("films"));
        scratch.file("films/film", "film");
        scratch.file("films/other", "other");
        const LargeSearchResult found = search(scratch.path("films"));
        told = new (told) Told{};
        test::TracedProcess process([&] {
            const RecycleResult result =
                moveToRecycleBin(found, {indexOf(found, scratch.path("films/film"))}, told->cancel, {}, nullptr);
            told->row = rowsOf(result).at(0);
            told->cancelled = result.cancelled;
            told->done = true;
        });
        goesOn = process.steps(2 * calls + 1);
        if (goesOn)
            act(process, *told);
        process.finish();
        SCOPED_TRACE("before call " + std::to_string(calls));
        check(*told);
    }
    EXPECT_GT(calls, 60) << "fewer calls than a move has steps";
    munmap(told, sizeof(Told));
}

Trashed inTrash(const Scratch &scratch) {
    return {{scratch.path("films/film"), "film"}};
}

TEST(Recycle, KilledAnywhereTheFileIsInOnePlaceWithItsWayBack) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    int moved = 0;
    atEveryCall(
        scratch, [](test::TracedProcess &process, Told &) { process.endByKill(); },
        [&](const Told &) {
            const bool isThere = scratch.exists("films/film");
            moved += !isThere;
            EXPECT_EQ(trashedIn(homeTrash()), isThere ? Trashed() : inTrash(scratch));
            EXPECT_TRUE(!isThere || scratch.read("films/film") == "film");
        });
    EXPECT_GT(moved, 20) << "no kill after the rename";
}

TEST(Recycle, CancelledAnywhereItIsEitherCancelledOrDone) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    std::map<std::uint32_t, int> codes;
    atEveryCall(
        scratch, [](test::TracedProcess &, Told &told) { told.cancel = true; },
        [&](const Told &told) {
            ASSERT_TRUE(told.done);
            ++codes[told.row.code];
            const bool moved = told.row.status == RecycleStatus::Moved;
            EXPECT_EQ(told.row.status, moved ? RecycleStatus::Moved : RecycleStatus::Cancelled);
            EXPECT_TRUE(told.cancelled || moved);
            EXPECT_TRUE(told.cancel || !told.cancelled);
            EXPECT_EQ(scratch.exists("films/film"), !moved);
            EXPECT_EQ(trashedIn(homeTrash()), moved ? inTrash(scratch) : Trashed());
            EXPECT_TRUE(moved || !fs::exists(homeTrash()) || fs::is_empty(homeTrash() + "/info"));
        });
    EXPECT_EQ(codes.size(), 3U);
    EXPECT_GT(codes[1223], 10) << "between the steps";
    EXPECT_GT(codes[0x80270000], 10) << "inside the transfer";
    EXPECT_GT(codes[0], 20) << "after the rename";
}

/// Exchanged with another file, at any moment: the list's file alone is ever told to be moved.
TEST(Recycle, ExchangedAnywhereNothingIsLostAndOnlyTheListedFileCountsAsMoved) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    std::map<RecycleStatus, int> statuses;
    atEveryCall(
        scratch,
        [&](test::TracedProcess &, Told &) {
            renameat2(AT_FDCWD, scratch.path("films/film").c_str(), AT_FDCWD, scratch.path("films/other").c_str(),
                      RENAME_EXCHANGE);
        },
        [&](const Told &told) {
            ASSERT_TRUE(told.done);
            ++statuses[told.row.status];
            const Trashed trashed = trashedIn(homeTrash());
            std::multiset<std::string> all;
            for (const auto &[path, content] : trashed)
                all.insert(content);
            for (const auto &entry : fs::directory_iterator(scratch.path("films")))
                all.insert(test::contentOf(entry));
            EXPECT_EQ(all, (std::multiset<std::string>{"film", "other"}));
            if (told.row.status == RecycleStatus::Moved)
                EXPECT_EQ(trashed, inTrash(scratch));
            else if (told.row.status == RecycleStatus::Changed)
                EXPECT_EQ(trashed, Trashed());
            else
                EXPECT_EQ(told.row.status, RecycleStatus::Failed);
        });
    EXPECT_GT(statuses[RecycleStatus::Moved], 20);
    EXPECT_GT(statuses[RecycleStatus::Changed], 20);
    EXPECT_GT(statuses[RecycleStatus::Failed], 0) << "no exchange after the file was let go";
}

/// Before the file is renamed, a folder on its way is: the file must not end where nothing leads back from.
TEST(Recycle, WhenAFolderOnTheWayGoesAnywhereTheFileComesBack) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    const std::string away = scratch.path("away");
    for (const std::string &folder : {scratch.path("films"), homeTrash() + "/files", homeTrash() + "/info"}) {
        SCOPED_TRACE(folder);
        bool inTime = false;
        int returned = 0;
        atEveryCall(
            scratch,
            [&](test::TracedProcess &, Told &) {
                inTime = scratch.exists("films/film") && rename(folder.c_str(), away.c_str()) == 0;
            },
            [&](const Told &told) {
                const bool isBack = scratch.exists("films/film") || scratch.exists("away/film");
                returned += inTime && told.row.status == RecycleStatus::Failed;
                if (inTime && !isBack) {
                    EXPECT_NE(folder, scratch.path("films"));
                    EXPECT_EQ(trashedIn(homeTrash()), inTrash(scratch)) << "in folders made anew";
                }
                fs::remove_all(away);
                inTime = false;
            },
            3);
        EXPECT_GT(returned, 0);
    }
}

TEST(Recycle, ATrashThatIsNotToBeTrustedIsNotUsed) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    for (const char *trouble : {
             "mv Trash linked; ln -s linked Trash",
             "mv Trash/files linked; ln -s ../linked Trash/files",
             "mv Trash/info linked; ln -s ../linked Trash/info",
             "rmdir Trash/info; touch Trash/info",
             "chmod 770 Trash",
             "chmod 702 Trash/info",
             "chown 65534 Trash",
             "chown 65534 Trash/files",
         }) {
        SCOPED_TRACE(trouble);
        const std::string &base = platform::baseFolders().dataHome;
        ASSERT_TRUE(run(base, "rm -rf Trash linked; mkdir -m 700 Trash Trash/files Trash/info"));
        if (!run(base, trouble)) // only root gives a file to somebody else
            continue;
        scratch.file("films/film", "film");
        EXPECT_EQ(rowsOf(moveAll(search(scratch.path("films")))),
                  (std::vector<Row>{{0, RecycleStatus::Unsupported, notSupported}}));
        EXPECT_EQ(scratch.read("films/film"), "film");
    }
}

TEST(Recycle, AnUnwritableTrashIsNotUsed) {
    test::runAsOrdinaryUser([](const std::string &) {
        const Scratch scratch;
        SKIP_WHERE_NOTHING_MOVES(scratch);
        scratch.file("films/film", "film");
        const LargeSearchResult found = search(scratch.path("films"));
        for (const char *closed : {"/files", "/info", ""}) {
            ASSERT_TRUE(run(platform::baseFolders().dataHome, "mkdir -p -m 700 Trash Trash/files Trash/info"));
            if (*closed == '\0')
                fs::remove(homeTrash() + "/info");
            fs::permissions(homeTrash() + closed, fs::perms(0500));
            EXPECT_EQ(rowsOf(moveAll(found)), (std::vector<Row>{{0, RecycleStatus::Unsupported, notSupported}}));
            EXPECT_EQ(scratch.read("films/film"), "film");
            fs::permissions(homeTrash() + closed, fs::perms(0700));
        }
        EXPECT_EQ(rowsOf(moveAll(found)), (std::vector<Row>{{0, RecycleStatus::Moved, 0}}));
    });
}

TEST(Recycle, ATakenNameInTheTrashIsLeftAlone) {
    const Scratch scratch;
    SKIP_WHERE_NOTHING_MOVES(scratch);
    const std::string trash = homeTrash();
    const std::string longName = std::string(120, 'l') + "\u00FC" + std::string(127, 'n') + ".film";
    ASSERT_EQ(longName.size(), 254U);
    ASSERT_TRUE(run(platform::baseFolders().dataHome, "mkdir -m 700 Trash Trash/files Trash/info; "
                                                      "mkdir Trash/files/film.mkv; "
                                                      "echo another > Trash/info/waiting.mkv.trashinfo"));
    Trashed expected;
    for (const std::string &name : {std::string("film.mkv"), std::string("waiting.mkv"), longName}) {
        for (const char *folder : {"films/one/", "films/two/"})
            expected[scratch.file(folder + name, folder + name)] = folder + name;
    }
    const RecycleResult result = moveAll(search(scratch.path("films")));
    EXPECT_EQ(result.moved, 6U);
    fs::remove(trash + "/files/film.mkv");
    EXPECT_EQ(test::contentOf(trash + "/info/waiting.mkv.trashinfo"), "another\n");
    EXPECT_EQ(trashedIn(trash), expected);
    for (const auto &entry : fs::directory_iterator(trash + "/files"))
        EXPECT_TRUE(entry.path().extension() == ".mkv" || entry.path().extension() == ".film");
}

// Other volumes.

/// Mounts an ext4 file system from a file, where nothing of this machine's is seen.
void onVolume(const std::function<void(const std::string &volume)> &inside) {
    if (geteuid() != 0)
        GTEST_SKIP() << "Only root can mount a file system from a file.";
    test::runIsolated(test::Isolation::ProcessesAndPlaces, [&] {
        const std::string home = test::enterEmptyMachine();
        if (!run(home, "mkdir /home/volume; truncate -s 8M /home/image; mkfs.ext4 -q -m 0 /home/image; "
                       "mount -o loop /home/image /home/volume"))
            GTEST_SKIP() << "No file system can be mounted from a file here.";
        inside("/home/volume");
        platform::removePrivateFolders();
    });
}

std::string writeFilm(const std::string &path, const std::string &content = "film") {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

TEST(Recycle, EachVolumeHasATrashOfItsOwn) {
    onVolume([](const std::string &volume) {
        const std::pair<const char *, const char *> cases[] = {
            // and the trash that is used; null for none
            {":", ".Trash-0"},
            {"mkdir -m 1777 .Trash", ".Trash/0"},
            {"mkdir -m 777 .Trash", ".Trash-0"},
            {"mkdir -m 1777 .Trash; chown 7 .Trash", ".Trash-0"},
            {"mkdir -m 1777 linked; ln -s linked .Trash", ".Trash-0"},
            {"mkdir -m 1777 .Trash linked; ln -s ../linked .Trash/0", ".Trash-0"},
            {"mkdir -m 1777 .Trash; mkdir -m 700 .Trash/0; chown 7 .Trash/0", ".Trash-0"},
            {"mkdir -m 700 linked; ln -s linked .Trash-0", nullptr},
            {"mkdir -m 700 .Trash-0; chown 7 .Trash-0", nullptr},
            {"mkdir -m 755 .Trash-0", nullptr},
        };
        for (const auto &[commands, trash] : cases) {
            SCOPED_TRACE(commands);
            ASSERT_TRUE(run(volume, std::string("rm -rf .Trash* linked; ") + commands));
            const std::string path = writeFilm(volume + "/films/film");
            const RecycleResult result = moveAll(search(volume));
            const Row row =
                trash == nullptr ? Row{0, RecycleStatus::Unsupported, notSupported} : Row{0, RecycleStatus::Moved, 0};
            EXPECT_EQ(rowsOf(result), std::vector<Row>{row});
            EXPECT_EQ(fs::exists(path), trash == nullptr);
            if (trash != nullptr) {
                EXPECT_EQ(trashedIn(volume + '/' + trash, volume), (Trashed{{path, "film"}}));
                EXPECT_EQ(fs::status(volume + '/' + trash).permissions(), fs::perms::owner_all);
            }
            EXPECT_TRUE(!fs::exists(volume + "/linked") || fs::is_empty(volume + "/linked"));
        }
        EXPECT_FALSE(fs::exists(homeTrash()));
    });
}

TEST(Recycle, OnlyARenameBringsAFileToTheTrash) {
    onVolume([](const std::string &volume) {
        const LargeSearchResult found = (writeFilm(volume + "/film"), search(volume));
        ASSERT_TRUE(run(volume, "mkdir -m 700 .Trash-0 .Trash-0/files .Trash-0/info"));
        const std::string files = volume + "/.Trash-0/files";
        require(mount("tmpfs", files.c_str(), "tmpfs", 0, "mode=700") == 0, files);
        EXPECT_EQ(rowsOf(moveAll(found)), (std::vector<Row>{{0, RecycleStatus::Unsupported, notSupported}}));
        EXPECT_TRUE(fs::exists(volume + "/film"));
        require(umount2(files.c_str(), 0) == 0, files);

        // A RAM disk is no fixed drive.
        const std::string ram = "/home/ram";
        require(mkdir(ram.c_str(), 0700) == 0 && mount("tmpfs", ram.c_str(), "tmpfs", 0, "mode=700") == 0, ram);
        platform::refreshVolumes();
        LargeSearchResult onRam = found;
        writeFilm(ram + "/film");
        PinnedPath pinned;
        ASSERT_TRUE(pinSearchPath(pinned, platform::drivePath(ram), goOn));
        onRam.root = pinned.finalPath;
        onRam.rootFileIndex = fileIndexOf(pinned.info);
        onRam.rootVolumeSerial = onRam.entries[0].volumeSerial = pinned.info.dwVolumeSerialNumber;
        onRam.entries[0].path = platform::drivePath(ram + "/film");
        EXPECT_EQ(rowsOf(moveAll(onRam)), (std::vector<Row>{{0, RecycleStatus::Unsupported, 50}}));
        EXPECT_TRUE(fs::exists(ram + "/film"));
    });
}

TEST(Recycle, AFullDiskKeepsTheFile) {
    onVolume([](const std::string &volume) {
        writeFilm(volume + "/films/film");
        const LargeSearchResult found = search(volume);
        const auto fill = [&] { run(volume, "sync -f .; dd if=/dev/zero of=filler bs=1k"); };
        const auto expectKept = [&](std::uint32_t code) {
            EXPECT_EQ(rowsOf(moveAll(found)), (std::vector<Row>{{0, RecycleStatus::Failed, code}}));
            EXPECT_EQ(test::contentOf(volume + "/films/film"), "film");
        };
        fill();
        expectKept(ERROR_DISK_FULL);
        fs::remove(volume + "/filler");
        ASSERT_TRUE(openForDeletion(platform::drivePath(volume + "/films/film")));
        fill();
        expectKept(diskFull);
        fs::remove(volume + "/filler");
        ASSERT_TRUE(run(volume, "mkdir -p -m 700 .Trash-0 .Trash-0/files .Trash-0/info"));
        fill();
        expectKept(diskFull);
        EXPECT_TRUE(fs::is_empty(volume + "/.Trash-0/info"));
        fs::remove(volume + "/filler");
        EXPECT_EQ(rowsOf(moveAll(found)), (std::vector<Row>{{0, RecycleStatus::Moved, 0}}));
    });
}

// The way back.

constexpr const char *wildNames[] = {"plain.mkv",   "with blank",  "100% + & #1?.mkv",      "-rf", ".hidden",
                                     "tab\there",   "line\nbreak", "back\\slash",           "aux", "end. ",
                                     "quote\"'$`.", "x.trashinfo", "\u00FC\u4E2D\U0001F600"};

Trashed writeWildFilms(const std::string &folder, bool anyBytes) {
    Trashed films;
    std::vector<std::string> names(std::begin(wildNames), std::end(wildNames));
    names.push_back(std::string(251, 'n') + ".mkv");
    if (anyBytes)
        names.insert(names.end(), {"\xFF\xFE no text", "half \xC3", "\xEF\x80\xBA taken"});
    for (const std::string &name : names) {
        const std::string content = "film " + name + std::string(1, '\0') + "\n";
        films[writeFilm(folder + "/sub folder/" + name, content)] = content;
    }
    return films;
}

/// Everything is moved, told by the trash, and back in its place when a program of this machine has been asked for it.
void expectRestored(const std::string &folder, const std::string &trash, const std::string &top, bool anyBytes,
                    const std::string &restore) {
    const Trashed films = writeWildFilms(folder, anyBytes);
    const RecycleResult result = moveAll(search(folder));
    EXPECT_EQ(result.moved, films.size());
    EXPECT_EQ(trashedIn(trash, top), films);
    EXPECT_TRUE(fs::is_empty(folder + "/sub folder"));
    fs::remove(folder + "/sub folder");
    require(std::system(("cd '" + folder + "' && " + restore).c_str()) == 0, restore);
    Trashed restored;
    for (const auto &entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            restored[entry.path()] = test::contentOf(entry.path());
    EXPECT_EQ(restored, films);
    EXPECT_EQ(trashedIn(trash, top), Trashed());
}

// gio shows every byte of a path that is no plain ASCII as \xNN, and its --restore (of 2.74) takes that for the path.
// So for such a file the trash's own move does it, as a file manager's does, to the path that gio tells.
constexpr const char *restoreByGio = R"sh(dbus-run-session -- bash -c '
    gio trash --list | grep -a "^trash:" | while IFS=$(printf "\t") read -r item path; do
        if [[ $path != "$PWD"/* ]]; then
            continue # whatever else the trashes of this machine hold
        elif [[ $path == *\\* ]]; then
            mkdir -p "sub folder" && gio move "$item" "$(printf %b "$path")"
        else
            gio trash --restore "$item"
        fi || exit 1
    done' 2>/dev/null)sh";
constexpr const char *restoreByTrashCli =
    "export LC_ALL=C.UTF-8; while echo 0 | trash-restore 2>&1 | grep -q 'What file'; do :; done";

bool isInstalled(const char *programs) {
    return std::system((std::string("command -v ") + programs + " >/dev/null 2>&1").c_str()) == 0;
}

bool canGioRestore() {
    return isInstalled("gio") && isInstalled("dbus-run-session") &&
           fs::exists("/usr/share/dbus-1/services/org.gtk.vfs.Daemon.service");
}

struct Restorer {
    const char *name;
    bool (*isThere)();
    const char *command;
    bool anyBytes; ///< it takes names that are no text
};
void PrintTo(const Restorer &restorer, std::ostream *stream) {
    *stream << restorer.name;
}

class RecycleUndo : public testing::TestWithParam<Restorer> {};

TEST_P(RecycleUndo, RestoresEveryNameInPlace) {
    const Restorer &restorer = GetParam();
    if (!restorer.isThere())
        GTEST_SKIP() << restorer.name << " is not installed.";
    test::runIsolated(test::Isolation::Processes, [&] {
        const Scratch scratch;
        SKIP_WHERE_NOTHING_MOVES(scratch);
        expectRestored(scratch.folder("films"), homeTrash(), "", restorer.anyBytes, restorer.command);
    });
}

TEST_P(RecycleUndo, RestoresFromAnotherVolume) {
    const Restorer &restorer = GetParam();
    if (!restorer.isThere())
        GTEST_SKIP() << restorer.name << " is not installed.";
    onVolume([&](const std::string &volume) {
        const std::string runtime = platform::baseFolders().home + "/run";
        require(mkdir(runtime.c_str(), 0700) == 0, runtime);
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        fs::create_directory(volume + "/films");
        expectRestored(volume + "/films", volume + "/.Trash-0", volume, restorer.anyBytes, restorer.command);
        const std::string shared = volume + "/.Trash";
        fs::create_directory(shared);
        fs::permissions(shared, fs::perms(01777));
        expectRestored(volume + "/films", shared + "/0", volume, restorer.anyBytes, restorer.command);
    });
}

INSTANTIATE_TEST_SUITE_P(By, RecycleUndo,
                         testing::Values(Restorer{"gio", canGioRestore, restoreByGio, true},
                                         Restorer{"trashCli", [] { return isInstalled("trash-restore"); },
                                                  restoreByTrashCli, false}),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
} // namespace dm::large
