#include "engine/identity.h"

#include "engine/paths.h"
#include "files.h"

namespace dm {
namespace {

using test::Scratch;

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

TEST(Identity, WhatIsNoPlainFolderIsNotPinned) {
    const Scratch scratch;
    scratch.folder("real/below");
    scratch.link("link", scratch.path("real"));
    scratch.link("dangling", scratch.path("nowhere"));
    scratch.file("file");
    const std::size_t levelsAbove = [&] {
        PinnedPath pinned;
        return pinPath(pinned, scratch.wide()) ? pinned.handles.size() : 0;
    }();
    ASSERT_GT(levelsAbove, 0U);
    const struct {
        WString path;
        DWORD error;
        std::size_t held;
    } table[] = {
        {scratch.wide("link"), ERROR_REPARSE_TAG_INVALID, levelsAbove},
        {scratch.wide("link/below"), ERROR_REPARSE_TAG_INVALID, levelsAbove},
        {scratch.wide("dangling"), ERROR_REPARSE_TAG_INVALID, levelsAbove},
        {scratch.wide("file"), ERROR_REPARSE_TAG_INVALID, levelsAbove},
        {scratch.wide("missing/below"), ERROR_FILE_NOT_FOUND, levelsAbove},
        {scratch.wide() + W("\\..\\real"), ERROR_INVALID_NAME, 0},
        {W("real"), ERROR_INVALID_NAME, 0},
    };
    for (const auto &[path, error, held] : table) {
        PinnedPath pinned;
        EXPECT_FALSE(pinPath(pinned, path)) << testing::PrintToString(path);
        EXPECT_EQ(GetLastError(), error) << testing::PrintToString(path);
        EXPECT_EQ(pinned.handles.size(), held) << testing::PrintToString(path);
    }
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

TEST(Identity, AnObjectThatLeftItsPathHasNoFinalPath) {
    const Scratch scratch;
    scratch.file("folder/file");
    const OwnedHandle file = openForScan(toExtendedPath(scratch.wide("folder/file")));
    ASSERT_TRUE(file);
    EXPECT_EQ(finalPathOf(file.get()), scratch.wide("folder/file"));
    ASSERT_TRUE(test::runIn(scratch.path(), "mv folder/file elsewhere"));
    EXPECT_NE(finalPathOf(file.get()), scratch.wide("folder/file"));
    ASSERT_TRUE(test::runIn(scratch.path(), "mv elsewhere folder/file"));
    EXPECT_EQ(finalPathOf(file.get()), scratch.wide("folder/file"));
    ASSERT_TRUE(test::runIn(scratch.path(), "cp -r folder twin; mv folder other; mv twin folder"));
    EXPECT_NE(finalPathOf(file.get()), scratch.wide("folder/file"));
}

} // namespace
} // namespace dm
