// Published declarations of languages, dates and times.
#pragma once

#include "platform/linux/win32_base.h"

#include <ctime>

using LCID = DWORD;
using LANGID = WORD;
using PULONG = ULONG *;
using PZZWSTR = WCHAR *;
using __time64_t = std::int64_t;

#define LOCALE_NAME_MAX_LENGTH 85
#define SORT_DEFAULT 0x0
#define MAKELCID(language, sortOrder)                                                                                  \
    (static_cast<DWORD>(static_cast<WORD>(sortOrder)) << 16 | static_cast<DWORD>(static_cast<WORD>(language)))

#define MUI_LANGUAGE_NAME 0x8U
#define DATE_SHORTDATE 0x1U
#define TIME_NOSECONDS 0x2U
#define LOCALE_NOUSEROVERRIDE 0x80000000U

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

/// The languages that gettext would look for, in its order: those of LANGUAGE, or else that of LC_ALL, LC_MESSAGES or
/// LANG. In the locales C and POSIX there are none. Knows MUI_LANGUAGE_NAME alone. A null buffer asks for the size in
/// units, which includes the second null.
BOOL WINAPI GetUserPreferredUILanguages(DWORD flags, PULONG count, PZZWSTR names, PULONG units);
/// The language of LC_ALL, LC_MESSAGES or LANG by its published number; 0 where the user prefers none.
LANGID WINAPI GetUserDefaultUILanguage();
/// Writes a name such as "de-DE"; gives its units with the null, or 0.
int WINAPI LCIDToLocaleName(LCID locale, LPWSTR name, int units, DWORD flags);

/// The short date of a locale, with its own calendar and digits; gives the units with the null, or 0. Knows
/// DATE_SHORTDATE and LOCALE_NOUSEROVERRIDE, no format picture and no calendar.
int WINAPI GetDateFormatEx(LPCWSTR localeName, DWORD flags, const SYSTEMTIME *date, LPCWSTR format, LPWSTR text,
                           int units, LPCWSTR calendar);
/// The same for its time of day. TIME_NOSECONDS has to be among the flags.
int WINAPI GetTimeFormatEx(LPCWSTR localeName, DWORD flags, const SYSTEMTIME *time, LPCWSTR format, LPWSTR text,
                           int units);

/// Seconds since 1970 in UTC, also written to where `time` points, which may be null.
__time64_t _time64(__time64_t *time);
/// Local time of the time zone in force when the process first asked; 0, or an errno value for times before 1970 or
/// after the year 3000.
int _localtime64_s(struct tm *local, const __time64_t *time);
