#include "files.h"
#include "platform/linux/base_folders.h"
#include "platform/linux/volumes.h"
#include "platform/win32.h"

#include <pwd.h>

namespace dm::platform {
namespace {

using namespace test;

void setVariable(const char *name, const std::string &value) {
    require(setenv(name, value.c_str(), 1) == 0, name);
}

TEST(KnownFolders, BaseFoldersAreResolvedWholeAndOnce) {
    inNewProcess([] {
        const Scratch scratch;
        scratch.folder("real/home/cache");
        scratch.link("home", "real/home");
        scratch.link("real/home/.cache", scratch.path("real/home/cache"));
        setVariable("HOME", scratch.path("home/"));
        setVariable("XDG_DATA_HOME", "");
        setVariable("XDG_CACHE_HOME", "relative/cache");
        setVariable("XDG_CONFIG_HOME", scratch.path("home//not//yet"));
        EXPECT_EQ(baseFolders().home, scratch.path("real/home"));
        EXPECT_EQ(baseFolders().dataHome, scratch.path("real/home/.local/share"));
        EXPECT_EQ(baseFolders().cacheHome, scratch.path("real/home/cache"));
        EXPECT_EQ(baseFolders().configHome, scratch.path("real/home/not/yet"));
        setVariable("HOME", "/elsewhere");
        EXPECT_EQ(baseFolders().home, scratch.path("real/home"));

        EXPECT_TRUE(makeBaseFolder(baseFolders().dataHome));
        for (const char *made : {"home/.local", "home/.local/share"}) {
            struct stat status {};
            EXPECT_EQ(stat(scratch.path(made).c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777, 0700U) << made;
        }
        EXPECT_TRUE(makeBaseFolder(baseFolders().dataHome));
        EXPECT_FALSE(makeBaseFolder(scratch.file("file")));
        EXPECT_FALSE(makeBaseFolder(scratch.path("file/below")));
    });
}

TEST(KnownFolders, AccountTellsTheHomeWhereTheEnvironmentDoesNot) {
    const passwd *account = getpwuid(getuid());
    if (account == nullptr || account->pw_dir[0] != '/')
        GTEST_SKIP() << "This user has no account with a home folder.";
    inNewProcess([account] {
        unsetenv("HOME");
        EXPECT_EQ(baseFolders().home, fs::weakly_canonical(account->pw_dir).string());
    });
}

TEST(KnownFolders, TempPathIsAFolderOfAnyFormButNoRelativeOne) {
    const Scratch scratch;
    scratch.folder("real");
    scratch.link("link", "real");
    const std::string before = getenv("TMPDIR");
    const std::pair<std::string, std::string> table[] = {
        {scratch.path("real"), scratch.path("real")},
        {scratch.path("link//"), scratch.path("link")}, // stays a link, which is refused where it is used
        {"relative", "/tmp"},
        {"", "/tmp"},
        {"/", "/"},
        {"/proc", ""},
    };
    WCHAR path[MAX_PATH * 2];
    for (const auto &[variable, folder] : table) {
        setVariable("TMPDIR", variable);
        const WString expected = drivePath(folder) + (folder.size() < 2 ? W("") : W("\\"));
        EXPECT_EQ(WString(path, GetTempPathW(std::size(path), path)), expected) << variable;
    }
    setVariable("TMPDIR", before);
}

} // namespace
} // namespace dm::platform
