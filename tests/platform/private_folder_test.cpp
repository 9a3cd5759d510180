// What becomes of a file between its name and its removal: after a killed process, and when somebody interferes.
#include "platform/linux/private_folder.h"

#include "empty_machine.h"
#include "engine/identity.h"
#include "engine/paths.h"
#include "engine/scanner.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <map>

namespace dm::platform {
namespace {

namespace fs = std::filesystem;
using test::filesBelow;
using test::Isolation;
using test::makeFile;
using test::require;
using test::runIsolated;
using test::Scratch;
using namespace std::chrono_literals;

const std::string longName(255, 'n');

/// Every file with its content, every link with its target; the random end of a kept name shows as "#".
std::map<std::string, std::string> contentsBelow(std::initializer_list<const char *> folders) {
    std::map<std::string, std::string> contents;
    for (const std::string &path : filesBelow(folders)) {
        if (!fs::is_symlink(path) && (fs::is_directory(path) || path.ends_with("/journal"))) {
            contents[path] = "";
            continue;
        }
        std::ifstream file(path, std::ios::binary);
        const std::string content = fs::is_symlink(path) ? "-> " + fs::read_symlink(path).string()
                                                         : std::string(std::istreambuf_iterator<char>(file), {});
        const std::size_t kept = path.rfind(".kept-");
        const bool wasTaken = kept != path.npos && kept + 14 == path.size();
        contents[wasTaken ? path.substr(0, kept) + ".kept-#" : path] = content;
    }
    return contents;
}

std::map<std::string, std::string> contentsOfAll() {
    return contentsBelow({"/tmp", "/var/tmp", "/home"});
}

/// Takes a name as a removal does and stays in the middle of it.
void take(const std::string &folder, const std::string &name, void (*meanwhile)(const std::string &, PrivateFolder &)) {
    const FolderRef from = folderToOpenIn(drivePath(folder));
    require(from != nullptr, folder);
    const std::shared_ptr<PrivateFolder> privateFolder = privateFolderFor(from);
    require(privateFolder != nullptr, "private folder");
    const bool exists = faccessat(from->descriptor(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    const DWORD code = takeName(*privateFolder, from, name, randomName());
    require(code == (exists ? DWORD(ERROR_SUCCESS) : DWORD(ERROR_FILE_NOT_FOUND)), "take");
    meanwhile(folder, *privateFolder);
}

pid_t startTaking(const std::string &folder, const std::string &name,
                  void (*meanwhile)(const std::string &, PrivateFolder &)) {
    return test::startProcess([&] { take(folder, name, meanwhile); });
}

void makeOld(const std::string &path) {
    makeFile(path, "old");
}
void doNothing(const std::string &, PrivateFolder &) {}

const struct State {
    const char *name;
    std::string taken;
    void (*make)(const std::string &path);
    void (*meanwhile)(const std::string &folder, PrivateFolder &made);
    /// What is there afterwards: "@" is the folder, "^" the one above it, "!" where the private folder was.
    std::map<std::string, std::string> expected;
} states[] = {
    {"a file", "name", makeOld, doNothing, {{"@/name", "old"}}},
    {"a folder", "name", [](auto &path) { makeOld(path + "/in/file"); }, doNothing, {{"@/name/in/file", "old"}}},
    {"a link",
     "name",
     [](auto &path) { fs::create_symlink("/nowhere", path); },
     doNothing,
     {{"@/name", "-> /nowhere"}}},
    {"the longest name", longName, makeOld, doNothing, {{"@/" + longName, "old"}}},
    {"nothing", "name", [](auto &) {}, doNothing, {}},
    {"its name is taken",
     "name",
     makeOld,
     [](auto &folder, auto &) { makeFile(folder + "/name", "new"); },
     {{"@/name", "new"}, {"@/name.kept-#", "old"}}},
    {"the longest name is taken",
     longName,
     makeOld,
     [](auto &folder, auto &) { makeFile(folder + '/' + longName, "new"); },
     {{"@/" + longName, "new"}, {"@/" + longName.substr(14) + ".kept-#", "old"}}},
    {"its folder is gone",
     "name",
     makeOld,
     [](auto &folder, auto &) { fs::remove(folder); },
     {{"^/name.kept-#", "old"}}},
    {"its folder became a link",
     "name",
     makeOld,
     [](auto &folder, auto &) {
         fs::remove(folder);
         fs::create_directory_symlink("/home", folder);
     },
     {{"@", "-> /home"}, {"^/name.kept-#", "old"}}},
    {"the journal is gone",
     "name",
     makeOld,
     [](auto &, auto &made) { fs::remove(made.path + "/journal"); },
     {{"!/recovered", "old"}}},
    {"the journal is empty",
     "name",
     makeOld,
     [](auto &, auto &made) { fs::resize_file(made.path + "/journal", 0); },
     {{"!/recovered", "old"}}},
    {"the journal is cut",
     "name",
     makeOld,
     [](auto &, auto &made) { fs::resize_file(made.path + "/journal", 44); },
     {{"!/recovered", "old"}}},
    {"the journal is damaged",
     "name",
     makeOld,
     [](auto &, auto &made) { std::fstream(made.path + "/journal") << std::string(4096, '\xFF'); },
     {{"!/recovered", "old"}}},
    {"the journal was on its way out",
     "name",
     [](auto &) {},
     [](auto &, auto &made) { fs::rename(made.path + "/journal", made.path + '/' + randomName()); },
     {}},
    {"the journal has another name",
     "name",
     makeOld,
     [](auto &, auto &made) { fs::rename(made.path + "/journal", made.path + '/' + randomName()); },
     {{"@/name", "old"}}},
    {"a recovery was killed before it moved anything",
     "name",
     makeOld,
     [](auto &, auto &made) { fs::permissions(made.path, fs::perms::owner_all | fs::perms::sticky_bit); },
     {{"@/name", "old"}}},
    {"a recovery was killed too",
     "name",
     makeOld,
     [](auto &, auto &made) {
         fs::permissions(made.path, fs::perms::owner_all | fs::perms::sticky_bit);
         fs::remove(made.path + "/journal");
     },
     {{"!/recovered", "old"}}},
};

std::string expand(const std::string &text, const std::string &folder, const std::string &base) {
    const std::string above = fs::path(folder).parent_path();
    return (text.front() == '@' ? folder : text.front() == '^' ? above : base) + text.substr(1);
}

TEST(PrivateFolder, WhatAKilledProcessHadTakenComesBack) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const std::string home = test::enterEmptyMachine();
        fs::create_directory("/home/disk");
        require(mount("tmpfs", "/home/disk", "tmpfs", 0, nullptr) == 0, "disk");
        std::string deep = home + '/' + std::string(44, 'd'); // so long that the journal has to grow
        for (int level = 0; level < 15; ++level)
            deep += '/' + std::string(250, 'd');
        // Each with where its private folder lies: the data folder is on the home volume.
        const std::pair<std::string, std::string> places[] = {
            {home + "/a/folder", home + "/.local/share/Dustmere"},
            {deep, home + "/.local/share/Dustmere"},
            {"/tmp/a/folder", "/tmp"},
            {"/home/disk/a/folder", "/home/disk"},
        };
        for (const auto &[folder, base] : places) {
            for (const State &state : states) {
                SCOPED_TRACE(folder.substr(0, 30) + ": " + state.name);
                fs::create_directories(folder);
                state.make(folder + '/' + state.taken);
                const pid_t taking = startTaking(folder, state.taken, state.meanwhile);
                EXPECT_FALSE(fs::exists(folder + '/' + state.taken) && !state.expected.contains("@/" + state.taken));
                test::endProcess(taking);
                recoverPrivateFolders();
                std::map<std::string, std::string> expected;
                for (const auto &[path, content] : state.expected)
                    expected[expand(path, folder, base)] = content;
                EXPECT_EQ(contentsOfAll(), expected);
                for (const std::string &place : {std::string("/tmp"), home, std::string("/home/disk")})
                    test::emptyFolder(place);
            }
        }
    });
}

/// The one object that lies in the private folder on the volume of the home folder, or an empty path.
std::string takenAtHome() {
    for (const auto &[path, content] : contentsOfAll())
        if (path.starts_with("/home/user/.local/share/Dustmere/") && content == "old")
            return path;
    return std::string();
}

TEST(PrivateFolder, OfALiveProcessIsLeftAlone) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        test::enterEmptyMachine();
        makeFile("/home/user/name", "old");
        const pid_t taking = startTaking("/home/user", "name", doNothing);
        const std::string taken = takenAtHome();
        ASSERT_FALSE(taken.empty());
        const std::string journal = fs::path(taken).parent_path() / "journal";
        for (void (*interfere)(const std::string &) : {+[](const std::string &) {},
                                                       +[](const std::string &file) {
                                                           fs::rename(file, "/home/user/kept");
                                                           makeFile(file, "new");
                                                       },
                                                       +[](const std::string &file) { fs::remove(file); }}) {
            interfere(journal);
            const auto before = contentsOfAll();
            recoverPrivateFolders();
            EXPECT_EQ(contentsOfAll(), before);
        }
        fs::rename("/home/user/kept", journal);
        const auto before = contentsOfAll();
        const ScanResult scan = scanRoot(drivePath("/home/user"), false);
        EXPECT_TRUE(scan.entries.empty()) << "what is in a private folder is offered by no scan, not even root's";
        EXPECT_EQ(scan.skipped, 1U);
        EXPECT_EQ(contentsOfAll(), before);
        EXPECT_EQ(fs::status(fs::path(taken).parent_path()).permissions(),
                  fs::perms::owner_write | fs::perms::owner_exec);
        test::endProcess(taking);
        recoverPrivateFolders();
        EXPECT_EQ(contentsOfAll(), (std::map<std::string, std::string>{{"/home/user/name", "old"}}));
    });
}

TEST(PrivateFolder, OnAVolumeThatIsAwayIsRememberedUntilItIsBack) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        test::enterEmptyMachine();
        for (const char *place : {"/home/disk", "/home/away"})
            fs::create_directory(place);
        require(mount("tmpfs", "/home/disk", "tmpfs", 0, nullptr) == 0, "disk");
        makeFile("/home/disk/name", "old");
        test::endProcess(startTaking("/home/disk", "name", doNothing));
        for (const bool hasMountPoint : {true, false}) {
            require(mount("/home/disk", "/home/away", nullptr, MS_MOVE, nullptr) == 0, "unplug");
            if (!hasMountPoint)
                fs::remove("/home/disk");
            recoverPrivateFolders();
            fs::create_directory("/home/disk");
            require(mount("/home/away", "/home/disk", nullptr, MS_MOVE, nullptr) == 0, "plug in");
        }
        recoverPrivateFolders();
        EXPECT_EQ(contentsOfAll(), (std::map<std::string, std::string>{{"/home/disk/name", "old"}}));
    });
}

TEST(PrivateFolder, WhatOnlyLooksLikeOneIsNotTouched) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        test::enterEmptyMachine();
        const std::string digits(32, 'a');
        for (const std::string &folder :
             {std::string("/tmp/.dustmere-notes"), "/tmp/.dustmere-" + digits, std::string("/home/user/folder")})
            makeFile(folder + "/mine", "content");
        fs::create_directories("/home/user/.local/share/Dustmere");
        for (const char *place : {"/var/tmp", "/home/user/.local/share/Dustmere"}) {
            makeFile(place + ("/private-folder-" + digits + "/home/user"), "a file");
            makeFile(place + ("/.dustmere-" + digits.substr(1)), "a file");
            fs::create_directory_symlink("/home/user/folder", place + ("/.dustmere-" + digits));
        }
        if (geteuid() == 0) {
            // A folder that another user has prepared to have this one's file system changed.
            const std::string forged = "/var/tmp/.dustmere-" + std::string(32, 'b');
            const std::string folder = "/home/user";
            const std::string name = ".profile";
            const std::uint32_t sizes[2] = {static_cast<std::uint32_t>(folder.size()),
                                            static_cast<std::uint32_t>(name.size())};
            makeFile(forged + '/' + digits, "evil");
            makeFile(forged + "/journal",
                     digits + std::string(reinterpret_cast<const char *>(sizes), sizeof sizes) + folder + name);
            require(chmod(forged.c_str(), 0300) == 0 && chown(forged.c_str(), 65534, 65534) == 0, forged);
        }
        const auto before = contentsOfAll();
        recoverPrivateFolders();
        EXPECT_EQ(contentsOfAll(), before);
    });
}

DWORD openingCode(const std::string &path) {
    SetLastError(ERROR_SUCCESS);
    const OwnedHandle file = openForDeletion(toExtendedPath(drivePath(path)));
    return GetLastError();
}

void makeFilesOnThreeVolumes(const char *dataHome = nullptr) {
    test::enterEmptyMachine(geteuid(), dataHome);
    fs::create_directory("/home/disk");
    require(mount("tmpfs", "/home/disk", "tmpfs", 0, nullptr) == 0, "disk");
    for (const char *file : {"/home/user/file", "/tmp/folder/file", "/home/disk/folder/file"})
        makeFile(file);
}

TEST(PrivateFolder, EndsWithTheProcess) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        makeFilesOnThreeVolumes();
        const auto before = contentsOfAll();
        for (const auto &[path, content] : before)
            EXPECT_EQ(openingCode(path), DWORD(ERROR_SUCCESS)) << path;
        EXPECT_EQ(contentsOfAll().size(), 3U + 3 * 2 + 1) << "files, folders with journals, and the memory of one";
        removePrivateFolders();
        EXPECT_EQ(contentsOfAll(), before);
        EXPECT_FALSE(fs::exists("/home/user/.local/share/Dustmere"));
    });
}

TEST(PrivateFolder, IsFoundAgainWithoutADataFolder) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        makeFilesOnThreeVolumes("/home/no folder");
        makeFile("/home/no folder");
        const auto before = contentsOfAll();
        for (const char *folder : {"/home/user", "/tmp/folder", "/home/disk/folder"}) {
            test::endProcess(startTaking(folder, "file", doNothing));
            EXPECT_NE(contentsOfAll(), before) << folder;
        }
        recoverPrivateFolders();
        EXPECT_EQ(contentsOfAll(), before);
    });
}

TEST(Removal, TakesTheOpenedFileOrNothing) {
    const struct {
        const char *name;
        void (*change)(const Scratch &scratch);
        DWORD code;
        std::map<std::string, std::string> left;
    } table[] = {
        {"nothing", [](auto &) {}, ERROR_SUCCESS, {}},
        {"another file under its name",
         [](auto &scratch) {
             scratch.rename("a/b/file", "elsewhere");
             scratch.file("a/b/file", "new");
         },
         ERROR_FILE_NOT_FOUND,
         {{"elsewhere", "old"}, {"a/b/file", "new"}}},
        {"exchanged with another file",
         [](auto &scratch) {
             scratch.file("other", "new");
             require(renameat2(AT_FDCWD, scratch.path("other").c_str(), AT_FDCWD, scratch.path("a/b/file").c_str(),
                               RENAME_EXCHANGE) == 0,
                     "exchange");
         },
         ERROR_FILE_NOT_FOUND,
         {{"other", "old"}, {"a/b/file", "new"}}},
        {"a folder under its name",
         [](auto &scratch) {
             scratch.rename("a/b/file", "elsewhere");
             scratch.file("a/b/file/in", "new");
         },
         ERROR_FILE_NOT_FOUND,
         {{"elsewhere", "old"}, {"a/b/file/in", "new"}}},
        {"renamed away",
         [](auto &scratch) { scratch.rename("a/b/file", "elsewhere"); },
         ERROR_FILE_NOT_FOUND,
         {{"elsewhere", "old"}}},
        {"its folder moved",
         [](auto &scratch) { scratch.rename("a/b", "moved"); },
         ERROR_PATH_NOT_FOUND,
         {{"moved/file", "old"}}},
        {"a folder above moved and replaced",
         [](auto &scratch) {
             scratch.rename("a", "moved");
             scratch.file("a/b/file", "new");
         },
         ERROR_PATH_NOT_FOUND,
         {{"moved/b/file", "old"}, {"a/b/file", "new"}}},
        {"a folder above became a link to itself",
         [](auto &scratch) {
             scratch.rename("a", "moved");
             scratch.link("a", "moved");
         },
         ERROR_PATH_NOT_FOUND,
         {{"moved/b/file", "old"}, {"a", "-> moved"}}},
        {"a second name",
         [](auto &scratch) { scratch.hardLink("other", "a/b/file"); },
         ERROR_ACCESS_DENIED,
         {{"a/b/file", "old"}, {"other", "old"}}},
        {"another time",
         [](auto &scratch) { scratch.setAge("a/b/file", 72h); },
         ERROR_ACCESS_DENIED,
         {{"a/b/file", "old"}}},
        {"another mode",
         [](auto &scratch) { scratch.setMode("a/b/file", 0400); },
         ERROR_ACCESS_DENIED,
         {{"a/b/file", "old"}}},
        {"an opener for reading",
         [](auto &scratch) {
             EXPECT_EQ(open(scratch.path("a/b/file").c_str(), O_RDONLY | O_NONBLOCK), -1);
             EXPECT_EQ(errno, EWOULDBLOCK);
         },
         ERROR_SHARING_VIOLATION,
         {{"a/b/file", "old"}}},
        {"an opener for writing",
         [](auto &scratch) { EXPECT_EQ(open(scratch.path("a/b/file").c_str(), O_RDWR | O_NONBLOCK), -1); },
         ERROR_SHARING_VIOLATION,
         {{"a/b/file", "old"}}},
        {"the private folder removed",
         [](auto &) {
             for (const auto &entry : fs::directory_iterator(std::getenv("XDG_DATA_HOME") + std::string("/Dustmere")))
                 EXPECT_TRUE(fs::remove(entry.path() / "journal") && fs::remove(entry.path()));
         },
         ERROR_SUCCESS,
         {}},
    };
    for (const auto &row : table) {
        SCOPED_TRACE(row.name);
        const Scratch scratch;
        scratch.file("a/b/file", "old");
        {
            PinnedPath pinned;
            ASSERT_TRUE(pinPath(pinned, scratch.wide("a/b")));
            const OwnedHandle file = openForDeletion(toExtendedPath(scratch.wide("a/b/file")));
            ASSERT_TRUE(file);
            row.change(scratch);
            FILE_DISPOSITION_INFO disposition{};
            disposition.DeleteFile = TRUE;
            SetLastError(ERROR_SUCCESS);
            const bool removed =
                SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition, sizeof disposition);
            EXPECT_EQ(removed, row.code == ERROR_SUCCESS);
            EXPECT_EQ(GetLastError(), row.code);
        }
        std::map<std::string, std::string> expected;
        for (const auto &[name, content] : row.left)
            expected[scratch.path(name)] = content;
        EXPECT_EQ(contentsBelow({scratch.path().c_str()}), expected);
    }
}

} // namespace
} // namespace dm::platform
