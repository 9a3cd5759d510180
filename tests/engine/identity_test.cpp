#include "engine/identity.h"

#include "engine/paths.h"
#include "files.h"

namespace dm {
namespace {

using test::Scratch;

TEST(Identity, HalvesAreJoinedWithoutLossOfTheUpperOne) {
    BY_HANDLE_FILE_INFORMATION info{};
    info.nFileIndexHigh = 0x89ABCDEF;
    info.nFileIndexLow = 0x80000001;
    EXPECT_EQ(fileIndexOf(info), 0x89ABCDEF80000001);
}

TEST(Identity, ExactlyFiveErrorsAreBenign) {
    std::vector<DWORD> benign;
    for (DWORD error = 0; error < 20000; ++error)
        if (isBenignFileError(error))
            benign.push_back(error);
    EXPECT_EQ(benign, (std::vector<DWORD>{2, 3, 5, 32, 33}));
}

TEST(Identity, APinTellsTheLastFolderAndHoldsEachLevel) {
    const Scratch scratch;
    scratch.folder("a/b");
    const WString path = scratch.wide("a/b");
    PinnedPath pinned;
    ASSERT_TRUE(pinPath(pinned, path)) << GetLastError();
    EXPECT_EQ(pinned.finalPath, path);
    EXPECT_EQ(pinned.handles.size(), static_cast<std::size_t>(std::count(path.begin(), path.end(), W('\\'))) + 1);
    PinnedPath again;
    ASSERT_TRUE(pinPath(again, toExtendedPath(path) + W("\\")));
    EXPECT_EQ(fileIndexOf(again.info), fileIndexOf(pinned.info));
    PinnedPath parent;
    ASSERT_TRUE(pinPath(parent, scratch.wide("a")));
    EXPECT_NE(fileIndexOf(parent.info), fileIndexOf(pinned.info));
}

TEST(Identity, AFolderMadeAnewUnderTheSameNameIsAnother) {
    const Scratch scratch;
    for (int round = 0; round < 20; ++round) {
        std::uint64_t indexes[2];
        for (std::uint64_t &index : indexes) {
            scratch.folder("folder");
            PinnedPath pinned;
            ASSERT_TRUE(pinPath(pinned, scratch.wide("folder")));
            index = fileIndexOf(pinned.info);
            pinned.handles.clear();
            std::filesystem::remove(scratch.path("folder"));
        }
        ASSERT_NE(indexes[0], indexes[1]);
    }
}

} // namespace
} // namespace dm
