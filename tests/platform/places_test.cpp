#include "platform/places.h"

#include "engine/paths.h"
#include "platform/linux/base_folders.h"
#include "platform/linux/scan_paths.h"
#include "platform/linux/volumes.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

TEST(Places, BrowsersInTheirOrder) {
    std::string told;
    for (const platform::BrowserPaths &browser : platform::browserPaths({"/h", "/h/data", "/cache", "/config"})) {
        told += browser.profiles;
        for (const platform::CachePath &cache : browser.caches)
            told += (cache.parent == browser.profiles ? " ." : ' ' + cache.parent) + '|' + cache.name;
        told += browser.profileNames == ProfileNames::Any ? " any\n" : "\n";
    }
    std::string expected;
    const auto expectChromium = [&](const std::string &profiles, const std::string &cache) {
        expected += profiles + ' ' + cache + "|Cache " + cache + "|Code Cache .|GPUCache\n";
    };
    const auto expectFlatpak = [&](const std::string &app, const std::string &name) {
        expectChromium("/h/.var/app/" + app + "/config/" + name, "/h/.var/app/" + app + "/cache/" + name);
    };
    for (const char *name : {"google-chrome", "google-chrome-beta", "google-chrome-unstable"})
        expectChromium(std::string("/config/") + name, std::string("/cache/") + name);
    expectFlatpak("com.google.Chrome", "google-chrome");
    expectChromium("/config/chromium", "/cache/chromium");
    expectChromium("/h/snap/chromium/common/chromium", "/h/snap/chromium/common/.cache/chromium");
    expectFlatpak("org.chromium.Chromium", "chromium");
    for (const char *name : {"microsoft-edge", "microsoft-edge-beta", "microsoft-edge-dev"})
        expectChromium(std::string("/config/") + name, std::string("/cache/") + name);
    expectFlatpak("com.microsoft.Edge", "microsoft-edge");
    for (const char *cache : {"/cache", "/h/snap/firefox/common/.cache", "/h/.var/app/org.mozilla.firefox/cache"})
        expected += cache + std::string("/mozilla/firefox .|cache2 any\n");
    EXPECT_EQ(told, expected);
}

TEST(Places, OfThisUser) {
    const ScanPlaces places = scanPlaces();
    EXPECT_EQ(platform::linuxPath(places.userTemp), "/tmp");
    EXPECT_EQ(platform::linuxPath(places.systemTemp), "/var/tmp");
    const std::vector<platform::BrowserPaths> browsers = platform::browserPaths(platform::baseFolders());
    ASSERT_EQ(places.browsers.size(), browsers.size());
    for (std::size_t index = 0; index < browsers.size(); ++index) {
        const BrowserPlace &place = places.browsers[index];
        WString normal;
        EXPECT_TRUE(normalizePath(place.profiles, normal) && normal == place.profiles);
        EXPECT_EQ(platform::linuxPath(place.profiles), browsers[index].profiles);
        ASSERT_EQ(place.caches.size(), browsers[index].caches.size());
        for (std::size_t cache = 0; cache < place.caches.size(); ++cache)
            EXPECT_EQ(platform::linuxPath(place.caches[cache].parent), browsers[index].caches[cache].parent);
    }
}

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
