// Scans and clean-ups of the real fixed places, from the list of targets to the last file.
#include "engine/browsers.h"
#include "engine/cleaner.h"
#include "engine/scanner.h"
#include "engine/targets.h"

#include "empty_machine.h"
#include "files.h"
#include "platform/linux/private_folder.h"
#include "platform/win32.h"

#include <algorithm>
#include <numeric>

namespace dm {
namespace {

using namespace test;

const std::atomic<bool> goOn = false;
constexpr CleanSelection allFiles = {true, true, false};

enum Fate { Unseen, Skipped, Temporary, Cached };

/// A machine on which every supported kind of browser was used. Each file's content is its own path.
const struct {
    const char *path; ///< "~" stands for the home folder
    std::chrono::hours age;
    Fate fate;
} files[] = {
    {"/tmp/old", 48h, Temporary},
    {"/tmp/young", 1h, Skipped},
    {"/tmp/.X11-unix/folder/.old", 25h, Temporary},
    {"/tmp/.dustmere-mine/old", 48h, Temporary},
    {"/var/tmp/old", 1000h, Temporary},
    {"/var/tmp/future", -48h, Skipped},
    {"~/tmp/old", 48h, Unseen},
    // Chrome: the profile and one cache lie in the configuration folder, two caches in the cache folder.
    {"~/.config/google-chrome/Local State", 48h, Unseen},
    {"~/.config/google-chrome/GrShaderCache/data_0", 48h, Unseen},
    {"~/.config/google-chrome/Default/Cookies", 48h, Unseen},
    {"~/.config/google-chrome/Default/Local Storage/leveldb/LOG", 48h, Unseen},
    {"~/.config/google-chrome/Default/GPUCache/data_0", 0h, Cached},
    {"~/.cache/google-chrome/Default/Cache/Cache_Data/data_0", 0h, Cached},
    {"~/.cache/google-chrome/Default/Cache/Cache_Data/f_000001", 48h, Cached},
    {"~/.cache/google-chrome/Default/Code Cache/js/index-dir/the-real-index", -1h, Cached},
    {"~/.cache/google-chrome/Default/Media Cache/f_000001", 48h, Unseen},
    {"~/.config/google-chrome/Profile 12/Preferences", 48h, Unseen},
    {"~/.cache/google-chrome/Profile 12/Cache/Cache_Data/index", 0h, Cached},
    {"~/.cache/google-chrome/Profile 13/Cache/Cache_Data/index", 0h, Unseen}, // no such profile any more
    {"~/.config/google-chrome/System Profile/GPUCache/data_0", 48h, Unseen},
    {"~/.config/google-chrome-beta/Guest Profile/GPUCache/data_0", 0h, Cached},
    {"~/snap/chromium/common/chromium/Default/GPUCache/index", 0h, Cached},
    {"~/snap/chromium/common/.cache/chromium/Default/Cache/Cache_Data/index", 0h, Cached},
    {"~/snap/chromium/1234/.config/chromium/Default/GPUCache/index", 48h, Unseen},
    // The other kinds, and Flatpaks.
    {"~/.config/google-chrome-unstable/Default/GPUCache/index", 0h, Cached},
    {"~/.var/app/com.google.Chrome/config/google-chrome/Default/GPUCache/index", 0h, Cached},
    {"~/.var/app/com.google.Chrome/cache/google-chrome/Default/Cache/index", 0h, Cached},
    {"~/.config/chromium/Default/GPUCache/index", 0h, Cached},
    {"~/.cache/chromium/Default/Code Cache/index", 0h, Cached},
    {"~/.var/app/org.chromium.Chromium/config/chromium/Default/GPUCache/index", 0h, Cached},
    {"~/.config/microsoft-edge/Default/GPUCache/index", 0h, Cached},
    {"~/.config/microsoft-edge-beta/Default/GPUCache/index", 0h, Cached},
    {"~/.config/microsoft-edge-dev/Default/GPUCache/index", 0h, Cached},
    {"~/.var/app/com.microsoft.Edge/config/microsoft-edge/Default/GPUCache/index", 0h, Cached},
    {"~/snap/firefox/common/.cache/mozilla/firefox/me/cache2/index", 0h, Cached},
    {"~/.var/app/org.mozilla.firefox/cache/mozilla/firefox/me/cache2/index", 0h, Cached},
    // Firefox: profiles are known by their cache folders.
    {"~/.mozilla/firefox/k3x.default-release/places.sqlite", 48h, Unseen},
    {"~/.mozilla/firefox/k3x.default-release/cache2/entries/00A1", 48h, Unseen},
    {"~/.cache/mozilla/firefox/k3x.default-release/cache2/entries/00A1", 0h, Cached},
    {"~/.cache/mozilla/firefox/k3x.default-release/startupCache/webext.sc.lz4", 48h, Unseen},
    {"~/.cache/mozilla/firefox/Profile without rules/cache2/doomed/1", 0h, Cached},
};

struct Machine {
    std::string home = enterEmptyMachine();
    std::map<std::string, Fate> fates;

    Machine() { layOut(); }
    std::string pathOf(const char *path) const { return *path == '~' ? home + (path + 1) : path; }
    void layOut() {
        for (const char *place : {"/tmp", "/var/tmp", home.c_str()})
            emptyFolder(place);
        for (const auto &file : files) {
            const std::string path = pathOf(file.path);
            makeFile(path, path, file.age);
            fates[path] = file.fate;
        }
    }
    std::uint64_t count(Fate fate) const {
        return std::count_if(fates.begin(), fates.end(), [&](const auto &file) { return file.second == fate; });
    }
    std::uint64_t bytes(Fate fate) const {
        return std::accumulate(fates.begin(), fates.end(), std::uint64_t{0}, [&](std::uint64_t sum, const auto &file) {
            return sum + (file.second == fate ? file.first.size() : 0);
        });
    }
    std::set<std::string> filesBut(const std::set<Fate> &gone) const {
        std::set<std::string> left;
        for (const auto &[path, fate] : fates)
            if (!gone.contains(fate))
                left.insert(path);
        return left;
    }
};

/// What is on the disk once the program has ended.
std::set<std::string> filesLeft() {
    platform::removePrivateFolders();
    return filesBelow({"/tmp", "/var/tmp", "/home"});
}

struct Report {
    std::string text; ///< a Linux path, or the label
    std::uint64_t processed;
    std::uint64_t total;
    bool operator==(const Report &) const = default;
};

ProgressReport reportTo(
    std::vector<Report> &reports, const std::function<void()> &after = [] {}) {
    return [&reports, after](WStringView text, std::uint64_t processed, std::uint64_t total) {
        const std::string path = platform::linuxPath(text);
        reports.push_back({path.empty() ? std::string(text.begin(), text.end()) : path, processed, total});
        after();
    };
}

TEST(Cleanup, AScanFindsWhatBrowsersAndTempFoldersReallyHold) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const Machine machine;
        const ScanResult scan = scanAll(goOn, {});
        std::set<std::string> listed;
        for (const FileEntry &entry : scan.entries) {
            const std::string path = platform::linuxPath(entry.path);
            const Fate fate = machine.fates.contains(path) ? machine.fates.at(path) : Unseen;
            EXPECT_EQ(fate, entry.category == CleanCategory::Temp ? Temporary : Cached) << path;
            EXPECT_EQ(entry.size, path.size()) << path;
            EXPECT_TRUE(path.starts_with(platform::linuxPath(entry.rootPath) + '/')) << path;
            EXPECT_TRUE(listed.insert(path).second) << path;
        }
        EXPECT_EQ(listed.size(), machine.count(Temporary) + machine.count(Cached));
        EXPECT_EQ(scan.bytesByCategory,
                  (std::array<std::uint64_t, 2>{machine.bytes(Temporary), machine.bytes(Cached)}));
        EXPECT_EQ(scan.skipped, machine.count(Skipped));
        EXPECT_EQ(scan.errors, 0U);
        EXPECT_EQ(scan.recycleBytes + scan.recycleItems, 0U);
        EXPECT_EQ(filesLeft(), machine.filesBut({}));
    });
}

TEST(Cleanup, OnlyTheSelectedCategoriesGo) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        Machine machine;
        const std::pair<CleanSelection, std::set<Fate>> table[] = {{{false, false, true}, {}},
                                                                   {{true, false, false}, {Temporary}},
                                                                   {{false, true, false}, {Cached}},
                                                                   {allFiles, {Temporary, Cached}}};
        for (const auto &[selection, gone] : table) {
            SCOPED_TRACE(testing::PrintToString(gone));
            machine.layOut();
            const ScanResult scan = scanAll(goOn, {});
            std::vector<Report> expected;
            std::uint64_t total = 0;
            std::uint64_t bytes = 0;
            for (const Fate fate : gone) {
                total += machine.count(fate);
                bytes += machine.bytes(fate);
            }
            for (const FileEntry &entry : scan.entries)
                if (gone.contains(entry.category == CleanCategory::Temp ? Temporary : Cached))
                    expected.push_back({platform::linuxPath(entry.path), expected.size(), total});
            expected.push_back({"Finished", total, total});
            std::vector<Report> reports;
            const CleanResult result = cleanSelected(scan, selection, goOn, reportTo(reports), {});
            EXPECT_TRUE(reports == expected);
            EXPECT_EQ(result.filesDeleted, total);
            EXPECT_EQ(result.bytesFreed, bytes);
            EXPECT_EQ(result.skipped + result.errors + result.retries, 0U);
            EXPECT_FALSE(result.cancelled || result.recycleEmptied);
            for (const RootIdentity &root : scan.roots)
                EXPECT_TRUE(fs::is_directory(platform::linuxPath(root.path)));
            EXPECT_EQ(filesLeft(), machine.filesBut(gone));
        }
    });
}

TEST(Cleanup, ACancelStopsBetweenTwoFiles) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const Machine machine;
        std::atomic<bool> cancelFlag = false;
        std::vector<Report> reports;
        const ProgressReport cancelAtFifth = reportTo(reports, [&] { cancelFlag = reports.size() >= 5; });
        const ScanResult partial = scanAll(cancelFlag, cancelAtFifth);
        EXPECT_EQ(reports.size(), 5U);
        EXPECT_EQ(partial.roots.size(), 1U);
        EXPECT_EQ(partial.errors, 0U);

        const ScanResult scan = scanAll(goOn, {});
        const std::uint64_t total = scan.entries.size();
        reports.clear();
        cancelFlag = false;
        const CleanResult result = cleanSelected(scan, allFiles, cancelFlag, cancelAtFifth, {});
        ASSERT_EQ(reports.size(), 6U);
        EXPECT_EQ(reports.back(), (Report{"Cancelled", 5, total}));
        EXPECT_TRUE(result.cancelled);
        EXPECT_EQ(result.filesDeleted, 4U);
        EXPECT_EQ(result.skipped + result.errors, 0U);
        std::set<std::string> left = machine.filesBut({});
        for (std::size_t index = 0; index < 4; ++index)
            left.erase(reports[index].text);
        EXPECT_EQ(filesLeft(), left);

        reports.clear();
        EXPECT_TRUE(cleanSelected(scan, allFiles, cancelFlag, reportTo(reports), {}).cancelled);
        EXPECT_EQ(reports, (std::vector<Report>{{"Cancelled", 0, total}}));
        EXPECT_EQ(filesLeft(), left);
    });
}

TEST(Cleanup, APlaceThatIsNoPlainFolderIsCountedAndLeftAlone) {
    const struct {
        const char *commands; ///< that make $place, in the folder above it
        std::uint64_t skipped;
        std::uint64_t errors;
    } table[] = {
        {":", 0, 0},
        {"ln -s /home/elsewhere $place", 0, 1},
        {"ln -s /nowhere $place", 0, 1},
        {"echo > $place", 0, 1},
        {"mkdir $place; echo > $place/old; chmod 0 $place", 1, 0},
        {"rmdir $PWD; ln -s /home/elsewhere $PWD", 0, 0}, // such a profile is none
    };
    runIsolated(Isolation::ProcessesAndPlaces, [&] {
        const std::string home = enterEmptyMachine();
        require(mount("tmpfs", "/var", "tmpfs", 0, "mode=0777") == 0, "/var");
        require(chmod("/tmp", 0777) == 0 && chmod("/home", 0777) == 0 && chmod(home.c_str(), 0777) == 0, "/tmp");
        ASSERT_TRUE(becomeOrdinaryUser());
        const std::string cache = home + "/.cache/mozilla/firefox/me";
        for (const std::string &place : {std::string("/var/tmp"), cache + "/cache2"}) {
            for (const auto &row : table) {
                SCOPED_TRACE(place + ": " + row.commands);
                if (place == "/var/tmp" && row.commands == std::string_view(std::end(table)[-1].commands))
                    continue;
                fs::create_directories(cache);
                for (const char *file : {"/home/elsewhere/old", "/home/elsewhere/cache2/old", "/tmp/old"})
                    makeFile(file);
                ASSERT_TRUE(runIn(fs::path(place).parent_path(), "place=" + place + "; " + row.commands));
                const ScanResult scan = scanAll(goOn, {});
                ASSERT_EQ(scan.entries.size(), 1U);
                EXPECT_EQ(platform::linuxPath(scan.entries.front().path), "/tmp/old");
                EXPECT_EQ(scan.skipped, row.skipped);
                EXPECT_EQ(scan.errors, row.errors);
                EXPECT_EQ(cleanSelected(scan, allFiles, goOn, {}, {}).filesDeleted, 1U);
                platform::removePrivateFolders(); // a scan counts the one that lies in /tmp
                EXPECT_TRUE(fs::exists("/home/elsewhere/old") && fs::exists("/home/elsewhere/cache2/old"));
                chmod(place.c_str(), 0700);
                fs::remove_all(place);
                fs::remove_all(home + "/.cache");
            }
        }
    });
}

TEST(Cleanup, WhatNoTargetOfTodayCoversIsKept) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        Machine machine;
        const std::string profile = machine.home + "/.config/google-chrome/Profile 12";
        const std::string cached = machine.pathOf("~/.cache/google-chrome/Profile 12/Cache/Cache_Data/index");
        const struct {
            const char *name;
            void (*change)(ScanResult &scan);
            std::uint64_t reported; ///< the entry itself, and the end
        } table[] = {
            {"the profile is gone, its cache is not",
             [](ScanResult &) { fs::remove_all("/home/user/.config/google-chrome/Profile 12"); }, 2},
            {"told as temporary", [](ScanResult &scan) { scan.entries.front().category = CleanCategory::Temp; }, 2},
            {"of an unknown category", [](ScanResult &scan) { scan.entries.front().category = CleanCategory(2); }, 1},
            {"its root was not scanned", [](ScanResult &scan) { scan.roots.clear(); }, 2},
            {"outside of its root",
             [](ScanResult &scan) { scan.entries.front().path = platform::drivePath("/var/tmp/old"); }, 2},
            {"under a root of its own making",
             [](ScanResult &scan) {
                 scan.entries.front().rootPath = platform::drivePath("/home/user/.cache/google-chrome");
                 scan.roots.push_back({scan.entries.front().rootPath, 0, 0});
             },
             2},
        };
        for (const auto &row : table) {
            SCOPED_TRACE(row.name);
            machine.layOut();
            ScanResult scan = scanAll(goOn, {});
            std::erase_if(scan.entries,
                          [&](const FileEntry &entry) { return platform::linuxPath(entry.path) != cached; });
            ASSERT_EQ(scan.entries.size(), 1U);
            row.change(scan);
            const std::set<std::string> before = filesLeft();
            std::vector<Report> reports;
            const CleanResult result = cleanSelected(scan, allFiles, goOn, reportTo(reports), {});
            EXPECT_EQ(reports.size(), row.reported);
            EXPECT_EQ(result.skipped, row.reported - 1);
            EXPECT_EQ(result.filesDeleted + result.errors, 0U);
            EXPECT_EQ(filesLeft(), before);
        }
    });
}

TEST(Cleanup, TheRecycleBinGoesWholeAndOnlyAsItWasSeen) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const std::string home = enterEmptyMachine();
        const std::string trash = home + "/.local/share/Trash";
        const auto trashFile = [&](const std::string &name, const char *content) {
            makeFile(trash + "/files/" + name, content);
            makeFile(trash + "/info/" + name.substr(0, name.find('/')) + ".trashinfo",
                     "[Trash Info]\nPath=/gone\nDeletionDate=2026-01-01T00:00:00\n");
        };
        const struct {
            const char *commands; ///< in the trash
            CleanSelection selection;
            bool emptied;
            std::uint64_t skipped;
            std::vector<Report> reports;
        } table[] = {
            {":", {true, true, true}, true, 0, {{"/tmp/old", 0, 2}, {"Recycle Bin", 1, 2}}},
            {": # not selected", allFiles, false, 0, {{"/tmp/old", 0, 1}}},
            {"echo > files/more", {false, false, true}, false, 1, {{"Recycle Bin", 0, 1}}},
            {"rm files/file", {false, false, true}, false, 1, {{"Recycle Bin", 0, 1}}},
            {"echo grown > files/file", {false, false, true}, false, 1, {{"Recycle Bin", 0, 1}}},
        };
        for (const auto &row : table) {
            SCOPED_TRACE(row.commands);
            emptyFolder(home);
            makeFile("/tmp/old");
            trashFile("file", "1234");
            trashFile("folder/in it", "12345678");
            const ScanResult scan = scanAll(goOn, {});
            EXPECT_EQ(scan.recycleItems, 2U);
            EXPECT_EQ(scan.recycleBytes, 12U);
            ASSERT_TRUE(runIn(trash, row.commands));
            const std::set<std::string> before = filesBelow({"/home"});
            std::vector<Report> reports;
            const CleanResult result = cleanSelected(scan, row.selection, goOn, reportTo(reports), {});
            platform::removePrivateFolders();
            std::vector<Report> expected = row.reports;
            expected.push_back({"Finished", expected.size(), expected.size()});
            EXPECT_EQ(reports, expected);
            EXPECT_EQ(result.recycleEmptied, row.emptied);
            const std::uint64_t files = row.selection.temp ? 1 : 0;
            EXPECT_EQ(result.filesDeleted, files + (row.emptied ? 2 : 0));
            EXPECT_EQ(result.bytesFreed, files * 7 + (row.emptied ? 12 : 0));
            EXPECT_EQ(result.skipped, row.skipped);
            EXPECT_EQ(result.errors, 0U);
            EXPECT_EQ(filesBelow({"/home"}), row.emptied ? std::set<std::string>() : before);
        }
        std::atomic<bool> cancelFlag = false;
        const ScanResult scan = scanAll(goOn, {});
        const ProgressReport cancelAtOnce = [&](WStringView, std::uint64_t, std::uint64_t) { cancelFlag = true; };
        EXPECT_FALSE(cleanSelected(scan, {true, true, true}, cancelFlag, cancelAtOnce, {}).recycleEmptied);
        EXPECT_EQ(scanAll(goOn, {}).recycleItems, 2U);
        EXPECT_EQ(scanAll(cancelFlag, {}).recycleItems, 0U);
    });
}

pid_t startBrowser(const Machine &machine) {
    const std::string program = machine.home + "/chrome";
    fs::copy_file("/bin/sleep", program, fs::copy_options::skip_existing);
    return startProcess([&] {
        execl(program.c_str(), "chrome", "infinity", nullptr);
        _exit(127);
    });
}

TEST(Cleanup, ARunningBrowserKeepsAllCaches) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const Machine machine;
        const pid_t browser = startBrowser(machine);
        const ScanResult scan = scanAll(goOn, {});
        std::vector<Report> reports;
        const CleanResult result = cleanSelected(scan, allFiles, goOn, reportTo(reports), {});
        EXPECT_EQ(reports.size(), scan.entries.size() + 1);
        EXPECT_EQ(result.filesDeleted, machine.count(Temporary));
        EXPECT_EQ(result.skipped, machine.count(Cached));
        EXPECT_EQ(result.errors + result.lockedSkipped, 0U);
        endProcess(browser);
        fs::remove(machine.home + "/chrome");
        EXPECT_EQ(filesLeft(), machine.filesBut({Temporary}));
    });
}

TEST(Cleanup, ABrowserThatStartsMeanwhileKeepsTheCachesThatAreLeft) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const Machine machine;
        const ScanResult scan = scanAll(goOn, {});
        std::vector<Report> reports;
        std::vector<std::string> caches;
        pid_t browser = 0;
        const auto interfere = [&] {
            if (const auto fate = machine.fates.find(reports.back().text);
                fate == machine.fates.end() || fate->second != Cached)
                return;
            caches.push_back(reports.back().text);
            if (caches.size() == 4)
                browser = startBrowser(machine);
            else if (caches.size() == 6)
                endProcess(browser);
            else
                return;
            // The next look falls due.
            for (const ULONGLONG start = GetTickCount64(); GetTickCount64() - start < 250;)
                Sleep(5);
        };
        const CleanResult result = cleanSelected(scan, allFiles, goOn, reportTo(reports, interfere), {});
        EXPECT_EQ(runningBrowserNames(), std::vector<WString>{});
        EXPECT_EQ(result.skipped, machine.count(Cached) - 3);
        EXPECT_EQ(result.filesDeleted, machine.count(Temporary) + 3);
        EXPECT_EQ(result.errors, 0U);
        std::set<std::string> left = machine.filesBut({Temporary});
        for (std::size_t index = 0; index < 3; ++index)
            left.erase(caches.at(index));
        fs::remove(machine.home + "/chrome");
        EXPECT_EQ(filesLeft(), left);
    });
}

} // namespace
} // namespace dm
