#include "large/search.h"

#include "as_user.h"
#include "engine/identity.h"
#include "files.h"
#include "i18n/language.h"
#include "namespaces.h"

#include <set>
#include <sstream>
#include <thread>

#include <sys/resource.h>

namespace dm::large {
namespace {

using namespace test;

const std::atomic<bool> goOn = false;
constexpr std::uint64_t leastBytes = 1000;
const std::string large(leastBytes, 'x');
const std::string small(leastBytes - 1, 'x');

LargeSearchResult searchIn(const WString &root, const ProgressReport &progress = {},
                           const std::atomic<bool> &cancelFlag = goOn, std::uint64_t maxEntries = 100'000) {
    return searchLargeFiles({root, leastBytes, maxEntries}, cancelFlag, progress);
}

std::set<WString> pathsOf(const LargeSearchResult &result) {
    std::set<WString> paths;
    for (const LargeFileEntry &entry : result.entries)
        paths.insert(entry.path);
    EXPECT_EQ(paths.size(), result.entries.size());
    return paths;
}

std::string englishOf(const WString &text) {
    const CatalogueKey *row = findCatalogueRow(text);
    return row == nullptr ? "(not in the catalogue)" : std::string(row->english.begin(), row->english.end());
}

// Searches work on disks only, and the temp folder may lie on a RAM disk.
struct LargeSearch : testing::Test {
    void SetUp() override {
        if (!isLocalDrive(scratch.wide(), false))
            GTEST_SKIP() << "The temp folder lies on no local disk.";
    }
    Scratch scratch;
};

TEST(LargeSearchPaths, OnlyPlainPathsOnALetterAreAccepted) {
    const WString longest(255, W('n'));
    const std::pair<WString, WString> accepted[] = {
        {W("c:/folder/file"), W("c:\\folder\\file")},
        {W("C:\\\\\\"), W("C:\\")},
        {W("C:\\folder\\"), W("C:\\folder")},
        {W("\\\\?\\C:\\folder"), W("C:\\folder")},
        {W("C:\\") + longest, W("C:\\") + longest},
        {W("C:\\.a\\a.b.c\\COM\\COM10\\LPTX\\AUXILIARY"), W("C:\\.a\\a.b.c\\COM\\COM10\\LPTX\\AUXILIARY")},
        {W("C:\\COM\u0663"), W("C:\\COM\u0663")}, // a digit, but no ASCII one
    };
    std::istringstream refused(
        R"(C: folder \folder \\server\share \\?\UNC\server\share \\?\ \\?\\\?\C:\folder 1:\folder C:\a\\b C:\a\..\b C:\a\.
           C:\folder. C:\file:stream C:\NUL\x C:\con.txt C:\a\AuX.tar.gz C:\conin$ C:\CONOUT$ C:\Clock$.x C:\prn C:\COM1
           C:\com0.log\file C:\a?b C:\a*b C:\a"b C:\a<b C:\a>b C:\a|b)");
    const WString refusedToo[] = {W("C:\\folder \\file"),      W("C:\\a\u001Fb"),    W("\u00C4:\\folder"),
                                  W("C:\\LPT\u00B2"),          W("C:\\lpt\u00B9.x"), WString(W("C:\\a\0b"), 6),
                                  W("C:\\") + longest + W("n")};
    WString output;
    for (const auto &[text, normal] : accepted) {
        EXPECT_TRUE(normalizeSearchPath(text, output)) << std::string(text.begin(), text.end());
        EXPECT_EQ(output, normal);
    }
    for (std::string text; refused >> text;) {
        EXPECT_FALSE(normalizeSearchPath(WString(text.begin(), text.end()), output)) << text;
        EXPECT_TRUE(output.empty());
    }
    for (const WString &text : refusedToo)
        EXPECT_FALSE(normalizeSearchPath(text, output)) << std::string(text.begin(), text.end());
    WString longPath = W("C:");
    while (longPath.size() < 32767)
        longPath += W("\\x");
    longPath.resize(32767, W('y'));
    EXPECT_TRUE(normalizeSearchPath(longPath, output));
    EXPECT_FALSE(normalizeSearchPath(longPath + W("y"), output));
}

TEST(LargeSearchPaths, AreComparedIgnoringCaseAndByWholeComponents) {
    const struct {
        WStringView child;
        WStringView parent;
        bool equal;
        bool under;
    } table[] = {
        {W("C:\\Folder\\\u00C4"), W("c:/folder/\u00E4/"), true, false},
        {W("C:\\folder\\file"), W("C:\\FOLDER"), false, true},
        {W("\\\\?\\C:\\folder\\file"), W("C:\\folder\\"), false, true},
        {W("C:\\file"), W("c:\\"), false, true},
        {W("C:\\"), W("C:\\"), true, false},
        {W("C:\\folderOther\\file"), W("C:\\folder"), false, false},
        {W("D:\\folder\\file"), W("C:\\folder"), false, false},
        {W("C:\\folder"), W("C:\\folder\\file"), false, false},
        {W("C:\\folder\\NUL"), W("C:\\folder"), false, false},
        {W("C:\\NUL"), W("C:\\NUL"), false, false},
        {W(""), W(""), false, false},
    };
    for (const auto &row : table) {
        EXPECT_EQ(pathsEqual(row.child, row.parent), row.equal) << std::string(row.child.begin(), row.child.end());
        EXPECT_EQ(pathIsUnder(row.child, row.parent), row.under) << std::string(row.child.begin(), row.child.end());
    }
}

TEST_F(LargeSearch, ARefusedRootTellsWhy) {
    const std::string invalid = "Invalid search folder.";
    const std::string notLocal = "Search is available only on a local drive.";
    const std::string notOpen = "Unable to open the selected folder.";
    scratch.file("folder/below/file", large);
    scratch.link("link", scratch.path("folder"));
    const struct {
        WString root;
        std::uint64_t maxEntries;
        std::uint32_t error;
        std::string text;
    } table[] = {
        {W(""), 1, ERROR_INVALID_PARAMETER, invalid},
        {scratch.wide() + W("\\folder."), 1, ERROR_INVALID_PARAMETER, invalid},
        {scratch.wide(), 0, ERROR_INVALID_PARAMETER, invalid},
        {scratch.wide("folder") + W("\\RECYCLER"), 1, ERROR_NOT_SUPPORTED, notLocal},
        {scratch.wide("missing/folder"), 1, ERROR_FILE_NOT_FOUND, notOpen},
        {scratch.wide("folder/below/file"), 1, ERROR_REPARSE_TAG_INVALID, notOpen},
        {scratch.wide("link"), 1, ERROR_REPARSE_TAG_INVALID, notOpen},
        {scratch.wide("link/below"), 1, ERROR_REPARSE_TAG_INVALID, notOpen},
    };
    for (const auto &row : table) {
        SCOPED_TRACE(testing::PrintToString(row.root));
        const LargeSearchResult result = searchIn(row.root, {}, goOn, row.maxEntries);
        EXPECT_EQ(result.lastError, row.error);
        EXPECT_EQ(englishOf(result.errorText), row.text);
        EXPECT_EQ(result.errors, 1U);
        EXPECT_TRUE(result.root.empty() && result.entries.empty() && result.filesChecked == 0);
    }
}

TEST_F(LargeSearch, AnEntryTellsWhatTheOpenFileIs) {
    scratch.file("folder/file", large + "four");
    ASSERT_TRUE(runIn(scratch.path(), "touch -d @1000000000.1234567 folder/file"));
    const LargeSearchResult result = searchIn(W("\\\\?\\") + scratch.wide() + W("\\"));
    ASSERT_EQ(result.entries.size(), 1U);
    const LargeFileEntry &entry = result.entries.front();
    EXPECT_EQ(entry.path, scratch.wide("folder/file"));
    EXPECT_EQ(entry.size, leastBytes + 4);
    EXPECT_EQ(entry.lastWriteTime, (11'644'473'600 + 1'000'000'000) * 10'000'000 + 1'234'567);
    EXPECT_EQ(result.root, scratch.wide());
    EXPECT_EQ(result.totalBytes, entry.size);
    PinnedPath pinned;
    ASSERT_TRUE(pinSearchPath(pinned, scratch.wide(), goOn));
    EXPECT_EQ(result.rootFileIndex, fileIndexOf(pinned.info));
    EXPECT_EQ(result.rootVolumeSerial, pinned.info.dwVolumeSerialNumber);
    const OwnedHandle file = openForScan(entry.path);
    BY_HANDLE_FILE_INFORMATION information;
    ASSERT_TRUE(file && GetFileInformationByHandle(file.get(), &information));
    EXPECT_TRUE(sameFileIdentity(entry, readFileIdentity(file.get(), information)));
    EXPECT_EQ(LargeSearchOptions().minBytes, 100U << 20);
}

TEST_F(LargeSearch, OnlyPlainFilesWithOneNameAreListed) {
    const struct {
        const char *commands; ///< "large" writes such a file; "$out" is a folder elsewhere
        std::set<std::string> listed;
        std::uint64_t checked;
        std::uint64_t skipped;
    } table[] = {
        {"large f; large .f; chmod 400 .f; truncate -s 999 small", {"f", ".f"}, 3, 0},
        {"large a:b; large end.; large nul", {"a:b", "end.", "nul"}, 3, 0},
        {"large $(printf '\\377\\376'); large 😀", {"\xFF\xFE", "😀"}, 2, 0},
        {"large f; ln f other", {}, 2, 2},
        {"large $out/f; ln $out/f f", {}, 1, 1},
        {"large $out/f; ln -s $out/f file; ln -s $out folder; ln -s . upwards; ln -s /nowhere to", {}, 0, 4},
        {"mkfifo pipe; mkdir -p a/b/c", {}, 0, 1},
        {"for name in '$Recycle.Bin' RECYCLER recycled 'System Volume Information' Recycle .local/share/Trash/files "
         "Trash; do mkdir -p \"folder/$name\"; large \"folder/$name/f\"; done",
         {"folder/Recycle/f", "folder/Trash/f"},
         2,
         5},
    };
    for (const auto &row : table) {
        SCOPED_TRACE(row.commands);
        const Scratch root;
        const Scratch outside;
        ASSERT_TRUE(
            runIn(root.path(), "large() { truncate -s 1000 \"$1\"; }; out=" + outside.path() + "; " + row.commands));
        std::set<WString> expected;
        for (const std::string &name : row.listed)
            expected.insert(root.wide(name));
        const LargeSearchResult result = searchIn(root.wide());
        EXPECT_EQ(pathsOf(result), expected);
        EXPECT_EQ(result.filesChecked, row.checked);
        EXPECT_EQ(result.skipped, row.skipped);
        EXPECT_EQ(result.totalBytes, expected.size() * leastBytes);
        EXPECT_EQ(result.errors, 0U);
        EXPECT_FALSE(result.limited || result.cancelled);
    }
}

TEST_F(LargeSearch, WhatThisUserCannotReachOrRemoveIsAnError) {
    runAsOrdinaryUser([](const std::string &) {
        // Where names may be listed only, no sizes are known.
        for (const auto &[mode, errors] : {std::pair(0, 1U), {0400, 0U}, {0500, 1U}}) {
            const Scratch root;
            root.file("folder/file", large);
            root.file("other", large);
            root.setMode("folder", static_cast<mode_t>(mode));
            const LargeSearchResult result = searchIn(root.wide());
            EXPECT_EQ(pathsOf(result), std::set<WString>{root.wide("other")}) << mode;
            EXPECT_EQ(result.errors, errors) << mode;
            root.setMode("folder", 0700);
        }
    });
}

TEST_F(LargeSearch, AListThatIsFullEndsTheSearchOnlyIfThereIsMore) {
    for (int index = 0; index < 30; ++index)
        scratch.file("folder-" + std::to_string(index % 7) + "/file-" + std::to_string(index), large);
    const std::pair<std::uint64_t, bool> table[] = {{1, true}, {29, true}, {30, false}, {31, false}};
    for (const auto &[most, limited] : table) {
        const LargeSearchResult result = searchIn(scratch.wide(), {}, goOn, most);
        EXPECT_EQ(result.entries.size(), std::min<std::uint64_t>(most, 30)) << most;
        EXPECT_EQ(result.totalBytes, result.entries.size() * leastBytes) << most;
        EXPECT_EQ(result.filesChecked, std::min<std::uint64_t>(most + 1, 30)) << most;
        EXPECT_EQ(result.limited, limited) << most;
        EXPECT_EQ(result.errors + result.skipped, 0U) << most;
    }
}

// A chain of folders that no path of the system's own could name, each with a large file and some subfolders.
void makeChain(const std::string &top, const std::string &name, int length) {
    int folder = open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < length; ++level) {
        for (const std::string &sibling : {name, std::string("a"), std::string("z")})
            require(mkdirat(folder, sibling.c_str(), 0700) == 0, sibling);
        const int below = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const int file = openat(below, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        require(file >= 0 && ftruncate(file, leastBytes) == 0, "file");
        close(file);
        close(folder);
        folder = below;
    }
    for (int index = 0; index < 70; ++index)
        close(openat(folder, std::to_string(index).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    close(folder);
}

TEST_F(LargeSearch, DeepTreesAreReadDownTo128FoldersWithFewDescriptors) {
    const std::string name(60, 'n');
    makeChain(scratch.path(), name, 200);
    scratch.file("z/last", large);
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few = {160, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    // From the top, the folder at depth 128 is not read, with its own subfolders.
    const LargeSearchResult all = searchIn(scratch.wide());
    EXPECT_EQ(all.entries.size(), 127U + 1);
    EXPECT_EQ(all.skipped, 3U);
    EXPECT_TRUE(all.limited);
    EXPECT_EQ(all.errors, 0U);
    EXPECT_TRUE(pathsOf(all).contains(scratch.wide("z/last")));
    // From within, all that is left is.
    WString within = scratch.wide();
    for (int level = 0; level < 100; ++level)
        within += W("\\") + WString(name.begin(), name.end());
    const LargeSearchResult rest = searchIn(within);
    EXPECT_EQ(rest.entries.size(), 101U);
    EXPECT_EQ(rest.filesChecked, 101U + 70);
    EXPECT_EQ(rest.errors + rest.skipped, 0U);
    EXPECT_FALSE(rest.limited);
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(LargeSearch, ProgressTellsEvery64thFile) {
    for (int index = 0; index < 200; ++index)
        scratch.file("folder-" + std::to_string(index % 3) + "/file-" + std::to_string(index), small);
    std::vector<std::pair<WString, std::uint64_t>> reports;
    searchIn(scratch.wide(), [&](WStringView text, std::uint64_t processed, std::uint64_t total) {
        reports.emplace_back(text, processed);
        EXPECT_EQ(total, 0U);
    });
    ASSERT_EQ(reports.size(), 5U);
    EXPECT_EQ(reports.front(), std::pair(scratch.wide(), std::uint64_t{0}));
    EXPECT_EQ(reports.back(), std::pair(scratch.wide(), std::uint64_t{200}));
    for (std::size_t index = 1; index < 4; ++index) {
        EXPECT_EQ(reports[index].second, index * 64);
        EXPECT_TRUE(pathIsUnder(reports[index].first, scratch.wide()));
    }
}

TEST_F(LargeSearch, ACancelIsSeenBeforeTheNextName) {
    for (int index = 0; index < 1000; ++index)
        scratch.file("folder/file-" + std::to_string(index), index % 2 == 0 ? large : small);
    for (const std::uint64_t met : {0U, 64U, 960U, 1000U}) {
        std::atomic<bool> cancelFlag = false;
        const auto cancel = [&](WStringView, std::uint64_t processed, std::uint64_t) {
            cancelFlag = cancelFlag || processed == met;
        };
        const LargeSearchResult result = searchIn(scratch.wide(), cancel, cancelFlag);
        EXPECT_EQ(result.filesChecked, met);
        EXPECT_EQ(result.cancelled, met != 1000) << met;
        EXPECT_EQ(result.root, scratch.wide());
        EXPECT_EQ(result.errors + result.skipped + result.lastError, 0U) << met;
        EXPECT_EQ(result.entries.empty(), met == 0) << met;
    }
    const std::atomic<bool> cancelled = true;
    const LargeSearchResult atOnce = searchIn(W("no path"), {}, cancelled);
    EXPECT_TRUE(atOnce.cancelled && atOnce.root.empty());
    EXPECT_EQ(atOnce.errors + atOnce.lastError, 0U);
    PinnedPath pinned;
    EXPECT_FALSE(pinSearchPath(pinned, scratch.wide(), cancelled));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_CANCELLED));
}

TEST_F(LargeSearch, WhatIsReplacedDuringTheWalkIsNotFollowed) {
    const struct {
        const char *commands; ///< with $later for the folder that the walk has yet to come to
        std::uint64_t errors;
        std::set<std::string> found; ///< in that folder
    } table[] = {
        {":", 0, {"deep/file"}},
        {"mv $later moved; ln -s $out $later", 1, {}},
        {"mv $later moved; ln -s $PWD/moved $later", 1, {}},
        {"rm -r $later", 1, {}},
        {"rm -r $later; truncate -s 1000 $later", 1, {}},
        {"mv $later moved; mkdir -p $later/new; truncate -s 1000 $later/new/file", 0, {"new/file"}},
        {"rm -r $later/deep; truncate -s 1000 $later/new", 0, {"new"}},
        {"mv top moved", 1, {}},
        {"mv top moved; ln -s moved top", 1, {}},
        {"mv top moved; cp -r $out top", 1, {}},
    };
    for (const auto &row : table) {
        SCOPED_TRACE(row.commands);
        const Scratch root;
        const Scratch outside;
        outside.file("deep/file", large);
        // Enough before it for the reading ahead to have come to it.
        for (const char *folder : {"top/a", "top/b"}) {
            root.file(std::string(folder) + "/deep/file", large);
            for (int index = 0; index < 320; ++index)
                root.file(std::string(folder) + "/file-" + std::to_string(index), small);
        }
        std::string later;
        const auto change = [&](WStringView text, std::uint64_t processed, std::uint64_t) {
            if (processed != 320)
                return;
            later = pathIsUnder(text, root.wide("top/a")) ? "top/b" : "top/a";
            EXPECT_TRUE(runIn(root.path(), "later=" + later + "; out=" + outside.path() + "; " + row.commands));
        };
        const LargeSearchResult result = searchIn(root.wide("top"), change);
        std::set<std::string> found;
        for (const LargeFileEntry &entry : result.entries)
            if (pathIsUnder(entry.path, root.wide(later)))
                found.insert(platform::linuxPath(entry.path).substr(root.path(later).size() + 1));
        EXPECT_EQ(found, row.found);
        EXPECT_GE(result.errors, row.errors);
        EXPECT_LE(result.errors, row.errors + 1); // the other folder's own subfolder, if it comes last
        EXPECT_EQ(result.skipped, 0U);
    }
}

TEST_F(LargeSearch, MountsAreNotEntered) {
    runIsolated(Isolation::Processes, [] {
        const Scratch root;
        for (const char *file : {"folder/file", "file", "root/plain/file", "root/covered/file", "root/single"})
            root.file(file, large);
        if (!runIn(root.path(), "mount --bind folder root/covered; mount --bind file root/single; mkdir root/ram; "
                                "mount -t tmpfs tmpfs root/ram; cp file root/ram"))
            GTEST_SKIP() << "This user cannot mount anything.";
        // In a thread of its own, which holds no folder by the mounts of before.
        std::thread([&] {
            const LargeSearchResult result = searchIn(root.wide("root"));
            EXPECT_EQ(pathsOf(result), std::set<WString>{root.wide("root/plain/file")});
            EXPECT_EQ(result.skipped, 3U);
            EXPECT_EQ(result.errors, 0U);
            platform::refreshVolumes();
            const WString ram = root.wide("root/ram");
            EXPECT_NE(ram.front(), root.wide().front());
            EXPECT_FALSE(isLocalDrive(ram, false));
            EXPECT_EQ(searchIn(ram).lastError, DWORD(ERROR_NOT_SUPPORTED));
            EXPECT_EQ(searchIn(root.wide() + W("\\root\\ram")).lastError, DWORD(ERROR_REPARSE_TAG_INVALID));
        }).join();
        EXPECT_TRUE(runIn(root.path("root"), "umount ram single covered"));
    });
}

} // namespace
} // namespace dm::large
