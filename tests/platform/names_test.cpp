#include "platform/linux/names.h"

#include "engine/paths.h"
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <sstream>

namespace dm::platform {
namespace {

WString wideOf(std::string_view name) {
    WString wide;
    appendWideName(name, wide);
    return wide;
}

bool isName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos && name.find('\0') == name.npos;
}

/// What has to hold for every name that a Linux folder can list, and for all of them together.
void check(const std::string &name, std::map<WString, std::string> &seen) {
    if (!isName(name))
        return;
    const WString wide = wideOf(name);
    std::string back;
    ASSERT_TRUE(linuxName(wide, back) && back == name) << testing::PrintToString(name);
    ASSERT_EQ(seen.emplace(wide, name).first->second, name) << "two names look the same";
    const WString path = W("C:\\") + wide + W("\\child");
    WString normal;
    ASSERT_TRUE(normalizePath(path, normal) && normal == path) << testing::PrintToString(name);
    ASSERT_EQ(wide.find_first_of(WString(W("\\/\0"), 3)), WString::npos) << testing::PrintToString(name);
}

TEST(Names, EveryNameMapsOneToOneAndIsNormal) {
    std::map<WString, std::string> seen;
    std::vector<std::string> pieces = {std::string(255, 'a'), std::string(255, '\xFF'), std::string(255, '.')};
    std::istringstream words(
        "é \xED\x9F\xBF \uE000 \uEFFF \uF000 \uF02E \uF061 \uF0FF \uF100 \uFFFD \uFFFF \U00010000 \U0010FFFF "
        "\xED\xA0\x80 \xED\xB2\x80 \xC0\xAF \xE0\x80\xAF \xF0\x80\x80\xAF \xF4\x90\x80\x80 "
        "\xF8\x88\x80\x80\x80 \xE2\x82 \xF0\x9F\x98 con Aux COM1 lpt\u00B2 CONIN$ clock$ ..");
    pieces.insert(pieces.end(), std::istream_iterator<std::string>(words), {});
    pieces.insert(pieces.end(), {" .", ". "});
    for (int byte = 1; byte < 256; ++byte)
        pieces.emplace_back(1, static_cast<char>(byte));
    for (const std::string &first : pieces) {
        check(first, seen);
        for (const std::string &second : pieces)
            check(first + second, seen);
    }

    std::mt19937 random(20240229);
    const std::string likely = " .:\\conaux1\x80\xB2\xC2\xC3\xED\xEF\xF0\xF4\x9F";
    for (int round = 0; round < 20000; ++round) {
        std::string name(1 + random() % (round % 10 == 0 ? 255 : 12), '\0');
        for (char &byte : name)
            byte = random() % 2 == 0 ? likely[random() % likely.size()] : static_cast<char>(random());
        check(name, seen);
    }
}

// Every unit in every place, against the only answer that is right: a name that maps forward to the very same units.
TEST(Names, NoSpellingNamesWhatItDoesNotMapFrom) {
    // The last one is two bytes that are a valid character together.
    for (const WString &wide : {WString(), WString(W("..")), WString(W("a\0"), 2), WString(W("NUL.txt")),
                                WString(W("\xF061xx")), WString(W("\xF020z")), WString{0xDCC3, 0xDCA9}}) {
        std::string name = "before";
        EXPECT_FALSE(linuxName(wide, name)) << testing::PrintToString(wide);
        EXPECT_EQ(name, "");
    }
    for (unsigned value = 0; value <= 0xFFFF; ++value) {
        const WChar unit = static_cast<WChar>(value);
        for (const WString &wide :
             {WString{unit}, WString{unit, W('.')}, WString{W('.'), unit}, WString{unit, W('u'), W('x')},
              WString{W('a'), unit, W('b')}, WString{0xD83D, unit}, WString{0xF02E, unit}}) {
            std::string name;
            if (linuxName(wide, name)) {
                ASSERT_TRUE(isName(name)) << std::hex << value;
                ASSERT_EQ(wideOf(name), wide) << std::hex << value;
            }
        }
    }
}

TEST(Names, OrdinaryOnesStayAsTheyAre) {
    for (const char *same : {"film.mkv", ".hidden", "a b", "a. b", "com", "com10", "console", "auxiliary.con", ".con"})
        EXPECT_EQ(wideOf(same), WString(same, same + std::strlen(same)));
}

} // namespace
} // namespace dm::platform
