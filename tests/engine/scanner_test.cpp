#include "engine/scanner.h"

#include "as_user.h"
#include "files.h"
#include "platform/linux/fd.h"

#include <set>

namespace dm {
namespace {

using namespace test;

const std::atomic<bool> goOn = false;

std::set<WString> pathsOf(const ScanResult &result) {
    std::set<WString> paths;
    for (const FileEntry &entry : result.entries)
        paths.insert(entry.path);
    return paths;
}

// Walks a folder like a browser's cache.
ScanResult scanCache(const Scratch &scratch) {
    ScanResult result;
    std::uint64_t count = 0;
    scanFolder(scratch.wide(), {scratch.wide(), CleanCategory::Browser, false}, scratch.wide(), result, goOn, {},
               currentTime(), count, 0);
    return result;
}

TEST(Scanner, TheAgeTestKnowsUnsetFutureAndExactTimes) {
    constexpr std::uint64_t now = 133'000'000'000'000'000;
    const std::pair<std::uint64_t, bool> table[] = {
        {0, false},
        {1, true},
        {now - 864'000'000'001, true},
        {now - 864'000'000'000, true},
        {now - 863'999'999'999, false},
        {now, false},
        {now + 1, false},
        {~std::uint64_t{0}, false},
    };
    for (const auto &[time, qualifies] : table)
        EXPECT_EQ(isOldEnough(time, now), qualifies) << time;
    EXPECT_FALSE(isOldEnough(1, ageCutoff));
}

TEST(Scanner, AnEntryTellsWhatTheOpenFileIs) {
    const Scratch scratch;
    scratch.file("folder/file", "twelve bytes");
    ASSERT_TRUE(runIn(scratch.path(), "touch -d @1000000000.1234567 folder/file"));
    const ScanResult result = scanRoot(scratch.wide(), goOn);
    ASSERT_EQ(result.entries.size(), 1U);
    const FileEntry &entry = result.entries.front();
    EXPECT_EQ(entry.path, scratch.wide("folder/file"));
    EXPECT_EQ(entry.rootPath, scratch.wide());
    EXPECT_EQ(entry.size, 12U);
    EXPECT_EQ(entry.category, CleanCategory::Temp);
    // 1601 to 1970 is 11644473600 seconds.
    EXPECT_EQ(entry.lastWriteTime, (11'644'473'600 + 1'000'000'000) * 10'000'000 + 1'234'567);
    ASSERT_EQ(result.roots.size(), 1U);
    EXPECT_EQ(result.roots.front().path, scratch.wide());
    EXPECT_EQ(result.roots.front().volumeSerial, entry.volumeSerial);
    EXPECT_NE(result.roots.front().fileIndex, entry.fileIndex);
    EXPECT_EQ(result.bytesByCategory, (std::array<std::uint64_t, 2>{12, 0}));
    EXPECT_EQ(result.skipped + result.errors, 0U);
}

TEST(Scanner, WhatIsNoOldPlainFileIsSkipped) {
    const struct {
        const char *commands; ///< in a folder with an old file
        std::uint64_t skipped;
        bool alsoInCaches; ///< the rule does not depend on the age
    } table[] = {
        {"touch -d '23 hours ago' file", 1, false},
        {"touch -d 'next year' file", 1, false},
        {"chmod 444 file", 1, true},
        {"mkdir folder; ln file folder/other", 2, true},
        {"rm file; mkdir -p a/b/c", 0, true},
        {"rm file; ln -s . upwards; touch -hd 2001-01-01 upwards", 1, true},
    };
    for (const auto &row : table) {
        SCOPED_TRACE(row.commands);
        const Scratch scratch;
        scratch.file("file");
        ASSERT_TRUE(runIn(scratch.path(), row.commands));
        const ScanResult temp = scanRoot(scratch.wide(), goOn);
        EXPECT_EQ(temp.entries.size(), 0U);
        EXPECT_EQ(temp.skipped, row.skipped);
        EXPECT_EQ(temp.errors, 0U);
        const ScanResult cache = scanCache(scratch);
        EXPECT_EQ(cache.entries.size(), row.alsoInCaches ? 0U : 1U);
        EXPECT_EQ(cache.skipped, row.alsoInCaches ? row.skipped : 0U);
    }
}

TEST(Scanner, WhatThisUserMayNotRemoveIsSkipped) {
    runAsOrdinaryUser([](const std::string &) {
        for (const mode_t mode : {0, 0400, 0500}) {
            const Scratch root;
            root.file("folder/file");
            root.file("other");
            root.setMode("folder", mode);
            const ScanResult result = scanRoot(root.wide(), goOn);
            EXPECT_EQ(pathsOf(result), std::set<WString>{root.wide("other")}) << mode;
            EXPECT_EQ(result.skipped, 1U) << mode;
            EXPECT_EQ(result.errors, 0U) << mode;
            root.setMode("folder", 0700);
        }
    });
}

TEST(Scanner, AnotherUsersFileInAStickyFolderIsSkipped) {
    const auto look = [](const std::string &shared) {
        const ScanResult result = scanRoot(platform::drivePath(shared + "/sticky"), goOn);
        EXPECT_EQ(pathsOf(result), std::set<WString>{platform::drivePath(shared + "/sticky/ours")});
        EXPECT_EQ(result.skipped, 1U);
        EXPECT_EQ(result.errors, 0U);
    };
    runAsOrdinaryUser(look, [](const std::string &shared) {
        const Scratch scratch(shared);
        scratch.file("theirs");
        scratch.file("ours");
        require(chown(scratch.path("ours").c_str(), 65534, 65534) == 0, "chown");
        require(chmod(scratch.path().c_str(), 01777) == 0, "chmod");
        fs::rename(scratch.path(), shared + "/sticky");
    });
}

TEST(Scanner, ARootThatIsNoPlainFolderGivesNothing) {
    const Scratch scratch;
    scratch.file("folder/file");
    scratch.link("link", scratch.path("folder"));
    for (const WString &root : {scratch.wide("link"), scratch.wide("missing"), scratch.wide("folder/file"),
                                WString(W("relative")), WString(W("\\\\server\\share")), WString()}) {
        const ScanResult result = scanRoot(root, goOn);
        EXPECT_TRUE(result.roots.empty() && result.entries.empty());
        EXPECT_EQ(result.skipped + result.errors, 0U);
    }
}

TEST(Scanner, AWholeDriveIsNeverWalked) {
    const ScanResult result = scanRoot(W("C:\\"), goOn);
    EXPECT_TRUE(result.roots.empty() && result.entries.empty());
    EXPECT_EQ(result.skipped, 1U);
}

// The deepest path of them is longer than the kernel takes.
TEST(Scanner, FoldersBelowDepth96AreNotEntered) {
    const Scratch scratch;
    const WString name(60, W('n'));
    WString folder = scratch.wide();
    const timespec longAgo[2] = {{0, UTIME_OMIT}, {1'000'000'000, 0}};
    platform::Fd descriptor(open(scratch.path().c_str(), O_PATH | O_CLOEXEC));
    for (int depth = 1; depth <= 98; ++depth) {
        const std::string narrow(name.begin(), name.end());
        require(mkdirat(descriptor.get(), narrow.c_str(), 0700) == 0, "folder");
        descriptor = platform::Fd(openat(descriptor.get(), narrow.c_str(), O_PATH | O_CLOEXEC));
        const platform::Fd file(openat(descriptor.get(), "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        require(futimens(file.get(), longAgo) == 0, "file");
        if (depth <= 96)
            folder += W("\\") + name;
    }
    const ScanResult result = scanRoot(scratch.wide(), goOn);
    EXPECT_EQ(result.entries.size(), 96U);
    EXPECT_GT(folder.size(), 4096U);
    EXPECT_TRUE(pathsOf(result).contains(folder + W("\\file")));
    EXPECT_EQ(result.skipped, 1U);
    EXPECT_EQ(result.errors, 0U);
}

TEST(Scanner, ProgressTellsEveryEntryBeforeItIsJudged) {
    const Scratch scratch;
    scratch.file("old");
    scratch.file("fresh", "x", 0h);
    scratch.file("folder/below");
    scratch.link("link", "nowhere");
    std::set<WString> paths;
    const ProgressReport progress = [&](WStringView path, std::uint64_t count, std::uint64_t total) {
        paths.emplace(path);
        EXPECT_EQ(count, paths.size());
        EXPECT_EQ(total, 0U);
    };
    ScanResult result;
    std::uint64_t count = 0;
    scanFolder(scratch.wide(), {scratch.wide(), CleanCategory::Temp, true}, scratch.wide(), result, goOn, progress,
               currentTime(), count, 0);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(paths, (std::set<WString>{scratch.wide("old"), scratch.wide("fresh"), scratch.wide("folder"),
                                        scratch.wide("folder/below"), scratch.wide("link")}));
}

TEST(Scanner, AScanLeavesEveryTimeAndModeAsItWas) {
    const Scratch scratch;
    scratch.file("folder/file");
    scratch.setMode("folder/file", 0640);
    const auto state = [&] {
        std::string told;
        for (const char *name : {"folder", "folder/file"}) {
            struct statx record = {};
            require(statx(AT_FDCWD, scratch.path(name).c_str(), 0, STATX_BASIC_STATS, &record) == 0, name);
            told.append(reinterpret_cast<const char *>(&record), sizeof record);
        }
        return told;
    };
    const std::string before = state();
    EXPECT_EQ(scanRoot(scratch.wide(), goOn).entries.size(), 1U);
    EXPECT_EQ(state(), before);
}

} // namespace
} // namespace dm
