#include "data/data_folder.h"

#include "as_user.h"
#include "core/handles.h"
#include "files.h"
#include "platform/win32.h"
#include "traced.h"

#include <sys/mount.h>

namespace dm {
namespace {

using namespace test;

const std::string cannotSave = "cannot save settings";
const std::string cannotCommit = "cannot commit settings";

std::string failureOfSave(const std::string &path, std::string_view content = "new") {
    return failureOf([&] { atomicSave(platform::drivePath(path), content); });
}

void withDataHome(const std::string &path, const std::function<void()> &body) {
    inNewProcess([&] {
        setenv("XDG_DATA_HOME", path.c_str(), 1);
        body();
    });
}

TEST(DataFolder, IsMadeForThisUserAloneWithAllAboveIt) {
    const std::string base = std::string(std::getenv("TMPDIR")) + "/some";
    withDataHome(base + "/where", [&] {
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(dataFolder(), platform::drivePath(base + "/where/Dustmere"));
            for (const char *made : {"", "/where", "/where/Dustmere"})
                EXPECT_EQ(fs::status(base + made).permissions(), fs::perms::owner_all);
            fs::remove_all(base); // nothing is remembered of it
        }
    });
}

TEST(DataFolder, WithoutABaseFolderThereIsNone) {
    const std::string temp = std::getenv("TMPDIR");
    for (const std::string &base : {std::string("/dev/null/below"), temp + '/' + std::string(250, 'a')})
        withDataHome(base, [] { EXPECT_EQ(failureOf([] { dataFolder(); }), "LocalAppData"); });
}

TEST(AtomicSave, ReplacesTheWholeFile) {
    const Scratch scratch;
    scratch.file("state.new", std::string(4'000'000, 'y')); // what an earlier attempt left
    for (const std::string &content :
         {std::string("a"), std::string(3'000'000, 'x'), std::string(), std::string(3, 0)}) {
        EXPECT_EQ(failureOfSave(scratch.path("state"), content), "");
        EXPECT_EQ(scratch.read("state"), content);
        EXPECT_FALSE(scratch.exists("state.new"));
    }
}

/// What stands in the way stays, and so does the old file.
TEST(AtomicSave, ToldFailuresKeepEverything) {
    const struct {
        const char *commands; ///< in the folder with the old file
        const char *path;
        std::string failure;
    } cases[] = {
        {":", "missing/state", cannotSave},         {":", "state/below", cannotSave},
        {"mkdir state.new", "state", cannotSave},   {"ln -s state state.new", "state", cannotSave},
        {"mkfifo state.new", "state", cannotSave},  {"mkdir folder", "folder", cannotCommit},
        {"ln -s state link", "link", cannotCommit}, {"chmod 400 state", "state", cannotCommit},
    };
    for (const auto &[commands, path, failure] : cases) {
        SCOPED_TRACE(commands);
        const Scratch scratch;
        scratch.file("state", "old");
        ASSERT_TRUE(runIn(scratch.path(), commands));
        const Tree before = treeOf(scratch.path());
        EXPECT_EQ(failureOfSave(scratch.path(path)), failure);
        EXPECT_EQ(treeOf(scratch.path()), before);
    }
}

TEST(AtomicSave, FilesThatSomebodyHasAloneStayAsTheyAre) {
    for (const std::string held : {"state", "state.new"}) {
        const Scratch scratch;
        scratch.file("state", "old");
        scratch.file(held, "old");
        OwnedHandle alone(CreateFileW(scratch.wide(held).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        EXPECT_EQ(failureOfSave(scratch.path("state")), held == "state" ? cannotCommit : cannotSave);
        EXPECT_EQ(scratch.read("state"), "old");
        EXPECT_EQ(scratch.read("state.new"), held == "state" ? "" : "old");
        alone.reset();
        EXPECT_EQ(failureOfSave(scratch.path("state")), "");
    }
}

TEST(AtomicSave, WhatIsNotThisUsersStays) {
    runAsOrdinaryUser(
        [&](const std::string &shared) {
            for (const std::string folder : {"/closed", "/side", "/state"})
                EXPECT_EQ(failureOfSave(shared + folder + "/state"), folder == "/state" ? cannotCommit : cannotSave);
            for (const char *file : {"/closed/state", "/side/state.new", "/state/state"})
                EXPECT_EQ(readFile(shared + file), "theirs");
            EXPECT_FALSE(fs::exists(shared + "/state/state.new"));
        },
        [](const std::string &shared) {
            for (const std::string file : {"/closed/state", "/side/state.new", "/state/state"}) {
                const fs::path path = shared + file;
                fs::create_directory(path.parent_path());
                makeFile(path, "theirs");
                const uid_t owner = file.starts_with("/closed") ? 0 : detail::ordinaryUser;
                require(chmod(path.c_str(), 0644) == 0 && chown(path.parent_path().c_str(), owner, 0) == 0, file);
            }
        });
}

TEST(AtomicSave, FullDiskKeepsTheOldFile) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        ASSERT_EQ(mkdir("/tmp/disk", S_IRWXU), 0);
        ASSERT_EQ(mount("tmpfs", "/tmp/disk", "tmpfs", MS_NOSUID, "size=64k,mode=700"), 0);
        platform::refreshVolumes();
        ASSERT_EQ(failureOfSave("/tmp/disk/state", std::string(30'000, 'o')), "");
        for (const std::size_t size : {40'000U, 1'000'000U}) {
            EXPECT_EQ(failureOfSave("/tmp/disk/state", std::string(size, 'n')), cannotCommit) << size;
            EXPECT_EQ(readFile("/tmp/disk/state"), std::string(30'000, 'o'));
            EXPECT_FALSE(fs::exists("/tmp/disk/state.new"));
        }
        EXPECT_EQ(failureOfSave("/tmp/disk/state", std::string(30'000, 'n')), "");
    });
}

TEST(AtomicSave, DiskHasTheContentBeforeTheNameAndTheNameBeforeTheEnd) {
    const Scratch scratch;
    TracedProcess process([&] { atomicSave(scratch.wide("state"), "new"); });
    const std::map<long, char> told = {{SYS_write, 'w'}, {SYS_fsync, 'f'}, {SYS_renameat, 'r'}, {SYS_renameat2, 'r'}};
    std::string calls;
    while (process.step())
        // A sanitizer writes to pipes of its own to see whether memory is there.
        if (const auto call = told.find(process.call()); call != told.end() && !process.writesElsewhere())
            calls += call->second;
    EXPECT_TRUE(process.finish());
    EXPECT_EQ(calls, "wfrf");
}

// Of different lengths, so that no mixture of two goes for one of them.
const std::string oldContent(100, 'o');
const std::string firstContent(5000, 'a');
const std::string secondContent(9000, 'b');

/// One process is stopped before every system call of a save in turn, and there a second one saves, or is killed at it
/// before every one in turn; then the first goes on.
TEST(AtomicSave, TwoProcessesLeaveTheWholeFileOfOneOfThem) {
    // Some thousand saves, which a disk would take minutes to flush.
    const Scratch scratch(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : fs::temp_directory_path());
    const WString path = scratch.wide("state");
    bool firstEnded = false;
    for (int moment = 0; !firstEnded; ++moment) {
        bool secondEnded = false;
        for (int killed = 0; !secondEnded; ++killed) {
            atomicSave(path, oldContent);
            TracedProcess first([&] { atomicSave(path, firstContent); });
            firstEnded = !first.steps(2 * moment + 1);
            TracedProcess second([&] { atomicSave(path, secondContent); });
            // One that waits for the first would go on doing that for as long as the first is stopped.
            secondEnded = !second.steps(2 * killed + 1) || second.call() == SYS_clock_nanosleep;
            second.endByKill();
            const bool firstSaved = first.finish();
            const std::string content = scratch.read("state");
            ASSERT_TRUE(content == (firstSaved ? firstContent : oldContent) || content == secondContent)
                << moment << ' ' << killed << ' ' << content.size();
        }
    }
}

} // namespace
} // namespace dm
