#include "i18n/format.h"

#include "environment.h"
#include "i18n/language.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <limits>
#include <utility>

using namespace dm;

namespace {

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

struct Format : testing::Test {
    Format() {
        test::setEnvironment({{"TZ", "Asia/Kolkata"}, {"LC_ALL", "en_GB.UTF-8"}});
        tzset();
    }
    ~Format() override { setLanguage("en"); }
};

} // namespace

TEST_F(Format, SizesChooseTheirUnitBeforeTheyAreRounded) {
    const std::pair<std::uint64_t, WStringView> cases[] = {
        {0, W("0 B")},
        {1023, W("1023 B")},
        {1024, W("1.0 KB")},
        {1536, W("1.5 KB")},
        {1'048'575, W("1024.0 KB")},
        {1'048'576, W("1.0 MB")},
        {1'073'741'823, W("1024.0 MB")},
        {1'073'741'824, W("1.00 GB")},
        {5'497'558'138'880, W("5120.00 GB")},
        {largest, W("17179869184.00 GB")},
    };
    for (const auto &[bytes, text] : cases)
        EXPECT_EQ(formatSize(bytes), text) << bytes;
    setLanguage("de");
    EXPECT_EQ(formatSize(1536), W("1.5 ") + tr(W("КБ")));
    EXPECT_EQ(formatCount(largest), W("18446744073709551615"));
}

TEST_F(Format, DatesFollowTheLanguageAlone) {
    constexpr std::int64_t time = 1'764'929'759; // 2025-12-05 10:15:59 UTC, 15:45 in Kolkata
    const std::pair<std::string_view, WStringView> cases[] = {
        {"de", W("05.12.25 15:45")}, {"zh", W("2025/12/5 15:45")},
        {"th", W("5/12/68 15:45")}, // of the Buddhist era
        {"id", W("05/12/25 15.45")}, {"ar", W("١٤\u200f/٦\u200f/١٤٤٧ هـ ٣:٤٥ م")},
    };
    for (const auto &[code, text] : cases) {
        setLanguage(code);
        EXPECT_EQ(formatDateTime(time), text) << code;
    }
    setLanguage("de");
    EXPECT_EQ(formatDateTime(32'535'215'999), W("01.01.01 05:29"));
    for (const std::int64_t untold : {std::int64_t{32'535'216'000}, std::numeric_limits<std::int64_t>::max()})
        EXPECT_EQ(formatDateTime(untold), W("—")) << untold;
}
