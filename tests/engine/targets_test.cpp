#include "engine/targets.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

TEST(Targets, ChromiumProfilesAreToldByName) {
    for (const WChar *name : {W("Default"), W("default"), W("GUEST PROFILE"), W("Profile 1"), W("profile 0123")})
        EXPECT_TRUE(isChromiumProfileName(name)) << testing::PrintToString(WString(name));
    for (const WChar *name :
         {W("Profile "), W("Profile"), W("Profile 1a"), W("Profile  1"), W("Profile -1"), W("Profile \x0663"),
          W("Profile1"), W("System Profile"), W("Default "), W("Guest Profile 1"), W("")})
        EXPECT_FALSE(isChromiumProfileName(name)) << testing::PrintToString(WString(name));
}

} // namespace
} // namespace dm
