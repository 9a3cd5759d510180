#include "environment.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;
using dm::test::setEnvironment;

namespace {

constexpr DWORD shortDate = DATE_SHORTDATE | LOCALE_NOUSEROVERRIDE;
constexpr DWORD shortTime = TIME_NOSECONDS | LOCALE_NOUSEROVERRIDE;

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

TEST(Locale, ListsAndNamesRefuseASmallBuffer) {
    setEnvironment({{"LANGUAGE", "de:fr"}, {"LANG", "de_DE"}, {"LC_ALL", nullptr}, {"LC_MESSAGES", nullptr}});
    WCHAR text[6] = {};
    ULONG count = 0;
    ULONG units = 6;
    EXPECT_FALSE(GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, text, &units));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_TRUE(units == 7 && text[0] == 0);
    EXPECT_EQ(LCIDToLocaleName(0x0407, text, 5, 0), 0);
    EXPECT_EQ(LCIDToLocaleName(0x0407, text, 6, 0), 6);
    EXPECT_EQ(text, u"de-DE"s);
    for (const LCID unknown : {0x0000U, 0x1000U, 0x9999U})
        EXPECT_EQ(LCIDToLocaleName(unknown, text, 6, 0), 0) << unknown;
}

TEST(Locale, DatesAndTimesRefuseWhatIsNoneOrDoesNotFit) {
    setEnvironment({{"LC_ALL", "fr_FR.UTF-8"}});
    WCHAR text[9];
    const auto date = [&](SYSTEMTIME time, LPCWSTR locale = u"de-DE", DWORD flags = shortDate, int units = 9) {
        return GetDateFormatEx(locale, flags, &time, nullptr, text, units, nullptr);
    };
    const auto time = [&](SYSTEMTIME time, LPCWSTR locale = u"de-DE", DWORD flags = shortTime, int units = 6) {
        return GetTimeFormatEx(locale, flags, &time, nullptr, text, units);
    };
    const SYSTEMTIME leapDay = {2024, 2, 0, 29, 23, 59, 59, 0};
    EXPECT_EQ(date(leapDay), 9);
    EXPECT_EQ(text, u"29.02.24"s);
    EXPECT_EQ(time(leapDay), 6);
    EXPECT_EQ(text, u"23:59"s);

    EXPECT_EQ(date(leapDay, u"de-DE", shortDate, 8), 0);
    EXPECT_EQ(time(leapDay, u"de-DE", shortTime, 5), 0);
    EXPECT_EQ(date({2023, 2, 0, 29, 0, 0, 0, 0}), 0);
    EXPECT_EQ(date({1600, 1, 0, 1, 0, 0, 0, 0}), 0);
    EXPECT_EQ(time({2024, 1, 0, 1, 24, 0, 0, 0}), 0);
    for (const LPCWSTR unknown : {u"xx-YY", u"", u"d\u00E9-DE", u"de-DE-!"}) {
        EXPECT_EQ(date(leapDay, unknown), 0);
        EXPECT_EQ(time(leapDay, unknown), 0);
    }
}
