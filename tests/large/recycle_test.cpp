#include "large/recycle.h"
#include "large/transfer_sink.h"

#include "as_user.h"
#include "empty_machine.h"
#include "platform/linux/private_folder.h"
#include "traced.h"
#include "trashed.h"

#include <numeric>

#include <climits>
#include <sys/mman.h>
#include <sys/resource.h>

namespace dm::large {
namespace {

using namespace test;

const std::atomic<bool> goOn = false;
const std::string unsupported = "0 unsupported 80070032";

/// One row after the other: index, status and code. The counters say what the rows say.
std::string told(const RecycleResult &result) {
    const char *words[] = {"moved", "changed", "in use", "unsupported", "failed", "cancelled"};
    std::map<RecycleStatus, std::uint64_t> counts;
    std::string text;
    for (const auto &[index, status, code] : result.outcomes) {
        ++counts[status];
        char number[16];
        std::snprintf(number, sizeof number, code > 0xFFFF ? "%x" : "%u", code);
        text += (text.empty() ? "" : ", ") + std::to_string(index) + ' ' + words[std::size_t(status)] +
                (code == 0 ? "" : ' ' + std::string(number));
    }
    using enum RecycleStatus;
    EXPECT_EQ(result.moved, counts[Moved]);
    EXPECT_EQ(result.kept, counts[Changed] + counts[InUse] + counts[Unsupported]);
    EXPECT_EQ(result.errors, counts[Failed]);
    return text;
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

/// With a folder from which files can be moved, and no trash yet. The program's private folder lies on that volume.
struct Recycle : testing::Test {
    void SetUp() override {
        fs::remove_all(homeTrash());
        if (!isLocalDrive(scratch.wide(), true))
            GTEST_SKIP() << "The folder for temporary files lies on no fixed drive.";
        scratch.file("probe");
        if (!openForDeletion(scratch.wide("probe")))
            GTEST_SKIP() << "The file system of the folder for temporary files cannot tell who has a file open.";
        fs::remove(scratch.path("probe"));
    }
    Tree filmInTrash() const { return {{scratch.path("films/film"), "film"}}; }
    Scratch scratch;
};

TEST(TransferSink, GivesNothingUp) {
    const std::atomic<bool> flag = false;
    auto *sink = new TransferSink(flag);
    EXPECT_EQ(sink->ConfirmOverwrite(nullptr, nullptr, nullptr), HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(sink->ConfirmEncryptionLoss(nullptr), E_ACCESSDENIED);
    for (const HRESULT said : {S_OK, static_cast<HRESULT>(1), E_FAIL})
        EXPECT_TRUE(FAILED(sink->PropertyFailure(nullptr, nullptr, said)));
    EXPECT_EQ(sink->Release(), 0U);
}

TEST_F(Recycle, EachIndexCountsOnceAndStrangersAreErrors) {
    EXPECT_EQ(uniqueIndexes({5, 2, 5, 9, 0, 2}, 6), (std::vector<std::uint64_t>{5, 2, 0}));
    const std::string first = scratch.file("films/first", "1");
    const std::string second = scratch.file("films/deep/second", "22");
    const std::string third = scratch.file("films/third", "333");
    const LargeSearchResult found = search(scratch.path("films"));
    const std::uint64_t one = indexOf(found, first);
    const std::uint64_t two = indexOf(found, second);
    std::vector<std::string> progress;
    const auto report = [&](WStringView path, std::uint64_t done, std::uint64_t total) {
        progress.push_back(platform::linuxPath(path) + ' ' + std::to_string(done) + '/' + std::to_string(total));
    };
    const RecycleResult result = moveToRecycleBin(found, {two, one, 3, two, one, 3}, goOn, report, nullptr);
    EXPECT_EQ(told(result), "3 failed 87, " + std::to_string(two) + " moved, " + std::to_string(one) + " moved");
    EXPECT_EQ(result.movedBytes, 3U);
    EXPECT_FALSE(result.cancelled);
    EXPECT_EQ(progress, (std::vector<std::string>{second + " 0/2", second + " 1/2", first + " 1/2", first + " 2/2"}));
    EXPECT_EQ(trashedIn(homeTrash()), (Tree{{first, "1"}, {second, "22"}}));
    EXPECT_EQ(readFile(third), "333");
}

TEST_F(Recycle, WhatChangedBetweenSearchAndMoveHasItsStatus) {
    const struct {
        const char *commands; ///< between the two
        const char *told;
        const char *stays; ///< where the film is afterwards; null in the trash
    } table[] = {
        {":", "0 moved", nullptr},
        {"chmod 400 films/sub/film", "0 moved", nullptr},
        {"cp -p films/sub/film twin; mv films/sub/film away; mv twin films/sub/film", "0 changed 1006", "away"},
        {"echo >> films/sub/film", "0 changed 1006", "films/sub/film"},
        {"touch films/sub/film", "0 changed 1006", "films/sub/film"},
        {"ln films/sub/film second", "0 changed 1006", "films/sub/film"},
        {"mv films/sub/film away", "0 changed 2", "away"},
        {"mv films/sub/film away; ln -s ../../away films/sub/film", "0 changed 1006", "away"},
        {"mv films/sub/film away; mkdir films/sub/film", "0 failed 5", "away"},
        {"# read", "0 in use 32", "films/sub/film"},
        {"chattr +i films/sub/film", "0 failed 5", "films/sub/film"},
        {"cp -pr films/sub twin; mv films/sub away; mv twin films/sub", "0 changed 1006", "away/film"},
        {"mv films/sub away; ln -s ../away films/sub", "0 changed 4393", "away/film"},
        {"mv films/sub away", "0 changed 2", "away/film"},
        {"mv films away; mkdir films; mv away/sub films", "0 changed 1006", "films/sub/film"},
        {"mv films away; ln -s away films", "0 changed 4393", "away/sub/film"},
        {"mv films away", "0 changed 2", "away/sub/film"},
    };
    for (const auto &[commands, expected, stays] : table) {
        SCOPED_TRACE(commands);
        ASSERT_TRUE(runIn(scratch.path(), "rm -rf * '" + homeTrash() + "'"));
        scratch.file("films/sub/film", "film");
        const LargeSearchResult found = search(scratch.path("films"));
        ASSERT_EQ(found.entries.size(), 1U);
        if (!runIn(scratch.path(), commands)) // only root makes a file immutable
            continue;
        std::ifstream reader;
        if (*commands == '#')
            reader.open(scratch.path("films/sub/film"));
        EXPECT_EQ(told(moveAll(found)), expected);
        runIn(scratch.path(), "chattr -i films/sub/film");
        const Tree film = {{scratch.path("films/sub/film"), "film"}};
        EXPECT_EQ(trashedIn(homeTrash()), stays == nullptr ? film : Tree());
        EXPECT_TRUE(stays == nullptr || scratch.read(stays).starts_with("film"));
    }
}

TEST_F(Recycle, WhatCannotBeOfTheSearchIsKept) {
    for (const char *file : {"films/film", "films/$Recycle.Bin/film", "beside"})
        scratch.file(file);
    LargeSearchResult found = search(scratch.path("films"));
    ASSERT_EQ(found.entries.size(), 1U);
    found.entries.resize(4, found.entries.front());
    found.entries[0].path = scratch.wide("beside");
    found.entries[1].volumeSerial ^= 1;
    found.entries[2].path = scratch.wide("films/$Recycle.Bin/film");
    ++found.entries[3].fileIndex;
    EXPECT_EQ(told(moveAll(found)), "0 changed 123, 1 changed 123, 2 unsupported 50, 3 changed 1006");
    EXPECT_FALSE(fs::exists(homeTrash()));
}

TEST_F(Recycle, HoweverDeepAFileIsMovedIfItCanBeRestored) {
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
    }
    EXPECT_EQ(trashedIn(homeTrash()).size(), 3U);
}

TEST_F(Recycle, ACancelEndsItWithTheFileThatItMet) {
    scratch.file("films/one", "1");
    scratch.file("films/two", "2");
    const LargeSearchResult found = search(scratch.path("films"));
    std::atomic<bool> flag = true;
    EXPECT_EQ(told(moveToRecycleBin(found, {0, 7, 1}, flag, {}, nullptr)), "7 failed 87, 0 cancelled 1223");
    const auto cancelAt = [&](unsigned call) {
        flag = false;
        const auto raise = [&, at = 0U](auto &&...) mutable { flag = at++ == call; };
        const RecycleResult result = moveToRecycleBin(found, {0, 1}, flag, raise, nullptr);
        EXPECT_TRUE(result.cancelled);
        return told(result);
    };
    EXPECT_EQ(cancelAt(0), "0 cancelled 1223") << "when the first was begun";
    EXPECT_EQ(trashedIn(homeTrash()), Tree());
    EXPECT_EQ(cancelAt(1), "0 moved") << "when the first was done";
    EXPECT_EQ(trashedIn(homeTrash()).size(), 1U);
}

/// A process that moves films/film, interfered with before each of its system calls.
struct RecycleStepwise : Recycle {
    /// What the mover tells, and is told. Nothing if it was killed.
    struct Told {
        std::atomic<bool> cancel = false;
        bool done = false;
        RecycleOutcome row;
        bool cancelled = false;
    };
    Told *told = nullptr;

    void SetUp() override {
        Recycle::SetUp();
        void *memory = mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        require(memory != MAP_FAILED, "shared memory");
        told = static_cast<Told *>(memory);
    }
    void TearDown() override { munmap(told, sizeof(Told)); }

    void atEveryCall(const std::function<void(TracedProcess &)> &act, const std::function<void()> &check) {
        LargeSearchResult found;
        const auto prepare = [&] {
            for (const std::string &folder : {homeTrash(), scratch.path("films"), scratch.path("away")})
                fs::remove_all(folder);
            scratch.file("films/film", "film");
            scratch.file("films/other", "other");
            found = search(scratch.path("films"));
            new (told) Told{};
        };
        const auto move = [&] {
            const std::uint64_t film = indexOf(found, scratch.path("films/film"));
            const RecycleResult result = moveToRecycleBin(found, {film}, told->cancel, {}, nullptr);
            told->row = result.outcomes.at(0);
            told->cancelled = result.cancelled;
            told->done = true;
        };
        EXPECT_GT(test::atEveryCall(prepare, move, act, check), 60) << "fewer calls than a move has steps";
    }
};

TEST_F(RecycleStepwise, KilledAnywhereTheFileIsInOnePlaceWithItsWayBack) {
    int moved = 0;
    atEveryCall([](TracedProcess &process) { process.endByKill(); },
                [&] {
                    const bool isThere = scratch.read("films/film") == "film";
                    moved += !isThere;
                    EXPECT_EQ(scratch.exists("films/film"), isThere);
                    EXPECT_EQ(trashedIn(homeTrash()), isThere ? Tree() : filmInTrash());
                });
    EXPECT_GT(moved, 20) << "no kill after the rename";
}

TEST_F(RecycleStepwise, CancelledAnywhereItIsEitherCancelledOrDone) {
    std::map<std::uint32_t, int> codes;
    atEveryCall([&](TracedProcess &) { told->cancel = true; },
                [&] {
                    ASSERT_TRUE(told->done);
                    ++codes[told->row.code];
                    const bool moved = told->row.status == RecycleStatus::Moved;
                    EXPECT_TRUE(moved || (told->row.status == RecycleStatus::Cancelled && told->cancelled));
                    EXPECT_TRUE(told->cancel || !told->cancelled);
                    EXPECT_EQ(scratch.exists("films/film"), !moved);
                    EXPECT_EQ(trashedIn(homeTrash()), moved ? filmInTrash() : Tree());
                    EXPECT_TRUE(moved || !fs::exists(homeTrash()) || fs::is_empty(homeTrash() + "/info"));
                });
    EXPECT_EQ(codes.size(), 3U);
    EXPECT_GT(codes[1223], 10) << "between the steps";
    EXPECT_GT(codes[0x80270000], 10) << "inside the transfer";
    EXPECT_GT(codes[0], 20) << "after the rename";
}

/// With another file, at any moment: the list's file alone is ever told to be moved.
TEST_F(RecycleStepwise, ExchangedAnywhereNothingIsLostAndOnlyTheListedFileCountsAsMoved) {
    std::map<RecycleStatus, int> statuses;
    atEveryCall(
        [&](TracedProcess &) {
            renameat2(AT_FDCWD, scratch.path("films/film").c_str(), AT_FDCWD, scratch.path("films/other").c_str(),
                      RENAME_EXCHANGE);
        },
        [&] {
            ASSERT_TRUE(told->done);
            ++statuses[told->row.status];
            const Tree trashed = trashedIn(homeTrash());
            std::multiset<std::string> all;
            for (const Tree &files : {trashed, treeOf(scratch.path("films"))})
                for (const auto &[path, content] : files)
                    all.insert(content);
            EXPECT_EQ(all, (std::multiset<std::string>{"film", "other"}));
            EXPECT_TRUE(told->row.status != RecycleStatus::Moved || trashed == filmInTrash());
            EXPECT_TRUE(told->row.status != RecycleStatus::Changed || trashed.empty());
        });
    EXPECT_EQ(statuses.size(), 3U);
    EXPECT_GT(statuses[RecycleStatus::Moved], 20);
    EXPECT_GT(statuses[RecycleStatus::Changed], 20);
    EXPECT_GT(statuses[RecycleStatus::Failed], 0) << "no exchange after the file was let go";
}

/// Before the file is renamed, a folder on its way is: the file must not end where nothing leads back from.
TEST_F(RecycleStepwise, WhenAFolderOnTheWayGoesAnywhereTheFileComesBack) {
    const std::string away = scratch.path("away");
    for (const std::string &folder : {scratch.path("films"), homeTrash() + "/files", homeTrash() + "/info"}) {
        SCOPED_TRACE(folder);
        bool inTime = false;
        int returned = 0;
        atEveryCall(
            [&](TracedProcess &) {
                inTime = scratch.exists("films/film") && rename(folder.c_str(), away.c_str()) == 0;
            },
            [&] {
                returned += inTime && told->row.status == RecycleStatus::Failed;
                if (inTime && !scratch.exists("films/film") && !scratch.exists("away/film")) {
                    EXPECT_NE(folder, scratch.path("films"));
                    EXPECT_EQ(trashedIn(homeTrash()), filmInTrash()) << "in folders made anew";
                }
                inTime = false;
            });
        EXPECT_GT(returned, 0);
    }
}

TEST_F(Recycle, ATrashThatIsNotToBeTrustedIsNotUsed) {
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
        ASSERT_TRUE(runIn(base, "rm -rf Trash linked; mkdir -m 700 Trash Trash/files Trash/info"));
        if (!runIn(base, trouble)) // only root gives a file to somebody else
            continue;
        scratch.file("films/film", "film");
        EXPECT_EQ(told(moveAll(search(scratch.path("films")))), unsupported);
        EXPECT_EQ(scratch.read("films/film"), "film");
    }
}

TEST(RecycleAsOrdinaryUser, AnUnwritableTrashIsNotUsed) {
    runAsOrdinaryUser([](const std::string &) {
        const Scratch scratch;
        if (!isLocalDrive(scratch.wide(), true))
            GTEST_SKIP() << "The folder for temporary files lies on no fixed drive.";
        scratch.file("films/film", "film");
        const LargeSearchResult found = search(scratch.path("films"));
        for (const char *closed : {"/files", "/info", ""}) {
            ASSERT_TRUE(runIn(platform::baseFolders().dataHome, "mkdir -p -m 700 Trash Trash/files Trash/info"));
            if (*closed == '\0')
                fs::remove(homeTrash() + "/info");
            fs::permissions(homeTrash() + closed, fs::perms(0500));
            EXPECT_EQ(told(moveAll(found)), unsupported);
            EXPECT_EQ(scratch.read("films/film"), "film");
            fs::permissions(homeTrash() + closed, fs::perms(0700));
        }
        EXPECT_EQ(told(moveAll(found)), "0 moved");
    });
}

TEST_F(Recycle, ATakenNameInTheTrashIsLeftAlone) {
    const std::string trash = homeTrash();
    const std::string longName = std::string(120, 'l') + "\u00FC" + std::string(127, 'n') + ".film";
    ASSERT_TRUE(runIn(platform::baseFolders().dataHome, "mkdir -m 700 Trash Trash/files Trash/info; "
                                                        "mkdir Trash/files/film.mkv; "
                                                        "echo another > Trash/info/waiting.mkv.trashinfo"));
    Tree expected;
    for (const std::string &name : {std::string("film.mkv"), std::string("waiting.mkv"), longName}) {
        for (const char *folder : {"films/one/", "films/two/"})
            expected[scratch.file(folder + name, folder + name)] = folder + name;
    }
    EXPECT_EQ(moveAll(search(scratch.path("films"))).moved, 6U);
    fs::remove(trash + "/files/film.mkv");
    EXPECT_EQ(readFile(trash + "/info/waiting.mkv.trashinfo"), "another\n");
    EXPECT_EQ(trashedIn(trash), expected);
    for (const auto &entry : fs::directory_iterator(trash + "/files"))
        EXPECT_TRUE(entry.path().extension() == ".mkv" || entry.path().extension() == ".film");
}

// Other volumes.

/// Mounts an ext4 file system from a file, where nothing of this machine's is seen.
void onVolume(const std::function<void(const std::string &volume)> &inside) {
    if (geteuid() != 0)
        GTEST_SKIP() << "Only root can mount a file system from a file.";
    runIsolated(Isolation::ProcessesAndPlaces, [&] {
        enterEmptyMachine();
        if (!runIn("/home", "mkdir volume; truncate -s 8M image; mkfs.ext4 -q -m 0 image; mount -o loop image volume"))
            GTEST_SKIP() << "No file system can be mounted from a file here.";
        inside("/home/volume");
        platform::removePrivateFolders();
    });
}

TEST(RecycleOnVolume, EachVolumeHasATrashOfItsOwn) {
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
            ASSERT_TRUE(runIn(volume, std::string("rm -rf .Trash* linked; ") + commands));
            const std::string path = volume + "/films/film";
            makeFile(path, "film");
            EXPECT_EQ(told(moveAll(search(volume))), trash == nullptr ? unsupported : "0 moved");
            EXPECT_EQ(fs::exists(path), trash == nullptr);
            if (trash != nullptr) {
                EXPECT_EQ(trashedIn(volume + '/' + trash, volume), (Tree{{path, "film"}}));
                EXPECT_EQ(fs::status(volume + '/' + trash).permissions(), fs::perms::owner_all);
            }
            EXPECT_TRUE(!fs::exists(volume + "/linked") || fs::is_empty(volume + "/linked"));
        }
        EXPECT_FALSE(fs::exists(homeTrash()));
    });
}

TEST(RecycleOnVolume, OnlyARenameOnAFixedDriveBringsAFileToTheTrash) {
    onVolume([](const std::string &volume) {
        makeFile(volume + "/film");
        LargeSearchResult found = search(volume);
        ASSERT_TRUE(runIn(volume, "mkdir -m 700 .Trash-0 .Trash-0/files .Trash-0/info; cd .Trash-0; "
                                  "mount -t tmpfs -o mode=700 tmpfs files"));
        EXPECT_EQ(told(moveAll(found)), unsupported);
        EXPECT_TRUE(fs::exists(volume + "/film"));

        ASSERT_TRUE(runIn("/home", "mkdir ram; mount -t tmpfs -o mode=700 tmpfs ram; echo > ram/film"));
        platform::refreshVolumes();
        PinnedPath pinned;
        ASSERT_TRUE(pinSearchPath(pinned, platform::drivePath("/home/ram"), goOn));
        found.root = pinned.finalPath;
        found.rootFileIndex = fileIndexOf(pinned.info);
        found.rootVolumeSerial = found.entries[0].volumeSerial = pinned.info.dwVolumeSerialNumber;
        found.entries[0].path = platform::drivePath("/home/ram/film");
        EXPECT_EQ(told(moveAll(found)), "0 unsupported 50");
        EXPECT_TRUE(fs::exists("/home/ram/film"));
    });
}

TEST(RecycleOnVolume, AFullDiskKeepsTheFile) {
    onVolume([](const std::string &volume) {
        makeFile(volume + "/films/film");
        const LargeSearchResult found = search(volume);
        const auto moveOnFullDisk = [&] {
            runIn(volume, "sync -f .; dd if=/dev/zero of=filler bs=1k");
            const std::string result = told(moveAll(found));
            EXPECT_EQ(readFile(volume + "/films/film"), "content");
            fs::remove(volume + "/filler");
            return result;
        };
        EXPECT_EQ(moveOnFullDisk(), "0 failed 112");
        ASSERT_TRUE(openForDeletion(platform::drivePath(volume + "/films/film"))); // which makes the private folder
        EXPECT_EQ(moveOnFullDisk(), "0 failed 80070070");
        ASSERT_TRUE(runIn(volume, "mkdir -p -m 700 .Trash-0 .Trash-0/files .Trash-0/info"));
        EXPECT_EQ(moveOnFullDisk(), "0 failed 80070070");
        EXPECT_TRUE(fs::is_empty(volume + "/.Trash-0/info"));
        EXPECT_EQ(told(moveAll(found)), "0 moved");
    });
}

// The way back.

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
    done')sh";

Tree writeWildFilms(const std::string &folder) {
    std::vector<std::string> names = {
        "plain.mkv",   "with blank",  "100% + & #1?.mkv", "-rf",         ".hidden",
        "tab\there",   "aux",         "line\nbreak",      "back\\slash", "end. ",
        "x.trashinfo", "quote\"'$`.", "\u00FC",           "\U0001F600",  std::string(251, 'n') + ".mkv"};
    names.insert(names.end(), {"\xFF\xFE no text", "half \xC3", "\xEF\x80\xBA taken"});
    Tree films;
    for (const std::string &name : names) {
        const std::string path = folder + "/sub folder/" + name;
        makeFile(path, films[path] = "film " + name + std::string(1, '\0') + "\n");
    }
    return films;
}

/// Everything is moved, told by the trash, and back in its place when another program has been asked for it.
void expectRestored(const std::string &folder, const std::string &trash, const std::string &top) {
    const Tree films = writeWildFilms(folder);
    EXPECT_EQ(moveAll(search(folder)).moved, films.size());
    EXPECT_EQ(trashedIn(trash, top), films);
    fs::remove(folder + "/sub folder");
    require(runIn(folder, restoreByGio), restoreByGio);
    Tree restored;
    for (const auto &[name, content] : treeOf(folder + "/sub folder"))
        restored[folder + "/sub folder/" + name] = content;
    EXPECT_EQ(restored, films);
    EXPECT_EQ(trashedIn(trash, top), Tree());
}

struct RecycleUndo : testing::Test {
    void SetUp() override {
        if (!runIn("/", "command -v gio && command -v dbus-run-session && "
                        "test -e /usr/share/dbus-1/services/org.gtk.vfs.Daemon.service"))
            GTEST_SKIP() << "gio is not installed.";
    }
};

TEST_F(RecycleUndo, RestoresEveryNameInPlace) {
    runIsolated(Isolation::Processes, [] {
        fs::remove_all(homeTrash());
        const Scratch scratch;
        if (!isLocalDrive(scratch.wide(), true))
            GTEST_SKIP() << "The folder for temporary files lies on no fixed drive.";
        expectRestored(scratch.folder("films"), homeTrash(), "");
    });
}

TEST_F(RecycleUndo, RestoresFromAnotherVolume) {
    onVolume([](const std::string &volume) {
        const std::string runtime = platform::baseFolders().home + "/run";
        require(mkdir(runtime.c_str(), 0700) == 0, runtime);
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        const std::string films = volume + "/films";
        expectRestored(films, volume + "/.Trash-0", volume);
        ASSERT_TRUE(runIn(volume, "mkdir -m 1777 .Trash"));
        expectRestored(films, volume + "/.Trash/0", volume);
    });
}

} // namespace
} // namespace dm::large
