#include "i18n/language.h"

#include "environment.h"
#include "i18n/catalogue.h"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <string>
#include <utility>

using namespace dm;

namespace {

// The language is the process's; the next test starts with the default again.
struct Language : testing::Test {
    ~Language() override { setLanguage("en"); }
};

} // namespace

TEST_F(Language, TextsAreThoseOfTheCurrentLanguage) {
    EXPECT_EQ(tr(W("Нет")), W("No"));
    for (const auto &[code, text] : {std::pair{"ru", W("файлов")}, {"zh", W("个文件")}, {"de", W("Dateien")}}) {
        setLanguage(code);
        EXPECT_EQ(tr(W("файлов")), text);
        for (std::size_t row = 0; row < catalogueSize; ++row)
            EXPECT_EQ(tr(catalogueColumns[0][row]),
                      catalogueColumns[static_cast<std::size_t>(languageIndex(code))][row]);
    }
}

TEST_F(Language, OtherTextsPassThrough) {
    const WString others[] = {W(""),    W("No"), W("Не"),  W("Нет "),   WString(W("Нет\0"), 4),
                              W("нет"), W(" "),  W("яяя"), W("\xFFFF"), W("C:\\Нет")};
    for (const LanguageChoice &language : languageList()) {
        setLanguage(language.code);
        for (const WString &text : others)
            EXPECT_EQ(tr(text), text);
    }
    setLanguage("en");
    EXPECT_EQ(tr(W("Анализ:")) + W('|') + tr(W("Анализ: ")), W("Scan:|Scan: "));
}

TEST(Catalogue, RowsAreFoundByTheirRussianOrEnglishTextOrTheirKey) {
    const std::array<std::string_view, 2> keys = {"m:5016838282f85baa", "m:6c856f5b384f281c"};
    EXPECT_EQ(findCatalogueRow(W("файлов"))->key, keys[0]);
    EXPECT_EQ(findCatalogueRow(W("files"))->source, W("файлов"));
    EXPECT_EQ(findCatalogueRow(W("\nКорзина очищена."))->key, keys[1]);
    EXPECT_EQ(findCatalogueKey(keys[1])->english, W("\nRecycle Bin emptied."));
    EXPECT_EQ(findCatalogueRow(W("Deleted:"))->source, W("Удалено:")); // the first of two

    for (const WStringView text : {W("Dateien"), W("file"), W("files "), W("")})
        EXPECT_EQ(findCatalogueRow(text), nullptr);
    for (const std::string_view key : {"", "m:", "m:5016838282F85BAA", "5016838282f85baa"})
        EXPECT_EQ(findCatalogueKey(key), nullptr);
}

TEST_F(Language, EachThatTheChooserListsCanBeSet) {
    EXPECT_TRUE(isValidLanguage("system"));
    for (std::size_t row = 1; row < languageList().size(); ++row) {
        const std::string_view code = languageList()[row].code;
        setLanguage(code);
        EXPECT_EQ(currentLanguageCode(), code);
        EXPECT_EQ(isRightToLeft(), code == "ar");
        const WStringView locale = currentLocaleName();
        EXPECT_EQ(normalizeLanguageTag(std::string(locale.begin(), locale.end())), code);
    }
}

TEST_F(Language, CodesAreMatchedExactlyAndTagsByTheirLanguage) {
    for (const std::string_view code : {"", "EN", "en-US", "he", "e", "System"})
        EXPECT_FALSE(isValidLanguage(code)) << code;

    const std::pair<std::string_view, std::string_view> tags[] = {
        {"pt-BR", "pt"}, {"pt-PT", "pt"}, {"zh-Hant-TW", "zh"}, {"EN_us", "en"}, {"in-ID", "id"},      {"de", "de"},
        {"he-IL", ""},   {"", ""},        {"-de", ""},          {"deu", ""},     {"d\xC3\xA9-DE", ""}, {"system", ""},
    };
    for (const auto &[tag, code] : tags)
        EXPECT_EQ(normalizeLanguageTag(tag), code) << tag;
}

TEST_F(Language, SystemLanguageIsTheFirstServedPreference) {
    std::string tooLong;
    while (tooLong.size() < 32768)
        tooLong += "he:";
    tooLong += "fr";
    const std::array<const char *, 3> cases[] = {
        {"he_IL:de_DE:fr", "he_IL.UTF-8", "de"},
        {nullptr, "pt_BR.UTF-8", "pt"},
        {"he_IL", "nl_NL", "nl"}, // by the default language
        {"he_IL", "he_IL", "en"},
        {"de", "C", "en"},
        {tooLong.c_str(), "uk_UA", "uk"},
    };
    for (const auto &[list, locale, code] : cases) {
        test::setEnvironment({{"LANGUAGE", list}, {"LANG", locale}, {"LC_ALL", nullptr}, {"LC_MESSAGES", nullptr}});
        for (const std::string_view choice : {"system", "he"}) {
            setLanguage(choice);
            EXPECT_EQ(currentLanguageCode(), code);
        }
        setLanguage("it");
        EXPECT_EQ(currentLanguageCode(), "it");
    }
}
