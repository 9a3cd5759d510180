// What becomes of a file between its name and its removal: after a killed process, and when somebody interferes.
#include "platform/linux/private_folder.h"

#include "empty_machine.h"
#include "engine/identity.h"
#include "engine/paths.h"
#include "engine/scanner.h"
#include "files.h"
#include "platform/win32.h"

namespace dm::platform {
namespace {

using namespace test;

const std::string longName(255, 'n');

/// Every file with its content, every link with its target; the random end of a kept name shows as "#".
Tree contentsOfAll() {
    Tree contents;
    for (const std::string &path : filesBelow({"/tmp", "/var/tmp", "/home"})) {
        const std::size_t kept = path.rfind(".kept-");
        const bool wasTaken = kept != path.npos && kept + 14 == path.size();
        contents[wasTaken ? path.substr(0, kept) + ".kept-#" : path] =
            fs::is_symlink(path)                                   ? "-> " + fs::read_symlink(path).string()
            : fs::is_directory(path) || path.ends_with("/journal") ? ""
                                                                   : readFile(path);
    }
    return contents;
}

/// A process that takes a name as a removal does and stays in the middle of it. Commands in the folder come after;
/// $made is the private folder.
pid_t startTaking(const std::string &folder, const std::string &name, const std::string &commands = ":") {
    return startProcess([&] {
        const FolderRef from = folderToOpenIn(drivePath(folder));
        require(from != nullptr, folder);
        const std::shared_ptr<PrivateFolder> made = privateFolderFor(from);
        require(made != nullptr, "private folder");
        const bool exists = faccessat(from->descriptor(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
        const DWORD code = takeName(*made, from, name, randomName());
        require(code == (exists ? DWORD(ERROR_SUCCESS) : DWORD(ERROR_FILE_NOT_FOUND)), "take");
        require(commands == ":" || runIn(folder, "made='" + made->path + "'; " + commands), commands);
    });
}

const struct State {
    std::string taken;
    const char *make;      ///< commands in the folder
    const char *meanwhile; ///< and while it is taken
    /// What is there afterwards: "@" is the folder, "^" the one above it, "!" where the private folder was.
    Tree expected;
} states[] = {
    {"name", "printf old > name", ":", {{"@/name", "old"}}},
    {"name", "mkdir -p name/in; printf old > name/in/file", ":", {{"@/name/in/file", "old"}}},
    {"name", "ln -s /nowhere name", ":", {{"@/name", "-> /nowhere"}}},
    {longName, "printf old > $(printf '%0255d' 0 | tr 0 n)", ":", {{"@/" + longName, "old"}}},
    {"name", ":", ":", {}},
    {"name", "printf old > name", "printf new > name", {{"@/name", "new"}, {"@/name.kept-#", "old"}}},
    {longName,
     "printf old > $(printf '%0255d' 0 | tr 0 n)",
     "printf new > $(printf '%0255d' 0 | tr 0 n)",
     {{"@/" + longName, "new"}, {"@/" + longName.substr(14) + ".kept-#", "old"}}},
    {"name", "printf old > name", "rmdir $PWD", {{"^/name.kept-#", "old"}}},
    {"name", "printf old > name", "rmdir $PWD; ln -s /home $PWD", {{"@", "-> /home"}, {"^/name.kept-#", "old"}}},
    // The journal: gone, empty, cut, damaged, or renamed, with nothing and with something to tell of.
    {"name", "printf old > name", "rm $made/journal", {{"!/recovered", "old"}}},
    {"name", "printf old > name", "truncate -s 0 $made/journal", {{"!/recovered", "old"}}},
    {"name", "printf old > name", "truncate -s 44 $made/journal", {{"!/recovered", "old"}}},
    {"name",
     "printf old > name",
     "tr '\\0' '\\377' < /dev/zero | head -c 4096 > $made/journal",
     {{"!/recovered", "old"}}},
    {"name", ":", "mv $made/journal $made/0123456789abcdef0123456789abcdef", {}},
    {"name", "printf old > name", "mv $made/journal $made/0123456789abcdef0123456789abcdef", {{"@/name", "old"}}},
    // A recovery was killed too, before and after it had removed the journal.
    {"name", "printf old > name", "chmod 1700 $made", {{"@/name", "old"}}},
    {"name", "printf old > name", "chmod 1700 $made; rm $made/journal", {{"!/recovered", "old"}}},
};

std::string expand(const std::string &text, const std::string &folder, const std::string &base) {
    const std::string above = fs::path(folder).parent_path();
    return (text.front() == '@' ? folder : text.front() == '^' ? above : base) + text.substr(1);
}

TEST(PrivateFolder, WhatAKilledProcessHadTakenComesBack) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        const std::string home = enterEmptyMachine();
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
                SCOPED_TRACE(folder.substr(0, 30) + ": " + state.make + "; " + state.meanwhile);
                fs::create_directories(folder);
                ASSERT_TRUE(runIn(folder, state.make));
                const pid_t taking = startTaking(folder, state.taken, state.meanwhile);
                EXPECT_FALSE(fs::exists(folder + '/' + state.taken) && !state.expected.contains("@/" + state.taken));
                endProcess(taking);
                recoverPrivateFolders();
                Tree expected;
                for (const auto &[path, content] : state.expected)
                    expected[expand(path, folder, base)] = content;
                EXPECT_EQ(contentsOfAll(), expected);
                for (const std::string &place : {std::string("/tmp"), home, std::string("/home/disk")})
                    emptyFolder(place);
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
        enterEmptyMachine();
        makeFile("/home/user/name", "old");
        const pid_t taking = startTaking("/home/user", "name");
        const std::string taken = takenAtHome();
        ASSERT_FALSE(taken.empty());
        const fs::path folder = fs::path(taken).parent_path();
        for (const char *commands : {":", "mv journal /home/user/kept; echo new > journal", "rm journal"}) {
            ASSERT_TRUE(runIn(folder, commands));
            const auto before = contentsOfAll();
            recoverPrivateFolders();
            EXPECT_EQ(contentsOfAll(), before);
        }
        fs::rename("/home/user/kept", folder / "journal");
        const auto before = contentsOfAll();
        const ScanResult scan = scanRoot(drivePath("/home/user"), false);
        EXPECT_TRUE(scan.entries.empty()) << "what is in a private folder is offered by no scan, not even root's";
        EXPECT_EQ(scan.skipped, 1U);
        EXPECT_EQ(contentsOfAll(), before);
        EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_write | fs::perms::owner_exec);
        endProcess(taking);
        recoverPrivateFolders();
        EXPECT_EQ(contentsOfAll(), (Tree{{"/home/user/name", "old"}}));
    });
}

TEST(PrivateFolder, OnAVolumeThatIsAwayIsRememberedUntilItIsBack) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        enterEmptyMachine();
        for (const char *place : {"/home/disk", "/home/away"})
            fs::create_directory(place);
        require(mount("tmpfs", "/home/disk", "tmpfs", 0, nullptr) == 0, "disk");
        makeFile("/home/disk/name", "old");
        endProcess(startTaking("/home/disk", "name"));
        for (const bool hasMountPoint : {true, false}) {
            require(mount("/home/disk", "/home/away", nullptr, MS_MOVE, nullptr) == 0, "unplug");
            if (!hasMountPoint)
                fs::remove("/home/disk");
            recoverPrivateFolders();
            fs::create_directory("/home/disk");
            require(mount("/home/away", "/home/disk", nullptr, MS_MOVE, nullptr) == 0, "plug in");
        }
        recoverPrivateFolders();
        EXPECT_EQ(contentsOfAll(), (Tree{{"/home/disk/name", "old"}}));
    });
}

TEST(PrivateFolder, WhatOnlyLooksLikeOneIsNotTouched) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        enterEmptyMachine();
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

void makeFilesOnThreeVolumes(const char *dataHome = nullptr) {
    enterEmptyMachine(geteuid(), dataHome);
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
            EXPECT_TRUE(openForDeletion(toExtendedPath(drivePath(path)))) << path;
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
            endProcess(startTaking(folder, "file"));
            EXPECT_NE(contentsOfAll(), before) << folder;
        }
        recoverPrivateFolders();
        EXPECT_EQ(contentsOfAll(), before);
    });
}

TEST(Removal, TakesTheOpenedFileOrNothing) {
    const struct {
        const char *commands; ///< while a/b/file is open for its removal
        DWORD code;
        Tree left;
    } table[] = {
        {":", ERROR_SUCCESS, {}},
        {"mv a/b/file elsewhere; echo > a/b/file", ERROR_FILE_NOT_FOUND, {{"elsewhere", "old"}, {"a/b/file", "\n"}}},
        {"mv a/b/file elsewhere; mkdir a/b/file; echo > a/b/file/in",
         ERROR_FILE_NOT_FOUND,
         {{"elsewhere", "old"}, {"a/b/file/in", "\n"}}},
        {"mv a/b/file elsewhere", ERROR_FILE_NOT_FOUND, {{"elsewhere", "old"}}},
        {"mv a/b moved", ERROR_PATH_NOT_FOUND, {{"moved/file", "old"}}},
        {"mv a moved; mkdir -p a/b; echo > a/b/file",
         ERROR_PATH_NOT_FOUND,
         {{"moved/b/file", "old"}, {"a/b/file", "\n"}}},
        {"mv a moved; ln -s moved a", ERROR_PATH_NOT_FOUND, {{"a", "moved"}, {"moved/b/file", "old"}}},
        {"ln a/b/file other", ERROR_ACCESS_DENIED, {{"a/b/file", "old"}, {"other", "old"}}},
        {"touch -cd 2001-01-01 a/b/file", ERROR_ACCESS_DENIED, {{"a/b/file", "old"}}},
        {"chmod 400 a/b/file", ERROR_ACCESS_DENIED, {{"a/b/file", "old"}}},
        // An opener, for reading and for writing, that does not wait until the file is let go.
        {"! dd iflag=nonblock if=a/b/file", ERROR_SHARING_VIOLATION, {{"a/b/file", "old"}}},
        {"! dd oflag=nonblock of=a/b/file conv=notrunc < /dev/null", ERROR_SHARING_VIOLATION, {{"a/b/file", "old"}}},
        {"rm $XDG_DATA_HOME/Dustmere/.dustmere-*/journal; rmdir $XDG_DATA_HOME/Dustmere/.dustmere-*",
         ERROR_SUCCESS,
         {}},
    };
    for (const auto &[commands, code, left] : table) {
        SCOPED_TRACE(commands);
        const Scratch scratch;
        scratch.file("a/b/file", "old");
        {
            PinnedPath pinned;
            ASSERT_TRUE(pinPath(pinned, scratch.wide("a/b")));
            const OwnedHandle file = openForDeletion(toExtendedPath(scratch.wide("a/b/file")));
            ASSERT_TRUE(file);
            EXPECT_TRUE(runIn(scratch.path(), commands));
            FILE_DISPOSITION_INFO disposition{};
            disposition.DeleteFile = TRUE;
            SetLastError(ERROR_SUCCESS);
            const bool removed =
                SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition, sizeof disposition);
            EXPECT_EQ(removed, code == ERROR_SUCCESS);
            EXPECT_EQ(GetLastError(), code);
        }
        Tree found = treeOf(scratch.path());
        std::erase_if(found, [](const auto &entry) { return entry.second.empty(); });
        EXPECT_EQ(found, left);
    }
}

} // namespace
} // namespace dm::platform
