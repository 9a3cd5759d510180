#include "platform/places.h"

#include "engine/paths.h"
#include "platform/linux/base_folders.h"
#include "platform/linux/volumes.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

TEST(Places, PathsAsAPersonReadsAndTypesThem) {
    const WString home = shownPath(platform::drivePath(platform::baseFolders().home));
    ASSERT_EQ(home.front(), W('/'));
    // The last text of a row is what is shown for what was typed, where that is not the same.
    const std::vector<WString> table[] = {{W("/")},
                                          {W("/nowhere/user/film.mkv")},
                                          {W("/nowhere/user/a:b\\c ")},
                                          {W("/nowhere/aux/Ünïcödé 😀/\xF02E")},
                                          {W("//nowhere///user/"), W("/nowhere/user")},
                                          {W("///"), W("/")},
                                          {W("~"), home},
                                          {W("~/"), home},
                                          {W("~//Films/x"), home + W("/Films/x")}};
    for (const std::vector<WString> &row : table) {
        const WString typed = typedPath(row.front());
        WString normal;
        EXPECT_TRUE(normalizePath(typed, normal) && normal == typed) << testing::PrintToString(row);
        EXPECT_EQ(shownPath(typed), row.back());
        EXPECT_EQ(typedPath(typed), typed);
    }
    EXPECT_EQ(shownPath(platform::drivePath("/a\xFF\xE2\x82/b")), W("/a\xFFFD\xFFFD\xFFFD/b"));
}

TEST(Places, WhatCannotBeTurnedComesBackAsItIs) {
    for (const WString &text :
         {WString(), WString(W("relative/path")), WString(W("~user/x")), WString(W("/proc/self/maps")),
          WString(W("\\\\server\\share")), WString(W("C:")), WString(W("/a\0b"), 4), WString{W('/'), 0xD800},
          WString{W('/'), 0xDC80}, WString(W("1:\\x"))}) {
        EXPECT_EQ(typedPath(text), text);
        EXPECT_EQ(shownPath(text), text);
    }
    for (const WChar *path : {W("C:\\a."), W("C:\\..\\x"), W("C:\\a\\\\b"), W("C:\\*")})
        EXPECT_EQ(shownPath(path), path);
    // Nothing is resolved: the path is refused where it is used.
    for (const WChar *text : {W("/nowhere/../etc"), W("/nowhere/./x"), W("~/..")}) {
        WString normal;
        EXPECT_FALSE(normalizePath(typedPath(text), normal)) << testing::PrintToString(WString(text));
    }
    EXPECT_EQ(platformName(), W("Linux"));
}

} // namespace
} // namespace dm
