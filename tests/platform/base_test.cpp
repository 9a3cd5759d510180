#include "engine/identity.h"
#include "platform/linux/errors.h"
#include "platform/win32.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <cstring>
#include <set>

using namespace dm;
using namespace dm::platform;

TEST(Base, OnlyWhatIsOutOfReachLooksBenign) {
    const std::set<int> outOfReach = {ENOENT, ENOTDIR, EACCES, EPERM, EISDIR, EAGAIN, ETXTBSY};
    for (int value = 0; value < 200; ++value)
        EXPECT_EQ(isBenignFileError(errorOf(value)), outOfReach.contains(value)) << strerrorname_np(value);
    EXPECT_EQ(errorOf(EEXIST), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(errorOf(ENOSPC), DWORD{ERROR_DISK_FULL});
    EXPECT_EQ(errorOf(ENOTEMPTY), DWORD{ERROR_DIR_NOT_EMPTY});
    EXPECT_EQ(errorOf(ENOTRECOVERABLE), DWORD{ERROR_GEN_FAILURE});
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
}
