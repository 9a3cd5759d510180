#include "engine/scanner.h"

#include "as_user.h"
#include "engine/identity.h"
#include "engine/paths.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include <sys/socket.h>
#include <sys/un.h>

namespace dm {
namespace {

using test::require;
using test::runAsOrdinaryUser;
using test::Scratch;
using namespace std::chrono_literals;

const std::atomic<bool> goOn = false;

std::set<WString> pathsOf(const ScanResult &result) {
    std::set<WString> paths;
    for (const FileEntry &entry : result.entries)
        paths.insert(entry.path);
    return paths;
}

// Walks a folder like a target of its own; the time is the caller's.
ScanResult scanAt(const Scratch &scratch, std::uint64_t now, bool enforceAgeCutoff) {
    ScanResult result;
    std::uint64_t count = 0;
    const CleanCategory category = enforceAgeCutoff ? CleanCategory::Temp : CleanCategory::Browser;
    scanFolder(scratch.wide(), {scratch.wide(), category, enforceAgeCutoff}, scratch.wide(), result, goOn, {}, now,
               count, 0);
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
    scratch.setWriteTime("folder/file", {1'000'000'000, 123'456'700});
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

TEST(Scanner, AFileOfExactlyTheCutoffIsListedAndOneTickLessIsNot) {
    const Scratch scratch;
    scratch.file("file");
    const std::uint64_t written = scanAt(scratch, currentTime(), false).entries.at(0).lastWriteTime;
    EXPECT_EQ(scanAt(scratch, written + ageCutoff, true).entries.size(), 1U);
    const ScanResult young = scanAt(scratch, written + ageCutoff - 1, true);
    EXPECT_EQ(young.entries.size(), 0U);
    EXPECT_EQ(young.skipped, 1U);
    const ScanResult cache = scanAt(scratch, written + 1, false);
    ASSERT_EQ(cache.entries.size(), 1U);
    EXPECT_EQ(cache.entries.front().category, CleanCategory::Browser);
    EXPECT_EQ(cache.bytesByCategory, (std::array<std::uint64_t, 2>{0, 7}));
}

void makeSocket(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    require(path.size() < sizeof(address.sun_path), path);
    path.copy(address.sun_path, path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    require(bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0, path);
    close(descriptor);
}

TEST(Scanner, WhatIsNoOldPlainFileIsSkipped) {
    const struct {
        const char *name;
        void (*make)(const Scratch &root, const Scratch &outside);
        std::uint64_t skipped;
        bool alsoInCaches; ///< the rule does not depend on the age
    } table[] = {
        {"fresh", [](const Scratch &root, const Scratch &) { root.file("file", "x", 23h); }, 1, false},
        {"future", [](const Scratch &root, const Scratch &) { root.file("file", "x", -48h); }, 1, false},
        {"read-only",
         [](const Scratch &root, const Scratch &) {
             root.file("file");
             root.setMode("file", 0444);
         },
         1, true},
        {"two names inside",
         [](const Scratch &root, const Scratch &) {
             root.file("file");
             root.hardLink("folder/other", "file");
         },
         2, true},
        {"second name outside",
         [](const Scratch &root, const Scratch &outside) {
             outside.file("file");
             std::filesystem::create_hard_link(outside.path("file"), root.path("file"));
         },
         1, true},
        {"link to a file",
         [](const Scratch &root, const Scratch &outside) {
             root.link("link", outside.file("file"));
             root.setAge("link", 48h);
         },
         1, true},
        {"link to a folder",
         [](const Scratch &root, const Scratch &outside) {
             outside.file("folder/file");
             root.link("link", outside.path("folder"));
         },
         1, true},
        {"link upwards", [](const Scratch &root, const Scratch &) { root.link("link", root.path()); }, 1, true},
        {"link to nowhere", [](const Scratch &root, const Scratch &) { root.link("link", "/nowhere"); }, 1, true},
        {"named pipe",
         [](const Scratch &root, const Scratch &) {
             require(mkfifo(root.path("pipe").c_str(), 0600) == 0, "mkfifo");
             root.setAge("pipe", 48h);
         },
         1, true},
        {"socket",
         [](const Scratch &root, const Scratch &) {
             makeSocket(root.path("s"));
             root.setAge("s", 48h);
         },
         1, true},
        {"empty folders", [](const Scratch &root, const Scratch &) { root.folder("a/b/c"); }, 0, true},
    };
    for (const auto &row : table) {
        const Scratch root;
        const Scratch outside;
        row.make(root, outside);
        const ScanResult temp = scanRoot(root.wide(), goOn);
        EXPECT_EQ(temp.entries.size(), 0U) << row.name;
        EXPECT_EQ(temp.skipped, row.skipped) << row.name;
        EXPECT_EQ(temp.errors, 0U) << row.name;
        const ScanResult cache = scanAt(root, currentTime(), false);
        EXPECT_EQ(cache.entries.size(), row.alsoInCaches ? 0U : 1U) << row.name;
        EXPECT_EQ(cache.skipped, row.alsoInCaches ? row.skipped : 0U) << row.name;
    }
}

TEST(Scanner, WhatThisUserMayNotRemoveIsSkipped) {
    runAsOrdinaryUser([](const std::string &) {
        const struct {
            const char *name;
            void (*make)(const Scratch &root);
            std::uint64_t skipped;
        } table[] = {
            {"folder without permissions", [](const Scratch &root) { root.setMode("folder", 0); }, 1},
            {"folder that may be listed only", [](const Scratch &root) { root.setMode("folder", 0400); }, 1},
            {"folder that may not be changed", [](const Scratch &root) { root.setMode("folder", 0500); }, 1},
        };
        for (const auto &row : table) {
            const Scratch root;
            root.file("folder/file");
            root.file("other");
            row.make(root);
            const ScanResult result = scanRoot(root.wide(), goOn);
            EXPECT_EQ(pathsOf(result), std::set<WString>{root.wide("other")}) << row.name;
            EXPECT_EQ(result.skipped, row.skipped) << row.name;
            EXPECT_EQ(result.errors, 0U) << row.name;
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
        std::filesystem::rename(scratch.path(), shared + "/sticky");
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

TEST(Scanner, FoldersBelowDepth96AreNotEntered) {
    const Scratch scratch;
    std::string folder;
    scratch.file("file");
    for (int depth = 1; depth <= 98; ++depth) {
        folder += "d/";
        scratch.file(folder + "file");
    }
    const ScanResult result = scanRoot(scratch.wide(), goOn);
    EXPECT_EQ(result.entries.size(), 97U);
    EXPECT_EQ(result.skipped, 1U);
    EXPECT_EQ(result.errors, 0U);
}

TEST(Scanner, EveryNameIsListed) {
    const Scratch scratch;
    std::set<WString> expected;
    const auto add = [&](const std::string &name) {
        scratch.file(name);
        expected.insert(scratch.wide(name));
    };
    for (int byte = 1; byte < 256; ++byte) {
        if (byte == '/')
            continue;
        const std::string text(1, static_cast<char>(byte));
        if (text != ".")
            add("alone/" + text);
        add("pairs/a" + text);
        add("pairs/" + text + "b");
    }
    for (const char *name : {"case", "Case", "CASE", "aux", "con.txt", "...", " ", "a\\..\\b", "\xEF\x80\xAE",
                             "\xED\xA0\x80", "\xF0\x9F\x98\x80", "\xC0\xAF", "name.kept-1"})
        add(std::string("others/") + name);
    add("long/" + std::string(255, 'x'));
    add("long/" + std::string(255, '\xFF'));
    add("long/" + std::string(255, ':'));
    ASSERT_EQ(expected.size(), 253U + 2 * 254 - 1 + 13 + 3); // "ab" comes from both sides
    const ScanResult result = scanRoot(scratch.wide(), goOn);
    EXPECT_EQ(pathsOf(result), expected);
    EXPECT_EQ(result.skipped + result.errors, 0U);
}

TEST(Scanner, APathLongerThanTheKernelTakesIsListed) {
    const Scratch scratch;
    const std::string name(200, 'n');
    WString wide = scratch.wide();
    int folder = open(scratch.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    for (int depth = 0; depth < 25; ++depth) {
        require(mkdirat(folder, name.c_str(), 0700) == 0, "mkdirat");
        const int below = openat(folder, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        close(folder);
        folder = below;
        wide += W("\\") + WString(name.begin(), name.end());
    }
    const int file = openat(folder, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const timespec longAgo[2] = {{1, 0}, {1'000'000'000, 0}};
    require(file >= 0 && futimens(file, longAgo) == 0, "file");
    close(file);
    close(folder);
    const ScanResult result = scanRoot(scratch.wide(), goOn);
    ASSERT_GT(wide.size(), 4096U);
    EXPECT_EQ(pathsOf(result), std::set<WString>{wide + W("\\file")});
    EXPECT_EQ(result.skipped + result.errors, 0U);
}

TEST(Scanner, ProgressTellsEveryEntryBeforeItIsJudged) {
    const Scratch scratch;
    scratch.file("old");
    scratch.file("fresh", "x", 0h);
    scratch.file("folder/below");
    scratch.link("link", "nowhere");
    std::map<WString, std::uint64_t> seen;
    const ProgressReport progress = [&](WStringView path, std::uint64_t count, std::uint64_t total) {
        EXPECT_EQ(count, seen.size() + 1);
        EXPECT_EQ(total, 0U);
        seen.emplace(path, count);
    };
    ScanResult result;
    std::uint64_t count = 0;
    scanFolder(scratch.wide(), {scratch.wide(), CleanCategory::Temp, true}, scratch.wide(), result, goOn, progress,
               currentTime(), count, 0);
    EXPECT_EQ(count, 5U);
    std::set<WString> paths;
    for (const auto &[path, number] : seen)
        paths.insert(path);
    EXPECT_EQ(paths, (std::set<WString>{scratch.wide("old"), scratch.wide("fresh"), scratch.wide("folder"),
                                        scratch.wide("folder/below"), scratch.wide("link")}));
}

TEST(Scanner, ACancelTakesEffectWithinOneEntryAndKeepsWhatWasFound) {
    const Scratch scratch;
    for (int index = 0; index < 20; ++index)
        scratch.file("folder/" + std::to_string(index));
    std::atomic<bool> cancelFlag = false;
    const ProgressReport progress = [&](WStringView, std::uint64_t count, std::uint64_t) { cancelFlag = count == 5; };
    ScanResult result;
    std::uint64_t count = 0;
    scanFolder(scratch.wide("folder"), {scratch.wide("folder"), CleanCategory::Temp, true}, scratch.wide("folder"),
               result, cancelFlag, progress, currentTime(), count, 0);
    EXPECT_EQ(count, 5U);
    EXPECT_EQ(result.entries.size(), 5U);
    EXPECT_EQ(result.bytesByCategory[0], 5 * 7U);
    EXPECT_EQ(result.skipped + result.errors, 0U);
    EXPECT_TRUE(scanRoot(scratch.wide("folder"), cancelFlag).entries.empty());
}

TEST(Scanner, AScanLeavesEveryTimeAndModeAsItWas) {
    const Scratch scratch;
    scratch.file("folder/file");
    scratch.setMode("folder/file", 0640);
    const auto stateOf = [&](const char *name) {
        struct stat status;
        require(lstat(scratch.path(name).c_str(), &status) == 0, name);
        return std::array<long, 8>{status.st_atim.tv_sec,
                                   status.st_atim.tv_nsec,
                                   status.st_mtim.tv_sec,
                                   status.st_mtim.tv_nsec,
                                   status.st_ctim.tv_sec,
                                   status.st_ctim.tv_nsec,
                                   static_cast<long>(status.st_mode),
                                   status.st_size};
    };
    const auto before = std::pair(stateOf("folder"), stateOf("folder/file"));
    EXPECT_EQ(scanRoot(scratch.wide(), goOn).entries.size(), 1U);
    EXPECT_EQ(before, std::pair(stateOf("folder"), stateOf("folder/file")));
}

} // namespace
} // namespace dm
