#include "data/encoding.h"

#include "files.h"

namespace dm {
namespace {

using namespace std::string_view_literals;

TEST(Encoding, CharactersHaveTheirBytesInBothPairs) {
    const struct {
        WStringView text;
        std::string_view bytes;
    } cases[] = {
        {W(""), ""},
        {W("a\t\r\n~"), "a\t\r\n~"},
        {W("\u0080\u07FF"), "\xC2\x80\xDF\xBF"},
        {W("\u0800\uD7FF\uE000\uFFFF"), "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
        {W("\U00010000\U0010FFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    };
    for (const auto &[text, bytes] : cases) {
        EXPECT_EQ(wideToUtf8(text), bytes);
        EXPECT_EQ(encodeUtf8Lossy(text), bytes);
        EXPECT_EQ(utf8ToWide(bytes), text);
        EXPECT_EQ(decodeUtf8Lossy(bytes), text);
    }
    EXPECT_EQ(utf8ToWide("a\0b"sv), WString(W("a\0b"), 3));
    EXPECT_EQ(wideToUtf8(WStringView(W("a\0b"), 3)), "a\0b"sv);
}

TEST(Encoding, DamagedBytesAreRefusedOrReplacedOneByOne) {
    const struct {
        std::string_view bytes;
        WStringView lossy;
    } cases[] = {
        {"\x80", W("\uFFFD")},
        {"\xC0\x80", W("\uFFFD\uFFFD")},
        {"\xE2\x82", W("\uFFFD\uFFFD")},
        {"\xE0\x9F\xBF", W("\uFFFD\uFFFD\uFFFD")},
        {"\xED\xA0\x80", W("\uFFFD\uFFFD\uFFFD")},
        {"\xF0\x8F\xBF\xBF", W("\uFFFD\uFFFD\uFFFD\uFFFD")},
        {"\xF4\x90\x80\x80", W("\uFFFD\uFFFD\uFFFD\uFFFD")},
        {"\xFF", W("\uFFFD")},
        {"a\xC3\xC3\xA9z", W("a\uFFFD\u00E9z")},
        {"\xF0\x9F\x98", W("\uFFFD\uFFFD\uFFFD")},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::PrintToString(row.bytes));
        EXPECT_EQ(test::failureOf([&] { utf8ToWide(row.bytes); }), "invalid UTF-8");
        EXPECT_EQ(decodeUtf8Lossy(row.bytes), row.lossy);
    }
}

TEST(Encoding, ControlsAndUnpairedSurrogatesAreReplaced) {
    for (WChar unit = 0; unit <= 0x80; ++unit) {
        const bool kept = unit == W('\t') || unit == W('\n') || unit == W('\r') || (unit >= 0x20 && unit != 0x7F);
        const WString text(1, unit);
        EXPECT_EQ(encodeUtf8Lossy(text), kept ? wideToUtf8(text) : "\xEF\xBF\xBD") << int{unit};
        EXPECT_EQ(decodeUtf8Lossy(wideToUtf8(text)), kept ? text : W("\uFFFD")) << int{unit};
    }
    const WChar high = 0xD83D;
    const WChar low = 0xDE00;
    const struct {
        WString text;
        std::string_view bytes;
    } cases[] = {
        {{low, high}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {{high, high, low}, "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
        {{high, low, low}, "\xF0\x9F\x98\x80\xEF\xBF\xBD"},
    };
    for (const auto &[text, expected] : cases) {
        EXPECT_EQ(encodeUtf8Lossy(text), expected);
        EXPECT_EQ(wideToUtf8(text), expected);
    }
}

} // namespace
} // namespace dm
