#include "core/handles.h"
#include "platform/win32.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

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

TEST(Sharing, ProcessesAppendBesideEachOther) {
    constexpr int processes = 4;
    constexpr int lines = 500;
    const Scratch scratch;
    const OwnedHandle held = open(scratch, "log", FILE_APPEND_DATA, FILE_SHARE_READ, OPEN_ALWAYS);
    ASSERT_TRUE(held);
    std::vector<pid_t> children;
    for (int number = 0; number < processes; ++number) {
        children.push_back(fork());
        ASSERT_GE(children.back(), 0);
        if (children.back() != 0)
            continue;
        bool all = true;
        for (int line = 0; line < lines; ++line) {
            const OwnedHandle log = open(scratch, "log", FILE_APPEND_DATA, FILE_SHARE_READ, OPEN_ALWAYS);
            all = all && log && write(log, std::string(100 + line % 7, static_cast<char>('a' + number)) + '\n');
        }
        _exit(all ? 0 : 1);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    std::istringstream log(scratch.read("log"));
    std::string line;
    int count = 0;
    for (; std::getline(log, line); ++count)
        ASSERT_TRUE(line.size() >= 100 && std::count(line.begin(), line.end(), line[0]) == std::ssize(line)) << line;
    EXPECT_EQ(count, processes * lines);
}

} // namespace
} // namespace dm
