#include "engine/self_test.h"

#include "scratch.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

using test::Scratch;

// The temp folder of the program, for as long as it lives.
class TempFolder {
public:
    explicit TempFolder(const std::string &folder) : before_(std::getenv("TMPDIR")) {
        setenv("TMPDIR", folder.c_str(), 1);
    }
    TempFolder(const TempFolder &) = delete;
    TempFolder &operator=(const TempFolder &) = delete;
    ~TempFolder() { setenv("TMPDIR", before_.c_str(), 1); }

private:
    std::string before_;
};

std::string narrow(const WString &text) {
    return {text.begin(), text.end()};
}

TEST(SelfTest, PassesHereAndLeavesNothingBehind) {
    const Scratch scratch;
    scratch.file("bystander");
    const TempFolder temp(scratch.path());
    WString report = W("from before");
    EXPECT_TRUE(runSelfTest(report)) << narrow(report);
    EXPECT_EQ(report, W(""));
    EXPECT_EQ(scratch.read("bystander"), "content");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(scratch.path()), {}), 1);
}

TEST(SelfTest, ALinkedTempFolderIsRefusedBeforeAnythingIsMade) {
    const Scratch scratch;
    scratch.folder("real");
    scratch.link("link", scratch.path("real"));
    const TempFolder temp(scratch.path("link"));
    WString report;
    EXPECT_FALSE(runSelfTest(report));
    EXPECT_EQ(report, W("Fixture parent must be a plain local directory."));
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path("real")));
}

} // namespace
} // namespace dm
