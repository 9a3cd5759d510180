#include "engine/targets.h"

#include "engine/paths.h"
#include "platform/places.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace dm {
namespace {

using test::Scratch;

TEST(Targets, ChromiumProfilesAreToldByName) {
    for (const WChar *name : {W("Default"), W("default"), W("GUEST PROFILE"), W("Profile 1"), W("profile 0123")})
        EXPECT_TRUE(isChromiumProfileName(name)) << testing::PrintToString(WString(name));
    for (const WChar *name :
         {W("Profile "), W("Profile"), W("Profile 1a"), W("Profile  1"), W("Profile -1"), W("Profile \x0663"),
          W("Profile1"), W("System Profile"), W("Default "), W("Guest Profile 1"), W("")})
        EXPECT_FALSE(isChromiumProfileName(name)) << testing::PrintToString(WString(name));
}

TEST(Targets, OnlyPlainSubfoldersAreListed) {
    const Scratch scratch;
    scratch.folder("profiles/one");
    scratch.folder("profiles/.hidden");
    scratch.file("profiles/file");
    scratch.folder("elsewhere");
    scratch.link("profiles/link", scratch.path("elsewhere"));
    scratch.link("linked profiles", scratch.path("profiles"));
    std::vector<WString> names = listSubfolders(scratch.wide("profiles"));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<WString>{W(".hidden"), W("one")}));
    EXPECT_TRUE(listSubfolders(scratch.wide("linked profiles")).empty());
    EXPECT_TRUE(listSubfolders(scratch.wide("missing")).empty());
    EXPECT_TRUE(listSubfolders(scratch.wide("elsewhere")).empty());
    EXPECT_TRUE(listSubfolders(W("profiles")).empty());
}

// The browsers' folders lie below the test's own base folders.
TEST(Targets, ProfilesYieldTheirCachesBetweenTheTwoTempFolders) {
    const ScanPlaces places = scanPlaces();
    EXPECT_EQ(listScanTargets().size(), 2U);
    std::vector<WString> expected = {places.userTemp};
    for (const BrowserPlace &browser : places.browsers) {
        const bool chromium = browser.profileNames == ProfileNames::Chromium;
        const WString profile = chromium ? W("Profile 7") : W("k3x.default-release");
        const WString stranger = W("Crashpad");
        std::filesystem::create_directories(platform::linuxPath(browser.profiles + W("\\") + profile));
        if (chromium)
            std::filesystem::create_directories(platform::linuxPath(browser.profiles + W("\\") + stranger));
        ASSERT_FALSE(browser.caches.empty());
        for (const CachePlace &cache : browser.caches)
            expected.push_back(cache.parent + W("\\") + profile + W("\\") + cache.name);
    }
    expected.push_back(places.systemTemp);

    const std::vector<ScanTarget> targets = listScanTargets();
    ASSERT_EQ(targets.size(), expected.size());
    ASSERT_GT(targets.size(), 2U);
    for (std::size_t index = 0; index < targets.size(); ++index) {
        const bool temp = index == 0 || index == targets.size() - 1;
        EXPECT_EQ(targets[index].path, expected[index]) << index;
        EXPECT_EQ(targets[index].category, temp ? CleanCategory::Temp : CleanCategory::Browser) << index;
        EXPECT_EQ(targets[index].enforceAgeCutoff, temp) << index;
    }
    for (const BrowserPlace &browser : places.browsers)
        std::filesystem::remove_all(platform::linuxPath(browser.profiles));
}

} // namespace
} // namespace dm
