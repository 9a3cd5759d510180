#include "windows/pages.h"

#include "i18n/language.h"
#include "windows/page_parts.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

/// English as long as it lives; the language is the process's own.
struct InLanguage {
    explicit InLanguage(const char *code) { setLanguage(code); }
    ~InLanguage() { setLanguage("en"); }
};

TEST(Pages, DrivesTellTheirSpace) {
    const InLanguage english("en");
    EXPECT_EQ(spaceText({W("C:\\"), 1536, 4096}), W("1.5 KB free · Total: 4.0 KB"));
    EXPECT_FLOAT_EQ(usedShare({W("C:\\"), 1024, 4096}), 0.75F);
    EXPECT_EQ(usedShare({W("C:\\"), 0, 4096}), 1.0F);
    EXPECT_EQ(usedShare({W("C:\\"), 0, 0}), 0.0F);
    EXPECT_EQ(usedShare({W("C:\\"), 5, 4}), 0.0F) << "a system that gives more than there is";
}

TEST(Pages, BoxesAreMirroredWithinTheirFrameInArabicAlone) {
    const Box frame = {100, 0, 200, 50};
    const Box box = {110, 5, 40, 20};
    EXPECT_EQ(mirrored(box, frame).x, 110);
    const InLanguage arabic("ar");
    EXPECT_EQ(mirrored(box, frame).x, 250);
    EXPECT_EQ(mirrored(box, frame).w, 40);
    EXPECT_EQ(mirrored(mirrored(box, frame), frame).x, 110);
}

} // namespace
} // namespace dm
