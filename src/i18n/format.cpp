#include "i18n/format.h"

#include "i18n/language.h"
#include "platform/win32.h"

#include <charconv>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>

namespace dm {

namespace {

constexpr std::uint64_t kilobyte = 0x400;
constexpr std::uint64_t megabyte = 0x100000;
constexpr std::uint64_t gigabyte = 0x40000000;
constexpr std::size_t maximumUnits = 128; // of a date or a time

/// ASCII alone.
WString widen(std::string_view bytes) {
    return {bytes.begin(), bytes.end()};
}

/// The number with so many decimals. Unlike the printing functions this one never asks the C library's locale for the
/// decimal mark.
WString fixedPoint(double value, int decimals) {
    char text[64];
    const char *end = std::to_chars(text, std::end(text), value, std::chars_format::fixed, decimals).ptr;
    return widen({text, end});
}

WString sizeText(std::uint64_t bytes, std::uint64_t unit, int decimals, WStringView unitName) {
    const double reciprocal = 1.0 / static_cast<double>(unit);
    return fixedPoint(static_cast<double>(bytes) * reciprocal, decimals) + W(" ") + tr(unitName);
}

std::optional<SYSTEMTIME> localTimeOf(std::int64_t time) {
    const __time64_t seconds = time;
    std::tm local = {};
    if (_localtime64_s(&local, &seconds) != 0)
        return std::nullopt;
    SYSTEMTIME broken = {};
    broken.wYear = static_cast<WORD>(local.tm_year + 1900);
    broken.wMonth = static_cast<WORD>(local.tm_mon + 1);
    broken.wDay = static_cast<WORD>(local.tm_mday);
    broken.wHour = static_cast<WORD>(local.tm_hour);
    broken.wMinute = static_cast<WORD>(local.tm_min);
    broken.wSecond = static_cast<WORD>(local.tm_sec);
    return broken;
}

} // namespace

WString formatCount(std::uint64_t value) {
    char text[32];
    const char *end = std::to_chars(text, std::end(text), value).ptr;
    return widen({text, end});
}

WString formatSize(std::uint64_t bytes) {
    if (bytes < kilobyte)
        return sizeText(bytes, 1, 0, W("Б"));
    if (bytes < megabyte)
        return sizeText(bytes, kilobyte, 1, W("КБ"));
    if (bytes < gigabyte)
        return sizeText(bytes, megabyte, 1, W("МБ"));
    return sizeText(bytes, gigabyte, 2, W("ГБ"));
}

WString formatDateTime(std::int64_t time) {
    const std::optional<SYSTEMTIME> local = localTimeOf(time);
    if (!local)
        return W("—");
    const WChar *locale = currentLocaleName();
    WChar dateText[maximumUnits];
    WChar timeText[maximumUnits];
    if (GetDateFormatEx(locale, DATE_SHORTDATE | LOCALE_NOUSEROVERRIDE, &*local, nullptr, dateText, maximumUnits,
                        nullptr) == 0 ||
        GetTimeFormatEx(locale, TIME_NOSECONDS | LOCALE_NOUSEROVERRIDE, &*local, nullptr, timeText, maximumUnits) == 0)
        return W("—");
    return WString(dateText) + W(" ") + timeText;
}

} // namespace dm
