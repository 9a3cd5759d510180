// What the shell's own move to the Recycle Bin does with whatever it is given.
#include "core/com.h"
#include "platform/win32.h"

#include "trashed.h"

namespace dm {
namespace {

using namespace test;

ComOwner<IShellItem> itemAt(const WString &path) {
    ComOwner<IShellItem> item;
    EXPECT_EQ(SHCreateItemFromParsingName(path.c_str(), nullptr, IID_IShellItem, item.outVoid()), S_OK);
    return item;
}

/// Recycles one file; its path in the Recycle Bin.
HRESULT recycle(const WString &path, WString *newPath = nullptr) {
    ComOwner<IShellItem> bin;
    ComOwner<IShellItem> moved;
    ComOwner<ITransferSource> source;
    EXPECT_EQ(SHGetKnownFolderItem(FOLDERID_RecycleBinFolder, KF_FLAG_DEFAULT, nullptr, IID_IShellItem, bin.outVoid()),
              S_OK);
    const ComOwner<IShellItem> folder = itemAt(platform::drivePath(platform::baseFolders().dataHome));
    EXPECT_EQ(folder->BindToHandler(nullptr, BHID_Transfer, IID_ITransferSource, source.outVoid()), S_OK);
    const HRESULT result = source->RecycleItem(itemAt(path).get(), bin.get(), TSF_NORMAL, moved.out());
    EXPECT_EQ(static_cast<bool>(moved), result == S_OK);
    TaskMemoryOwner<LPWSTR> name;
    if (moved && newPath != nullptr && moved->GetDisplayName(SIGDN_FILESYSPATH, name.out()) == S_OK)
        *newPath = name.get();
    return result;
}

TEST(ShellItems, WhatIsNoFileOrLiesInATrashStays) {
    fs::remove_all(homeTrash());
    const Scratch scratch(platform::baseFolders().dataHome);
    scratch.folder("folder");
    scratch.link("link", "folder");
    ASSERT_EQ(mkfifo(scratch.path("pipe").c_str(), 0600), 0);
    for (const char *name : {"folder", "link", "pipe"}) {
        EXPECT_EQ(recycle(scratch.wide(name)), HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED)) << name;
        EXPECT_TRUE(scratch.exists(name));
    }
    scratch.file("film", "film");
    WString path;
    ASSERT_EQ(recycle(scratch.wide("film"), &path), S_OK);
    for (const WString &again : {path, platform::drivePath(homeTrash() + "/files/film")})
        EXPECT_EQ(recycle(again), HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED));
    EXPECT_EQ(trashedIn(homeTrash()), (Tree{{scratch.path("film"), "film"}}));
}

TEST(ShellItems, AnInfoFileSaysWhereAndWhen) {
    fs::remove_all(homeTrash());
    setenv("TZ", "XYZ-05:00", 1);
    tzset();
    const Scratch scratch;
    scratch.file("a%b \xC3\xBC~_.-", "film");
    const std::time_t before = std::time(nullptr);
    ASSERT_EQ(recycle(scratch.wide("a%b \xC3\xBC~_.-")), S_OK);
    const std::string info = readFile(homeTrash() + "/info/a%b \xC3\xBC~_.-.trashinfo");
    const std::string start = "[Trash Info]\nPath=" + scratch.path("a%25b%20%C3%BC~_.-") + "\nDeletionDate=";
    ASSERT_TRUE(info.starts_with(start)) << info;
    std::tm told = {};
    ASSERT_NE(strptime(info.c_str() + start.size(), "%Y-%m-%dT%H:%M:%S\n", &told), nullptr);
    const std::time_t time = timegm(&told) - 5 * 3600;
    EXPECT_GE(time, before);
    EXPECT_LE(time, std::time(nullptr));
    EXPECT_EQ(fs::status(homeTrash()).permissions(), fs::perms::owner_all);
}

} // namespace
} // namespace dm
