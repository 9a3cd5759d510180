#include "engine/paths.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace dm;

namespace {

struct Containment {
    WString child;
    WString parent;
    bool inside;
};

std::optional<WString> normalized(WStringView path) {
    WString result;
    if (!normalizePath(path, result))
        return std::nullopt;
    return result;
}

/// For the messages of failed expectations.
std::string printable(WStringView path) {
    std::string text;
    for (const WChar unit : path)
        text.push_back(unit >= 32 && unit < 127 ? static_cast<char>(unit) : '#');
    return text;
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
        EXPECT_EQ(normalized(path), expected) << printable(path);

    WString inPlace = W("\\\\?\\C:/safe/a long name/file.tmp/");
    EXPECT_TRUE(normalizePath(inPlace, inPlace));
    EXPECT_EQ(inPlace, W("C:\\safe\\a long name\\file.tmp"));
}

TEST(Paths, EverythingElseIsRefused) {
    std::vector<WString> refused = {
        W(""),
        W("C"),
        W("C:"),
        W("C:safe"),
        W("safe\\file"),
        W("\\safe"),
        W("\\\\server\\share"),
        W("//server/share"),
        W("\\\\?\\"),
        W("\\\\?\\C:"),
        W("\\\\?\\UNC\\server\\share"),
        W("\\\\?\\\\\\?\\C:\\safe"),
        W("//?/C:\\safe"),
        W("\\\\.\\C:\\safe"),
        W("1:\\safe"),
        W("@:\\safe"),
        W("[:\\safe"),
        W("`:\\safe"),
        W("{:\\safe"),
        W("\u0444:\\safe"),
        W("\xFF23:\\safe"),
        W(" C:\\safe"),
        W("C:\\\\safe"),
        W("C:\\safe\\../file"),
        W("C:\\safe\\\\nested"),
    };
    const WString segments[] = {
        W("."),  W(".."),  W("..."), W("name."), W("name "), W(" "),     W("file.tmp:stream"), W("*"),
        W("a?"), W("\"a"), W("a<"),  W(">a"),    W("a|b"),   W("a\x1F"), WString(W("a\0b"), 3)};
    for (const WString &segment : segments) {
        refused.push_back(W("C:\\") + segment);
        refused.push_back(W("C:\\safe\\") + segment + W("\\file"));
    }
    for (const WString &path : refused) {
        EXPECT_EQ(normalized(path), std::nullopt) << printable(path);
        EXPECT_FALSE(samePath(path, path)) << printable(path);
    }
}

TEST(Paths, InsideMeansStrictlyBelow) {
    const Containment cases[] = {
        {W("\\\\?\\C:\\safe\\nested\\file.tmp"), W("c:\\safe"), true},
        {W("C:\\safeOther\\file.tmp"), W("C:\\safe"), false},
        {W("C:\\safe\\..\\outside\\file.tmp"), W("C:\\safe"), false},
        {W("C:\\safe\\file.tmp:stream"), W("C:\\safe"), false},
        {W("C:\\safe\\f"), W("C:\\safe"), true},
        {W("C:/SAFE/f"), W("C:\\safe\\"), true},
        {W("C:\\\u0424\\f"), W("C:\\\u0444"), true},
        {W("C:\\safe"), W("C:\\safe"), false},
        {W("C:\\safe\\"), W("C:\\safe"), false},
        {W("C:\\safe"), W("C:\\safe\\f"), false},
        {W("C:\\f"), W("C:\\"), true},
        {W("c:\\f\\g"), W("C:\\\\"), true},
        {W("D:\\f"), W("C:\\"), false},
        {W("C:\\"), W("C:\\"), false},
        {W("C:\\safe\\f"), W("C:\\saf"), false},
        {W("C:\\safe\\f"), W("C:\\sage"), false},
        {W("C:\\safe\\f"), W("safe"), false},
        {W("C:\\safe\\f"), W(""), false},
        {W("f"), W("C:\\"), false},
        {W("C:\\safe\\f"), W("C:\\safe\\."), false},
    };
    for (const auto &[child, parent, inside] : cases) {
        EXPECT_EQ(isPathInside(child, parent), inside) << printable(child) << " in " << printable(parent);
        EXPECT_EQ(isPathInsideFolded(child, parent), inside) << printable(child) << " in " << printable(parent);
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

TEST(Paths, ExtendedPrefixIsAddedAndRemovedOnce) {
    const WString prefix = W("\\\\?\\");
    const std::pair<WString, WString> stripped[] = {
        {W(""), W("")},
        {W("\\\\?"), W("\\\\?")},
        {prefix, W("")},
        {prefix + W("C:\\a"), W("C:\\a")},
        {prefix + prefix, prefix},
        {W("//?/C:\\a"), W("//?/C:\\a")},
        {W("C:\\a"), W("C:\\a")},
    };
    for (const auto &[path, expected] : stripped)
        EXPECT_EQ(stripExtendedPrefix(path), expected) << printable(path);
    EXPECT_EQ(toExtendedPath(W("C:\\a")), prefix + W("C:\\a"));
    EXPECT_EQ(toExtendedPath(prefix + W("C:\\a")), prefix + W("C:\\a"));
    EXPECT_EQ(toExtendedPath(W("")), prefix);
}

TEST(Paths, NamesAreComparedUnitByUnit) {
    EXPECT_TRUE(equalsIgnoreCase(W(""), W("")));
    EXPECT_TRUE(equalsIgnoreCase(W("Guest Profile"), W("gUEST pROFILE")));
    EXPECT_TRUE(equalsIgnoreCase(W("\u0416"), W("\u0436")));
    EXPECT_FALSE(equalsIgnoreCase(W("Default"), W("Default ")));
    EXPECT_FALSE(equalsIgnoreCase(W("Default"), W("Defaul")));
    EXPECT_FALSE(equalsIgnoreCase(W("a@"), W("a`")));
    EXPECT_FALSE(equalsIgnoreCase(W("\u00DF"), W("ss")));
}
