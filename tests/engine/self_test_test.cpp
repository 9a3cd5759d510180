#include "engine/self_test.h"

#include "files.h"

namespace dm {
namespace {

TEST(SelfTest, LeavesNothingBehindAndMakesNothingBehindALink) {
    const test::Scratch scratch;
    scratch.file("real/bystander");
    scratch.link("link", scratch.path("real"));
    const test::Tree before = test::treeOf(scratch.path());
    const std::string temp = std::getenv("TMPDIR");
    WString report = W("from before");
    setenv("TMPDIR", scratch.path("real").c_str(), 1);
    EXPECT_TRUE(runSelfTest(report));
    EXPECT_EQ(report, W(""));
    setenv("TMPDIR", scratch.path("link").c_str(), 1);
    EXPECT_FALSE(runSelfTest(report));
    EXPECT_EQ(report, W("Fixture parent must be a plain local directory."));
    EXPECT_EQ(test::treeOf(scratch.path()), before);
    setenv("TMPDIR", temp.c_str(), 1);
}

} // namespace
} // namespace dm
