#include "core/com.h"
#include "core/handles.h"
#include "platform/win32.h"

#include "trashed.h"

namespace dm {
namespace {

using namespace test;

ComOwner<IShellItem> recycleBin() {
    ComOwner<IShellItem> item;
    EXPECT_EQ(SHGetKnownFolderItem(FOLDERID_RecycleBinFolder, KF_FLAG_DEFAULT, nullptr, IID_IShellItem, item.outVoid()),
              S_OK);
    return item;
}

HRESULT itemAt(const WString &path, ComOwner<IShellItem> &item) {
    return SHCreateItemFromParsingName(path.c_str(), nullptr, IID_IShellItem, item.outVoid());
}

HRESULT sourceIn(const WString &folder, ComOwner<ITransferSource> &source) {
    ComOwner<IShellItem> item;
    EXPECT_EQ(itemAt(folder, item), S_OK);
    return item->BindToHandler(nullptr, BHID_Transfer, IID_ITransferSource, source.outVoid());
}

/// Notes what it is told, and from a certain call on answers with a failure.
struct NotingSink final : ITransferAdviseSink {
    std::string calls;
    std::size_t failingCall = 99;
    ULONG references = 1;

    HRESULT note(char call) {
        calls += call;
        return calls.size() >= failingCall ? E_ABORT : S_OK;
    }
    HRESULT QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return ++references; }
    ULONG Release() override { return --references; }
    HRESULT UpdateProgress(ULONGLONG size, ULONGLONG total, int files, int, int, int) override {
        EXPECT_EQ(total, 4U);
        EXPECT_EQ(size, files == 0 ? 0U : 4U);
        return note(files == 0 ? 'b' : 'e');
    }
    HRESULT UpdateTransferState(DWORD state) override { return note(state == TS_PREPARING ? 'p' : 'P'); }
    HRESULT ConfirmOverwrite(IShellItem *, IShellItem *, LPCWSTR) override { return note('?'); }
    HRESULT ConfirmEncryptionLoss(IShellItem *) override { return note('?'); }
    HRESULT FileFailure(IShellItem *, LPCWSTR, HRESULT, LPWSTR, ULONG) override { return note('f'); }
    HRESULT SubStreamFailure(IShellItem *, LPCWSTR, HRESULT) override { return note('?'); }
    HRESULT PropertyFailure(IShellItem *, const PROPERTYKEY *, HRESULT) override { return note('?'); }
};

/// Recycles one file of a scratch folder.
HRESULT recycle(const Scratch &scratch, const char *name, NotingSink &sink, WString *newPath = nullptr) {
    ComOwner<IShellItem> file;
    ComOwner<IShellItem> moved;
    ComOwner<ITransferSource> source;
    DWORD cookie = 0;
    EXPECT_EQ(itemAt(scratch.wide(name), file), S_OK);
    EXPECT_EQ(sourceIn(scratch.wide(), source), S_OK);
    EXPECT_EQ(source->Advise(&sink, &cookie), S_OK);
    const HRESULT result = source->RecycleItem(file.get(), recycleBin().get(), TSF_NORMAL, moved.out());
    EXPECT_EQ(source->Unadvise(cookie), S_OK);
    EXPECT_EQ(sink.references, 1U);
    EXPECT_EQ(static_cast<bool>(moved), result == S_OK);
    TaskMemoryOwner<LPWSTR> path;
    if (moved && newPath != nullptr && moved->GetDisplayName(SIGDN_FILESYSPATH, path.out()) == S_OK)
        *newPath = path.get();
    return result;
}

TEST(ShellItems, GiveOnlyWhatTheyAre) {
    const Scratch scratch;
    scratch.file("file");
    void *given = nullptr;
    ComOwner<IShellItem> item;
    EXPECT_EQ(itemAt(scratch.wide("missing"), item), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(itemAt(W("file"), item), E_INVALIDARG);
    EXPECT_FALSE(item);
    ASSERT_EQ(itemAt(scratch.wide("file"), item), S_OK);
    EXPECT_EQ(item->BindToHandler(nullptr, BHID_Transfer, IID_ITransferSource, &given), E_NOINTERFACE) << "no folder";

    TaskMemoryOwner<PIDLIST_ABSOLUTE> list;
    EXPECT_EQ(SHGetIDListFromObject(item.get(), list.out()), E_INVALIDARG);
    ASSERT_EQ(SHGetIDListFromObject(recycleBin().get(), list.out()), S_OK);
    const auto *bytes = reinterpret_cast<const unsigned char *>(list.get());
    EXPECT_EQ(list.get()->mkid.cb, 18);
    EXPECT_EQ(bytes[18] | bytes[19], 0) << "the end";

    ComOwner<ITransferSource> source;
    ASSERT_EQ(sourceIn(scratch.wide(), source), S_OK);
    ComOwner<IShellItem> moved;
    EXPECT_EQ(source->RecycleItem(item.get(), item.get(), TSF_NORMAL, moved.out()), E_INVALIDARG) << "no bin";
    EXPECT_EQ(source->RecycleItem(item.get(), recycleBin().get(), 1, moved.out()), E_INVALIDARG);
    EXPECT_TRUE(scratch.exists("file"));
}

TEST(ShellItems, ASinkEndsTheTransferUpToTheRename) {
    for (std::size_t failing = 1; failing <= 4; ++failing) {
        fs::remove_all(homeTrash());
        const Scratch scratch;
        scratch.file("film", "film");
        NotingSink sink;
        sink.failingCall = failing;
        EXPECT_EQ(recycle(scratch, "film", sink), failing < 4 ? E_ABORT : S_OK);
        EXPECT_EQ(sink.calls, std::string("pPbe").substr(0, failing));
        EXPECT_EQ(scratch.exists("film"), failing < 4);
        EXPECT_EQ(trashedIn(homeTrash()), failing < 4 ? Tree() : Tree({{scratch.path("film"), "film"}}));
        EXPECT_TRUE(failing == 4 || !fs::exists(homeTrash()) || fs::is_empty(homeTrash() + "/info"));
    }
}

TEST(ShellItems, WhatIsNoFileOrLiesInATrashStays) {
    fs::remove_all(homeTrash());
    const Scratch scratch(platform::baseFolders().dataHome);
    scratch.folder("folder");
    scratch.link("link", "folder");
    ASSERT_EQ(mkfifo(scratch.path("pipe").c_str(), 0600), 0);
    for (const char *name : {"folder", "link", "pipe"}) {
        NotingSink sink;
        EXPECT_EQ(recycle(scratch, name, sink), HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED)) << name;
        EXPECT_EQ(sink.calls, "pf");
        EXPECT_TRUE(scratch.exists(name));
    }
    scratch.file("film", "film");
    WString path;
    NotingSink sink;
    ASSERT_EQ(recycle(scratch, "film", sink, &path), S_OK);
    for (const WString &again : {path, platform::drivePath(homeTrash() + "/files/film")}) {
        ComOwner<IShellItem> file;
        ComOwner<IShellItem> moved;
        ComOwner<ITransferSource> source;
        ASSERT_EQ(itemAt(again, file), S_OK);
        ASSERT_EQ(sourceIn(scratch.wide(), source), S_OK);
        EXPECT_EQ(source->RecycleItem(file.get(), recycleBin().get(), TSF_NORMAL, moved.out()),
                  HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED));
    }
    EXPECT_EQ(trashedIn(homeTrash()), (Tree{{scratch.path("film"), "film"}}));
}

OwnedHandle openFolderAt(const WString &path) {
    return OwnedHandle(CreateFileW(path.c_str(), FILE_READ_DATA | FILE_READ_ATTRIBUTES, FILE_SHARE_READ, nullptr,
                                   OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

WString finalPath(const OwnedHandle &handle) {
    WCHAR path[512];
    const DWORD units = GetFinalPathNameByHandleW(handle.get(), path, 512, 0);
    return WString(path, units);
}

TEST(ShellItems, WhatWasRecycledIsFoundBelowTheRecycleBinAndNothingWalksThere) {
    fs::remove_all(homeTrash());
    const Scratch scratch;
    const WString bin = scratch.wide().substr(0, 3) + W("$Recycle.Bin");
    const std::string number = std::to_string(geteuid());
    const WString user = bin + W("\\") + WString(number.begin(), number.end());
    EXPECT_FALSE(openFolderAt(user)) << "no trash yet";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    scratch.file("\xFF:", "film");
    WString path;
    NotingSink sink;
    ASSERT_EQ(recycle(scratch, "\xFF:", sink, &path), S_OK);
    EXPECT_EQ(path, user + W("\\\xDCFF\xF03A"));

    const WString prefix = W("\\\\?\\");
    for (const WString &folder : {bin, user})
        EXPECT_EQ(finalPath(openFolderAt(prefix + folder)), prefix + folder);
    const OwnedHandle file(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    ASSERT_TRUE(file);
    EXPECT_EQ(finalPath(file), prefix + path);
    EXPECT_EQ(GetFileType(file.get()), static_cast<DWORD>(FILE_TYPE_DISK));
    fs::rename(homeTrash() + "/files", homeTrash() + "/moved");
    EXPECT_EQ(finalPath(file), WString());
    fs::rename(homeTrash() + "/moved", homeTrash() + "/files");

    EXPECT_FALSE(openFolderAt(bin + W("\\7777")));
    EXPECT_FALSE(openFolderAt(scratch.wide() + W("\\$Recycle.Bin")));
    EXPECT_EQ(CreateDirectoryW((bin + W("\\new")).c_str(), nullptr), FALSE);
    WIN32_FIND_DATAW found;
    EXPECT_EQ(FindFirstFileExW((bin + W("\\*")).c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(ShellItems, AnInfoFileSaysWhereAndWhen) {
    fs::remove_all(homeTrash());
    setenv("TZ", "XYZ-05:00", 1);
    tzset();
    const Scratch scratch;
    scratch.file("a%b \xC3\xBC~_.-", "film");
    NotingSink sink;
    const std::time_t before = std::time(nullptr);
    ASSERT_EQ(recycle(scratch, "a%b \xC3\xBC~_.-", sink), S_OK);
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
