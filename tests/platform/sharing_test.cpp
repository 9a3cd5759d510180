#include "core/handles.h"
#include "platform/win32.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

namespace dm {
namespace {

using test::Scratch;

OwnedHandle open(const Scratch &scratch, std::string_view name, DWORD access, DWORD share, DWORD disposition) {
    return OwnedHandle(
        CreateFileW(scratch.wide(name).c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool write(const OwnedHandle &file, std::string_view bytes) {
    DWORD written = 0;
    return WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

/// In another process; the exit code.
int inAnother(const std::function<int()> &work) {
    const pid_t child = fork();
    test::require(child >= 0, "fork");
    if (child == 0)
        _exit(work());
    int status = 0;
    test::require(waitpid(child, &status, 0) == child && WIFEXITED(status), "waitpid");
    return WEXITSTATUS(status);
}

TEST(Sharing, FileOpenedWithoutSharingKeepsOthersOutAndIsNotTruncatedByThem) {
    const Scratch scratch;
    OwnedHandle side = open(scratch, "side", GENERIC_WRITE, 0, CREATE_ALWAYS);
    ASSERT_TRUE(side);
    ASSERT_TRUE(write(side, "content"));
    const auto refusals = [&] {
        const WString path = scratch.wide("side");
        const auto isRefused = [](bool worked) { return !worked && GetLastError() == ERROR_SHARING_VIOLATION; };
        int count = isRefused(DeleteFileW(path.c_str())) + isRefused(MoveFileExW(path.c_str(), W("C:\\x"), 0));
        const std::pair<DWORD, DWORD> opens[] = {
            {GENERIC_WRITE, CREATE_ALWAYS}, {GENERIC_READ, OPEN_EXISTING}, {FILE_APPEND_DATA, OPEN_ALWAYS}};
        for (const auto &[access, disposition] : opens)
            for (const DWORD share : {0U, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE})
                count += isRefused(bool(open(scratch, "side", access, share, disposition)));
        return count;
    };
    EXPECT_EQ(refusals(), 8);
    EXPECT_EQ(inAnother(refusals), 8);
    EXPECT_EQ(scratch.read("side"), "content");
    side.reset();
    EXPECT_TRUE(open(scratch, "side", GENERIC_WRITE, 0, CREATE_ALWAYS));
    EXPECT_EQ(scratch.read("side"), "");
}

TEST(Sharing, ReplacementTakesNothingFromWhoReadsTheOldFile) {
    const Scratch scratch;
    scratch.file("file", "old");
    scratch.file("folder/new", "new");
    const OwnedHandle reader = open(scratch, "file", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    EXPECT_FALSE(open(scratch, "file", GENERIC_WRITE, 0, CREATE_ALWAYS));
    const auto move = [&](DWORD flags) {
        return MoveFileExW(scratch.wide("folder/new").c_str(), scratch.wide("file").c_str(), flags);
    };
    EXPECT_FALSE(move(MOVEFILE_WRITE_THROUGH));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_TRUE(move(MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
    EXPECT_EQ(scratch.read("file"), "new");
    char text[4] = {};
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(reader.get(), text, sizeof text, &read, nullptr));
    EXPECT_EQ(std::string(text, read), "old");
}

} // namespace
} // namespace dm
