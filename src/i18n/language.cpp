#include "i18n/language.h"

#include "i18n/catalogue.h"
#include "platform/win32.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace dm {

namespace {

struct Language {
    std::string_view code;
    const WChar *localeName;
    WStringView name;
};

// In the order of the catalogue's columns.
constexpr std::array<Language, languageCount> languages = {{
    {"ru", W("ru-RU"), W("Русский")},    {"en", W("en-US"), W("English")},
    {"hi", W("hi-IN"), W("हिन्दी")},      {"zh", W("zh-CN"), W("简体中文")},
    {"ko", W("ko-KR"), W("한국어")},     {"ja", W("ja-JP"), W("日本語")},
    {"de", W("de-DE"), W("Deutsch")},    {"fr", W("fr-FR"), W("Français")},
    {"es", W("es-ES"), W("Español")},    {"it", W("it-IT"), W("Italiano")},
    {"pt", W("pt-BR"), W("Português")},  {"tr", W("tr-TR"), W("Türkçe")},
    {"ar", W("ar-SA"), W("العربية")},    {"id", W("id-ID"), W("Bahasa Indonesia")},
    {"vi", W("vi-VN"), W("Tiếng Việt")}, {"th", W("th-TH"), W("ไทย")},
    {"pl", W("pl-PL"), W("Polski")},     {"uk", W("uk-UA"), W("Українська")},
    {"nl", W("nl-NL"), W("Nederlands")}, {"bn", W("bn-IN"), W("বাংলা")},
}};

constexpr int sourceLanguage = 0;
constexpr int englishLanguage = 1;
constexpr int arabicLanguage = 12;

constexpr std::string_view systemCode = "system";

std::atomic<std::int32_t> currentIndex = englishLanguage;

const Language &currentLanguage() {
    return languages[static_cast<std::size_t>(currentIndex.load(std::memory_order_relaxed))];
}

bool isAscii(char unit) {
    return static_cast<unsigned char>(unit) < 0x80;
}

/// Empty if a unit is not ASCII.
std::string asciiName(WStringView name) {
    std::string bytes;
    for (const WChar unit : name) {
        if (unit > 127)
            return {};
        bytes.push_back(static_cast<char>(unit));
    }
    return bytes;
}

/// Names in the user's order, as a multi-string; nothing if the system does not tell.
std::optional<WString> preferredNames() {
    constexpr ULONG maximumUnits = 32768;
    ULONG count = 0;
    ULONG units = 0;
    if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &units) == FALSE || units < 2 ||
        units > maximumUnits)
        return std::nullopt;
    WString names(units, 0);
    if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, names.data(), &units) == FALSE)
        return std::nullopt;
    return names;
}

/// The code of the first name that the table has; empty if there is none.
std::string firstServed(WStringView names) {
    while (!names.empty() && names.front() != 0) {
        const WStringView name = names.substr(0, names.find(WChar(0)));
        if (std::string code = normalizeLanguageTag(asciiName(name)); !code.empty())
            return code;
        names.remove_prefix(std::min(name.size() + 1, names.size()));
    }
    return {};
}

std::string defaultLanguage() {
    const LANGID language = GetUserDefaultUILanguage();
    WChar name[LOCALE_NAME_MAX_LENGTH];
    if (language == 0 || LCIDToLocaleName(MAKELCID(language, SORT_DEFAULT), name, LOCALE_NAME_MAX_LENGTH, 0) == 0)
        return {};
    return normalizeLanguageTag(asciiName(name));
}

std::vector<LanguageChoice> makeLanguageList() {
    std::vector<LanguageChoice> list = {{systemCode, W("System")}};
    for (const std::string_view code : {"en", "hi", "zh", "ko", "ja", "de", "fr", "es", "it", "ru",
                                        "pt", "tr", "ar", "id", "vi", "th", "pl", "uk", "nl", "bn"})
        list.push_back({code, languages[static_cast<std::size_t>(languageIndex(code))].name});
    return list;
}

} // namespace

WString tr(WStringView text) {
    const CatalogueColumn &sources = catalogueColumns[sourceLanguage];
    const auto *const row = std::lower_bound(sources.begin(), sources.end(), text);
    // Half of a look-up would go into ==, which compares unit by unit; this compares memory.
    if (row == sources.end() || !std::equal(row->begin(), row->end(), text.begin(), text.end()))
        return WString(text);
    const auto language = static_cast<std::size_t>(currentIndex.load(std::memory_order_relaxed));
    return WString(catalogueColumns[language][static_cast<std::size_t>(row - sources.begin())]);
}

const CatalogueKey *findCatalogueRow(WStringView text) {
    for (const CatalogueKey &row : catalogueKeys)
        if (row.source == text)
            return &row;
    for (const CatalogueKey &row : catalogueKeys)
        if (row.english == text)
            return &row;
    return nullptr;
}

const CatalogueKey *findCatalogueKey(std::string_view key) {
    for (const CatalogueKey &row : catalogueKeys)
        if (row.key == key)
            return &row;
    return nullptr;
}

int languageIndex(std::string_view code) {
    for (std::size_t index = 0; index < languages.size(); ++index)
        if (languages[index].code == code)
            return static_cast<int>(index);
    return -1;
}

bool isValidLanguage(std::string_view code) {
    return code == systemCode || languageIndex(code) >= 0;
}

std::string_view currentLanguageCode() {
    return currentLanguage().code;
}

const WChar *currentLocaleName() {
    return currentLanguage().localeName;
}

bool isRightToLeft() {
    return currentIndex.load(std::memory_order_relaxed) == arabicLanguage;
}

void setLanguage(std::string_view code) {
    int index = languageIndex(code);
    if (index < 0)
        index = languageIndex(detectSystemLanguage());
    currentIndex.store(index < 0 ? englishLanguage : index, std::memory_order_relaxed);
}

std::string detectSystemLanguage() {
    if (const std::optional<WString> names = preferredNames())
        if (std::string code = firstServed(*names); !code.empty())
            return code;
    if (std::string code = defaultLanguage(); !code.empty())
        return code;
    return "en";
}

std::string normalizeLanguageTag(std::string_view tag) {
    std::string code(tag.substr(0, tag.find_first_of("-_")));
    if (!std::all_of(code.begin(), code.end(), isAscii))
        return {};
    for (char &unit : code)
        if (unit >= 'A' && unit <= 'Z')
            unit = static_cast<char>(unit + ('a' - 'A'));
    if (code == "in") // as older systems name Indonesian
        code = "id";
    return languageIndex(code) >= 0 ? code : std::string();
}

const std::vector<LanguageChoice> &languageList() {
    static const std::vector<LanguageChoice> list = makeLanguageList();
    return list;
}

} // namespace dm
