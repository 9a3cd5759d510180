#include "environment.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;
using dm::test::setEnvironment;

namespace {

/// As the list comes out of the published call, asked for its size first.
std::u16string preferredLanguages() {
    ULONG count = 0;
    ULONG units = 0;
    EXPECT_TRUE(GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &units));
    std::u16string list(units, u'?');
    EXPECT_TRUE(GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, list.data(), &units));
    return list;
}

} // namespace

TEST(Locale, PreferredLanguagesComeAsGettextOrdersThem) {
    struct Case {
        const char *list;
        const char *all;
        const char *messages;
        const char *lang;
        std::u16string names;
        LANGID language;
    };
    const Case cases[] = {
        {"", "", "", "de_DE.UTF-8@euro", u"de-DE\0\0"s, 0x0407},
        {nullptr, nullptr, "fr_FR", "de_DE", u"fr-FR\0\0"s, 0x040C},
        {nullptr, "ja_JP.eucJP", "fr_FR", "de_DE", u"ja-JP\0\0"s, 0x0411},
        {"he_IL:de::pt_BR.UTF-8", nullptr, nullptr, "it_IT", u"he-IL\0de\0pt-BR\0\0"s, 0x0410},
        {"de:C:fr", nullptr, nullptr, "it_IT", u"de\0\0"s, 0x0410},
        {"C", nullptr, nullptr, "it_IT", u"\0\0"s, 0},
        {"../de:d\xC3\xA9:fr", nullptr, nullptr, "it_IT", u"fr\0\0"s, 0x0410},
        {"de", nullptr, nullptr, "C.UTF-8", u"\0\0"s, 0},
        {"de", "POSIX", nullptr, "it_IT", u"\0\0"s, 0},
        {"de", nullptr, nullptr, nullptr, u"\0\0"s, 0},
        {nullptr, nullptr, nullptr, "../../de", u"\0\0"s, 0},
        {nullptr, nullptr, nullptr, "xx_YY", u"xx-YY\0\0"s, 0},
    };
    for (const Case &one : cases) {
        setEnvironment(
            {{"LANGUAGE", one.list}, {"LC_ALL", one.all}, {"LC_MESSAGES", one.messages}, {"LANG", one.lang}});
        EXPECT_EQ(preferredLanguages(), one.names);
        EXPECT_EQ(GetUserDefaultUILanguage(), one.language);
    }
}
