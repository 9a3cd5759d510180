#include "windows/path_text.h"

#include "platform/places.h"
#include "platform/text.h"

#include <gtest/gtest.h>

namespace dm {
namespace {

TEST(PathText, ShowsWhatWouldBreakTheCell) {
    const std::pair<WString, WString> cases[] = {
        {W("/home/user/film.mkv"), W("/home/user/film.mkv")},
        {W("a\nb\tc\x7F"), W("a\u240Ab\u2409c\u2421")},
        {WString(1, 0x85) + W("\u2028\u2029x"), W("\uFFFD\uFFFD\uFFFDx")},
        {W("safe\u202Eexe.txt\u2066\u200F"), W("safe\uFFFDexe.txt\uFFFD\uFFFD")},
        {W("\U0001F3AC \u0639\u0645\u0631 \u0928\u200D"), W("\U0001F3AC \u0639\u0645\u0631 \u0928\u200D")},
        {WString{0xD83D, u'x', 0xDC80}, W("\uFFFDx\uFFFD")},
    };
    for (const auto &[text, shown] : cases)
        EXPECT_EQ(harmlessText(text), shown);
}

TEST(PathText, ShowsPathsOfThisDesktop) {
    EXPECT_EQ(pathCell(W("C:\\a\uF00Ab")), W("\u200E/a\u240Ab"));
    EXPECT_EQ(pathCell(W("C:\\a\\\u0635\\\u0631.jpg")), W("\u200E/\u200Ea/\u200E\u0635/\u200E\u0631.jpg"));
}

TEST(PathText, FieldsLeadBackToThePath) {
    EXPECT_EQ(pathForField(W("C:\\a b")), W("/a b"));
    // A line feed, a byte that is no character, an override: as in the program's own form.
    for (const WString &path :
         {WString(W("C:\\a\uF00Ab")), W("C:\\a") + WString(1, 0xDCFF), WString(W("C:\\a\u202Eb"))}) {
        EXPECT_EQ(pathForField(path), path);
        EXPECT_EQ(typedPath(pathForField(path)), path);
    }
}

} // namespace
} // namespace dm
