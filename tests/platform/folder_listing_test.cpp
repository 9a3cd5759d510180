#include "platform/linux/folder_listing.h"

#include "platform/win32.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

namespace dm::platform {
namespace {

using test::Scratch;

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::size_t readersAhead() {
    std::size_t count = 0;
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        count += name == "read-ahead" ? 1 : 0;
    }
    return count;
}

// A thread that has ended may be seen for a moment longer.
void waitForNoReader() {
    while (readersAhead() != 0)
        std::this_thread::yield();
}

// Lists a folder and all below it, each subfolder at its place, as a walk does.
void walk(const WString &folder, std::multiset<WString> &found, std::size_t &mostReaders) {
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileExW((folder + W("\\*")).c_str(), FindExInfoBasic, &data, FindExSearchNameMatch,
                                           nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (search == INVALID_HANDLE_VALUE) {
        EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
        return;
    }
    do {
        const WString path = folder + W("\\") + data.cFileName;
        found.insert(path);
        if ((data.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) ==
            FILE_ATTRIBUTE_DIRECTORY)
            walk(path, found, mostReaders);
    } while (FindNextFileW(search, &data));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NO_MORE_FILES));
    mostReaders = std::max(mostReaders, readersAhead());
    EXPECT_LT(openDescriptors(), 128U);
    FindClose(search);
}

void expectWholeWalk(const Scratch &scratch, bool isLong) {
    const std::size_t descriptors = openDescriptors();
    std::multiset<WString> found;
    std::size_t mostReaders = 0;
    walk(scratch.wide(), found, mostReaders);
    std::multiset<WString> expected;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(scratch.path()))
        expected.insert(drivePath(entry.path().string()));
    EXPECT_EQ(found, expected);
    EXPECT_EQ(mostReaders, isLong ? 1U : 0U);
    waitForNoReader();
    EXPECT_LE(openDescriptors(), descriptors + 40); // the folders used last stay held
}

TEST(FolderListing, EveryNameIsGivenOnceAndTheSecondThreadEndsWithTheWalk) {
    const Scratch wide;
    for (int index = 0; index < 3000; ++index)
        wide.file("folder-" + std::to_string(index % 61) + "/below-" + std::to_string(index % 7) + "/file-" +
                  std::to_string(index));
    for (int index = 0; index < 40; ++index)
        wide.folder("empty-" + std::to_string(index));
    expectWholeWalk(wide, true);

    const Scratch few;
    few.file("folder/file");
    expectWholeWalk(few, false);
}

// The outer listings have more names than are read at once, and let their descriptors go on the way down.
TEST(FolderListing, AListingGoesOnWhereItWasAfterAWalkFarBelow) {
    const Scratch scratch;
    std::string folder;
    for (int level = 0; level < 24; ++level) {
        scratch.folder(folder.empty() ? "." : folder);
        for (int index = 0; index < 1000; ++index)
            close(open(scratch.path(folder + "/long-name-for-a-file-" + std::to_string(index)).c_str(),
                       O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        folder += (folder.empty() ? "" : "/") + std::string("middle");
    }
    scratch.folder(folder);
    expectWholeWalk(scratch, true);
}

} // namespace
} // namespace dm::platform
