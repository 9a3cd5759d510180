// Languages from the environment; dates and times in the form of a locale, which nothing in the environment changes.
#include "platform/linux/win32_locale.h"

#include "platform/linux/errors.h"

#include <unicode/udat.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

using namespace dm::platform;

namespace {

std::string_view environmentValue(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

/// The locale of the texts that a program shows.
std::string_view messageLocale() {
    for (const char *name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (const std::string_view value = environmentValue(name); !value.empty())
            return value;
    return {};
}

bool isNameUnit(char unit) {
    return (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z') || (unit >= '0' && unit <= '9') || unit == '-';
}

/// "de_DE.UTF-8@euro" is "de-DE". Empty for what is no name.
std::string languageName(std::string_view locale) {
    std::string name(locale.substr(0, locale.find_first_of(".@")));
    std::replace(name.begin(), name.end(), '_', '-');
    return std::all_of(name.begin(), name.end(), isNameUnit) ? name : std::string();
}

/// True for the locales whose texts are those in the program's code.
bool isUntranslated(std::string_view name) {
    return name == "C" || name == "POSIX";
}

std::vector<std::string> preferredLanguages() {
    const std::string localeLanguage = languageName(messageLocale());
    if (localeLanguage.empty() || isUntranslated(localeLanguage))
        return {};
    std::string_view list = environmentValue("LANGUAGE");
    if (list.empty())
        return {localeLanguage};
    std::vector<std::string> names;
    while (!list.empty()) {
        const std::string_view locale = list.substr(0, list.find(':'));
        list.remove_prefix(std::min(locale.size() + 1, list.size()));
        const std::string name = languageName(locale);
        if (isUntranslated(name))
            break;
        if (!name.empty())
            names.push_back(name);
    }
    return names;
}

/// The library's own name of a locale such as "de-DE"; empty if this is no such name.
std::string icuLocale(std::string_view name) {
    char locale[ULOC_FULLNAME_CAPACITY];
    std::int32_t parsed = 0;
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length =
        uloc_forLanguageTag(std::string(name).c_str(), locale, ULOC_FULLNAME_CAPACITY, &parsed, &status);
    const bool isWhole = parsed == static_cast<std::int32_t>(name.size());
    return U_SUCCESS(status) && isWhole ? std::string(locale, static_cast<std::size_t>(length)) : std::string();
}

/// Writes the text and a null; gives the units written, or 0.
int writeText(std::u16string_view text, LPWSTR buffer, int units) {
    if (buffer == nullptr || units < 0 || static_cast<std::size_t>(units) <= text.size())
        return fail(ERROR_INSUFFICIENT_BUFFER);
    *std::copy(text.begin(), text.end(), buffer) = 0;
    return static_cast<int>(text.size()) + 1;
}

struct CloseFormat {
    void operator()(UDateFormat *format) const { udat_close(format); }
};

/// A format and the locale that it was made for, kept because making one takes longer than all the rest; and what it
/// has written, since a long list asks for the same few thousand texts again and again, and not every calendar is
/// quick.
struct LocaleFormat {
    std::u16string localeName;
    std::unique_ptr<UDateFormat, CloseFormat> format;
    std::unordered_map<std::int64_t, std::u16string> texts = {}; ///< by milliseconds
};

constexpr std::size_t maximumTexts = 4096; // more than the days of ten years

/// True if the format is one of this locale's language. For a language without data the library takes that of the
/// environment, and says nothing.
bool isOfLanguage(const UDateFormat *format, const std::string &locale) {
    char wanted[ULOC_LANG_CAPACITY];
    char given[ULOC_LANG_CAPACITY];
    UErrorCode status = U_ZERO_ERROR;
    uloc_getLanguage(locale.c_str(), wanted, ULOC_LANG_CAPACITY, &status);
    uloc_getLanguage(udat_getLocaleByType(format, ULOC_VALID_LOCALE, &status), given, ULOC_LANG_CAPACITY, &status);
    return U_SUCCESS(status) && std::string_view(wanted) == given;
}

/// The time of day is the same in every calendar, and this one is quick.
constexpr std::string_view gregorian = "@calendar=gregorian";

/// Null for a locale that the library does not know.
LocaleFormat *formatFor(LocaleFormat &kept, std::u16string_view localeName, UDateFormatStyle timeStyle,
                        UDateFormatStyle dateStyle, std::string_view keywords) {
    if (kept.format != nullptr && kept.localeName == localeName)
        return &kept;
    const bool isAscii = std::all_of(localeName.begin(), localeName.end(), [](char16_t unit) { return unit < 0x80; });
    const std::string locale = isAscii ? icuLocale(std::string(localeName.begin(), localeName.end())) : std::string();
    if (locale.empty())
        return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UDateFormat, CloseFormat> format(
        udat_open(timeStyle, dateStyle, (locale + std::string(keywords)).c_str(), u"Etc/UTC", -1, nullptr, 0, &status));
    if (U_FAILURE(status) || !isOfLanguage(format.get(), locale))
        return nullptr;
    kept = {std::u16string(localeName), std::move(format)};
    return &kept;
}

/// The point in time whose reading in UTC is formatted, so that no time zone changes what the caller broke down.
int writeFormatted(LocaleFormat *format, std::chrono::milliseconds time, LPWSTR buffer, int units) {
    if (format == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    if (const auto found = format->texts.find(time.count()); found != format->texts.end())
        return writeText(found->second, buffer, units);
    char16_t text[256];
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length =
        udat_format(format->format.get(), static_cast<UDate>(time.count()), text, std::size(text), nullptr, &status);
    if (U_FAILURE(status))
        return fail(ERROR_GEN_FAILURE);
    if (format->texts.size() >= maximumTexts)
        format->texts.clear();
    const auto added = format->texts.emplace(time.count(), std::u16string(text, static_cast<std::size_t>(length)));
    return writeText(added.first->second, buffer, units);
}

std::optional<std::chrono::milliseconds> midnightOf(const SYSTEMTIME &date) {
    const std::chrono::year_month_day day = {std::chrono::year(date.wYear), std::chrono::month(date.wMonth),
                                             std::chrono::day(date.wDay)};
    if (date.wYear < 1601 || date.wYear > 30827 || !day.ok())
        return std::nullopt;
    return std::chrono::sys_days(day).time_since_epoch();
}

/// Without the seconds, which no format here shows.
std::optional<std::chrono::milliseconds> timeOfDay(const SYSTEMTIME &time) {
    if (time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999)
        return std::nullopt;
    return std::chrono::hours(time.wHour) + std::chrono::minutes(time.wMinute);
}

} // namespace

BOOL WINAPI GetUserPreferredUILanguages(DWORD flags, PULONG count, PZZWSTR names, PULONG units) {
    if (flags != MUI_LANGUAGE_NAME || count == nullptr || units == nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    const std::vector<std::string> languages = preferredLanguages();
    std::u16string list;
    for (const std::string &language : languages)
        list.append(language.begin(), language.end()).push_back(0);
    // A multi-string ends with a null of its own, and one without a text is two of them.
    list.append(list.empty() ? 2 : 1, 0);
    const ULONG room = *units;
    *count = static_cast<ULONG>(languages.size());
    *units = static_cast<ULONG>(list.size());
    if (names == nullptr)
        return TRUE;
    if (room < list.size())
        return fail(ERROR_INSUFFICIENT_BUFFER);
    std::copy(list.begin(), list.end(), names);
    return TRUE;
}

LANGID WINAPI GetUserDefaultUILanguage() {
    if (preferredLanguages().empty())
        return 0;
    return static_cast<LANGID>(uloc_getLCID(icuLocale(languageName(messageLocale())).c_str()));
}

int WINAPI LCIDToLocaleName(LCID locale, LPWSTR name, int units, DWORD flags) {
    char icuName[ULOC_FULLNAME_CAPACITY];
    char tag[ULOC_FULLNAME_CAPACITY];
    UErrorCode status = U_ZERO_ERROR;
    uloc_getLocaleForLCID(locale, icuName, ULOC_FULLNAME_CAPACITY, &status);
    const std::int32_t length =
        U_SUCCESS(status) ? uloc_toLanguageTag(icuName, tag, ULOC_FULLNAME_CAPACITY, true, &status) : 0;
    // Numbers that stand for no language have the library's root locale.
    if (flags != 0 || U_FAILURE(status) || std::string_view(icuName) == "root")
        return fail(ERROR_INVALID_PARAMETER);
    return writeText(std::u16string(tag, tag + length), name, units);
}

int WINAPI GetDateFormatEx(LPCWSTR localeName, DWORD flags, const SYSTEMTIME *date, LPCWSTR format, LPWSTR text,
                           int units, LPCWSTR calendar) {
    thread_local LocaleFormat kept;
    if (localeName == nullptr || date == nullptr || format != nullptr || calendar != nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    if ((flags & ~LOCALE_NOUSEROVERRIDE) != DATE_SHORTDATE)
        return fail(ERROR_INVALID_FLAGS);
    const std::optional<std::chrono::milliseconds> midnight = midnightOf(*date);
    if (!midnight)
        return fail(ERROR_INVALID_PARAMETER);
    return writeFormatted(formatFor(kept, localeName, UDAT_NONE, UDAT_SHORT, {}), *midnight, text, units);
}

int WINAPI GetTimeFormatEx(LPCWSTR localeName, DWORD flags, const SYSTEMTIME *time, LPCWSTR format, LPWSTR text,
                           int units) {
    thread_local LocaleFormat kept;
    if (localeName == nullptr || time == nullptr || format != nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    if ((flags & ~LOCALE_NOUSEROVERRIDE) != TIME_NOSECONDS)
        return fail(ERROR_INVALID_FLAGS);
    const std::optional<std::chrono::milliseconds> sinceMidnight = timeOfDay(*time);
    if (!sinceMidnight)
        return fail(ERROR_INVALID_PARAMETER);
    return writeFormatted(formatFor(kept, localeName, UDAT_SHORT, UDAT_NONE, gregorian), *sinceMidnight, text, units);
}

__time64_t _time64(__time64_t *time) {
    const __time64_t now = std::time(nullptr);
    if (time != nullptr)
        *time = now;
    return now;
}

int _localtime64_s(struct tm *local, const __time64_t *time) {
    constexpr __time64_t lastTime = 32'535'215'999; // the end of the year 3000, as published
    if (local == nullptr || time == nullptr || *time < 0 || *time > lastTime)
        return EINVAL;
    const std::time_t seconds = *time;
    return localtime_r(&seconds, local) == nullptr ? errno : 0;
}
