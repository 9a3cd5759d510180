#include "engine/paths.h"

#include "files.h"

#include <optional>

using namespace dm;

namespace {

std::optional<WString> normalized(WStringView path) {
    WString result;
    if (!normalizePath(path, result))
        return std::nullopt;
    return result;
}

} // namespace

TEST(Paths, AcceptedFormsAreNormalized) {
    const std::pair<WString, WString> cases[] = {
        {W("C:\\"), W("C:\\")},
        {W("c:/"), W("c:\\")},
        {W("C:\\\\\\"), W("C:\\")},
        {W("C:/safe/file.tmp"), W("C:\\safe\\file.tmp")},
        {W("C:\\safe\\"), W("C:\\safe")},
        {W("C:\\safe\\//"), W("C:\\safe")},
        {W("z:\\Safe\\NAME"), W("z:\\Safe\\NAME")},
        {W("\\\\?\\C:\\safe"), W("C:\\safe")},
        {W("\\\\?\\C:/safe/"), W("C:\\safe")},
        {W("\\\\?\\C:\\"), W("C:\\")},
        {W("C:\\CON\\nul.txt"), W("C:\\CON\\nul.txt")},
        {W("C:\\.hidden\\...a\\ b"), W("C:\\.hidden\\...a\\ b")},
        {W("C:\\a'[]{}%$ b\x7F"), W("C:\\a'[]{}%$ b\x7F")},
        {W("C:\\\u0444\xD800\xF03A\xDC80"), W("C:\\\u0444\xD800\xF03A\xDC80")},
    };
    for (const auto &[path, expected] : cases)
        EXPECT_EQ(normalized(path), expected) << testing::PrintToString(path);

    WString inPlace = W("\\\\?\\C:/safe/a long name/file.tmp/");
    EXPECT_TRUE(normalizePath(inPlace, inPlace));
    EXPECT_EQ(inPlace, W("C:\\safe\\a long name\\file.tmp"));
}

TEST(Paths, EverythingElseIsRefused) {
    std::vector<WString> refused = {W(""), W("\u0444:\\safe"), W("\xFF23:\\safe"), W(" C:\\safe")};
    for (const std::string &text : test::linesOf(R"(
C
C:
C:safe
safe\file
\safe
\\server\share
//server/share
\\?\
\\?\C:
\\?\UNC\server\share
\\?\\\?\C:\safe
//?/C:\safe
\\.\C:\safe
1:\safe
@:\safe
[:\safe
`:\safe
{:\safe
C:\\safe
C:\safe\../file
C:\safe\\nested
)"))
        refused.emplace_back(text.begin(), text.end());
    const WString segments[] = {
        W("."),  W(".."),  W("..."), W("name."), W("name "), W(" "),     W("file.tmp:stream"), W("*"),
        W("a?"), W("\"a"), W("a<"),  W(">a"),    W("a|b"),   W("a\x1F"), WString(W("a\0b"), 3)};
    for (const WString &segment : segments) {
        refused.push_back(W("C:\\") + segment);
        refused.push_back(W("C:\\safe\\") + segment + W("\\file"));
    }
    for (const WString &path : refused) {
        EXPECT_EQ(normalized(path), std::nullopt) << testing::PrintToString(path);
        EXPECT_FALSE(samePath(path, path)) << testing::PrintToString(path);
    }
}

TEST(Paths, InsideMeansStrictlyBelow) {
    const struct {
        WString child;
        WString parent;
        bool inside;
    } cases[] = {
        {W("\\\\?\\C:\\safe\\nested\\file.tmp"), W("c:\\safe"), true},
        {W("C:\\safeOther\\file.tmp"), W("C:\\safe"), false},
        {W("C:\\safe\\..\\outside\\file.tmp"), W("C:\\safe"), false},
        {W("C:\\safe\\f"), W("C:\\safe"), true},
        {W("C:/SAFE/f"), W("C:\\safe\\"), true},
        {W("C:\\\u0424\\f"), W("C:\\\u0444"), true},
        {W("C:\\safe"), W("C:\\safe"), false},
        {W("C:\\safe"), W("C:\\safe\\f"), false},
        {W("C:\\f"), W("C:\\"), true},
        {W("D:\\f"), W("C:\\"), false},
        {W("C:\\"), W("C:\\"), false},
        {W("C:\\safe\\f"), W("C:\\saf"), false},
        {W("C:\\safe\\f"), W(""), false},
        {W("C:\\safe\\f"), W("C:\\safe\\."), false},
    };
    for (const auto &[child, parent, inside] : cases) {
        EXPECT_EQ(isPathInside(child, parent), inside)
            << testing::PrintToString(child) << " in " << testing::PrintToString(parent);
        EXPECT_EQ(isPathInsideFolded(child, parent), inside)
            << testing::PrintToString(child) << " in " << testing::PrintToString(parent);
    }
}

TEST(Paths, EachContainmentTestKeepsItsOwnFolding) {
    // The Kelvin sign has a plain k as its lower case, but no upper case that is a plain K.
    EXPECT_FALSE(isPathInside(W("C:\\\u212A\\f"), W("C:\\k")));
    EXPECT_TRUE(isPathInsideFolded(W("C:\\\u212A\\f"), W("C:\\k")));
    // Both sigmas share their upper case, but each is its own lower case.
    EXPECT_TRUE(isPathInside(W("C:\\\u03C2\\f"), W("C:\\\u03C3")));
    EXPECT_FALSE(isPathInsideFolded(W("C:\\\u03C2\\f"), W("C:\\\u03C3")));
}

TEST(Paths, SamePathIgnoresSpellingAndCase) {
    EXPECT_TRUE(samePath(W("\\\\?\\C:\\Safe\\\u00C4"), W("c:/sAFE/\u00E4/")));
    EXPECT_FALSE(samePath(W("C:\\safe"), W("C:\\safe2")));
    EXPECT_FALSE(samePath(W("C:\\safe"), W("D:\\safe")));
    EXPECT_FALSE(samePath(W("C:\\s"), W("C:\\\u017F")));
}

TEST(Paths, NamesAreComparedUnitByUnit) {
    for (const auto &[left, right] :
         {std::pair(W("Guest Profile \u0416"), W("gUEST pROFILE \u0436")), {W("\u00FF"), W("\u0178")}})
        EXPECT_TRUE(equalsIgnoreCase(left, right));
    for (const auto &[left, right] : {std::pair(W("Default"), W("Defaul")),
                                      {W("a@"), W("a`")},
                                      {W("\u00DF"), W("ss")},
                                      {W("\u0131"), W("I")},
                                      {W("\U00010428"), W("\U00010400")}})
        EXPECT_FALSE(equalsIgnoreCase(left, right) || equalsIgnoreCase(right, left));
}
