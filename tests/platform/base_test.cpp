#include "platform/linux/errors.h"
#include "platform/win32.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <cstring>
#include <ctime>
#include <set>
#include <thread>

using namespace dm::platform;

namespace {

int compare(const std::u16string &left, const std::u16string &right, BOOL ignoreCase) {
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), ignoreCase);
}

bool isBenign(DWORD code) {
    return std::set<DWORD>{ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION,
                           ERROR_LOCK_VIOLATION}
        .contains(code);
}

} // namespace

TEST(Base, LastErrorBelongsToItsThread) {
    SetLastError(ERROR_DISK_FULL);
    std::thread([] {
        EXPECT_EQ(GetLastError(), DWORD{NO_ERROR});
        SetLastError(ERROR_BUSY);
    }).join();
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DISK_FULL});
    errno = ENOENT;
    EXPECT_EQ(failErrno(), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST(Base, OnlyWhatIsOutOfReachLooksBenign) {
    const std::set<int> outOfReach = {ENOENT, ENOTDIR, EACCES, EPERM, EISDIR, EAGAIN, ETXTBSY};
    for (int value = 0; value < 200; ++value)
        EXPECT_EQ(isBenign(errorOf(value)), outOfReach.contains(value)) << strerrorname_np(value);
    EXPECT_EQ(errorOf(EEXIST), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(errorOf(ENOSPC), DWORD{ERROR_DISK_FULL});
    EXPECT_EQ(errorOf(ENOTEMPTY), DWORD{ERROR_DIR_NOT_EMPTY});
    EXPECT_EQ(errorOf(ENOTRECOVERABLE), DWORD{ERROR_GEN_FAILURE});
}

TEST(Base, FileTimeCountsFrom1601) {
    constexpr std::int64_t secondsTo1970 = 369LL * 365 * 86400 + 89LL * 86400; // with the leap days between
    FILETIME time;
    const std::int64_t before = std::time(nullptr);
    GetSystemTimeAsFileTime(&time);
    const std::int64_t ticks = static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    EXPECT_LE(before, ticks / 10'000'000 - secondsTo1970);
    EXPECT_GE(std::time(nullptr), ticks / 10'000'000 - secondsTo1970);
}

TEST(Base, OrdinalComparisonFoldsToUpperCaseByUnit) {
    const struct {
        std::u16string left;
        std::u16string right;
        int exact;
        int ignoringCase;
    } cases[] = {
        {u"", u"", CSTR_EQUAL, CSTR_EQUAL},
        {u"a", u"", CSTR_GREATER_THAN, CSTR_GREATER_THAN},
        {u"ab", u"abc", CSTR_LESS_THAN, CSTR_LESS_THAN},
        {u"Abc", u"aBC", CSTR_LESS_THAN, CSTR_EQUAL},
        {u"a", u"_", CSTR_GREATER_THAN, CSTR_LESS_THAN}, // "_" lies between the cases
        {u"@", u"`", CSTR_LESS_THAN, CSTR_LESS_THAN},
        {u"\u0416", u"\u0436", CSTR_LESS_THAN, CSTR_EQUAL},
        {u"\u00FF", u"\u0178", CSTR_LESS_THAN, CSTR_EQUAL},
        {u"\u00DF", u"SS", CSTR_GREATER_THAN, CSTR_GREATER_THAN},
        {u"\u0131", u"I", CSTR_GREATER_THAN, CSTR_GREATER_THAN},
        {u"\u017F", u"s", CSTR_GREATER_THAN, CSTR_GREATER_THAN},
        {u"\uFFFD", u"\U00010400", CSTR_GREATER_THAN, CSTR_GREATER_THAN}, // by unit, not by code point
        {u"\U00010428", u"\U00010400", CSTR_GREATER_THAN, CSTR_GREATER_THAN},
        {std::u16string(u"a\0b", 3), std::u16string(u"A\0C", 3), CSTR_GREATER_THAN, CSTR_LESS_THAN},
    };
    for (const auto &[left, right, exact, ignoringCase] : cases) {
        EXPECT_EQ(compare(left, right, FALSE), exact);
        EXPECT_EQ(compare(left, right, TRUE), ignoringCase);
        EXPECT_EQ(compare(right, left, FALSE), 4 - exact);
        EXPECT_EQ(compare(right, left, TRUE), 4 - ignoringCase);
    }
    EXPECT_EQ(CompareStringOrdinal(u"abc\0x", -1, u"ABCD", 3, TRUE), CSTR_EQUAL);

    SetLastError(NO_ERROR);
    EXPECT_EQ(CompareStringOrdinal(nullptr, 0, u"", 0, TRUE), 0);
    EXPECT_EQ(CompareStringOrdinal(u"", 0, u"", -2, TRUE), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Base, CaseOfUnitsIsFixed) {
    // As a library of Unicode tells it, but for letters that are newer than the table.
    const auto expected = [](WCHAR unit, UChar32 mapped) {
        UVersionInfo age;
        u_charAge(unit, age);
        return mapped > 0xFFFF || age[0] > 15 ? unit : static_cast<WCHAR>(mapped);
    };
    for (UChar32 unit = 0; unit <= 0xFFFF; ++unit) {
        const auto wide = static_cast<WCHAR>(unit);
        const UChar32 upper = u_toupper(unit);
        ASSERT_EQ(towupper(wide), unit >= 0x80 && upper < 0x80 ? wide : expected(wide, upper)) << std::hex << unit;
        ASSERT_EQ(towlower(wide), expected(wide, u_tolower(unit))) << std::hex << unit;
    }

    EXPECT_EQ(_wcsicmp(u"Chrome.EXE", u"chrome.exe"), 0);
    EXPECT_LT(_wcsicmp(u"chrome", u"Chrome.exe"), 0);
    EXPECT_GT(_wcsicmp(u"b", u"A"), 0);
    EXPECT_LT(_wcsicmp(u"_", u"A"), 0); // after towlower
}

TEST(Base, GuidsAreRandomAndWrittenInBraces) {
    const GUID guid = {0x01ABCDEF, 0x0123, 0x4567, {0x89, 0xAB, 0x0C, 0xDE, 0xF0, 0x12, 0x34, 0x56}};
    WCHAR text[64];
    EXPECT_EQ(StringFromGUID2(guid, text, 39), 39);
    EXPECT_EQ(std::u16string(text), u"{01ABCDEF-0123-4567-89AB-0CDEF0123456}");
    EXPECT_EQ(StringFromGUID2(guid, text, 38), 0);

    std::set<std::u16string> texts;
    for (int round = 0; round < 100; ++round) {
        GUID random;
        ASSERT_EQ(CoCreateGuid(&random), S_OK);
        ASSERT_EQ(StringFromGUID2(random, text, 64), 39);
        EXPECT_EQ(text[15], u'4');
        EXPECT_NE(std::u16string(u"89AB").find(text[20]), std::u16string::npos);
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), 100u);
}
