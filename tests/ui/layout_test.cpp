#include "rects.h"
#include "ui/controls.h"
#include "ui/layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace dm::ui {
namespace {

using test::edges;

std::map<int, RECT> rectsOf(int width, int height, float scale, PageId page, bool operationRuns) {
    std::map<int, RECT> rects;
    for (const Placement &place : placements(computeMetrics(width, height, scale), page, operationRuns))
        rects[place.id] = placedRect(place.x, place.y, place.w, place.h, scale);
    // The list stands closed.
    if (const auto list = rects.find(id::language); list != rects.end())
        list->second.bottom = list->second.top + static_cast<LONG>(31 * scale);
    return rects;
}

bool overlap(const RECT &a, const RECT &b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

struct Client {
    int width;
    int height;
    float dpiScale;
};

const Client clients[] = {{1300, 850, 1},     {1100, 790, 1},  {900, 640, 1},
                          {1920, 1200, 1.5F}, {2600, 1700, 2}, {900, 2000, 2}};

TEST(Layout, ControlsOfAPageLieApartInsideTheClient) {
    for (const Client &client : clients) {
        const float scale = fittingScale(client.width, client.height, client.dpiScale);
        for (const PageId page : {PageId::Cleanup, PageId::DiskSpace, PageId::Help, PageId::Settings}) {
            const auto rects = rectsOf(client.width, client.height, scale, page, true);
            for (auto a = rects.begin(); a != rects.end(); ++a) {
                const RECT &rect = a->second;
                EXPECT_TRUE(rect.left >= 0 && rect.top >= 0 && rect.left < rect.right && rect.top < rect.bottom &&
                            rect.right <= client.width && rect.bottom <= client.height)
                    << a->first << " at " << edges(rect) << " in " << client.width << " by " << client.height;
                for (auto b = std::next(a); b != rects.end(); ++b)
                    EXPECT_FALSE(overlap(rect, b->second)) << a->first << " and " << b->first << " in " << client.width;
            }
        }
    }
}

TEST(Layout, PlacesByTheGrid) {
    const struct {
        PageId page;
        int width, height;
        float scale;
        int id;
        const char *rect;
    } cases[] = {
        {PageId::Cleanup, 1300, 850, 1, 127, "268,600,905,651"},
        {PageId::Cleanup, 2200, 1580, 2, 124, "1620,710,2120,776"}, // beside the least width of the right column
        {PageId::DiskSpace, 1300, 850, 1, 141, "275,741,1248,781"},
        {PageId::Help, 1300, 850, 1, 136, "275,745,555,787"},
        {PageId::Settings, 900, 640, 0.81F, 160, "358,145,494,178"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(edges(rectsOf(c.width, c.height, c.scale, c.page, true)[c.id]), c.rect) << c.id << " " << c.width;
}

TEST(Layout, RoundsCornerAndSizeEachByItself) {
    // A size is the same wherever it stands.
    EXPECT_EQ(edges(placedRect(10.3F, 10.6F, 5.2F, 5.3F, 1.5F)), "15,16,23,24");
    EXPECT_EQ(edges(placedRect(1, 1, 1, 1, 0.4F)), "0,0,0,0");
}

TEST(Layout, ScaleFitsTheDesignGrid) {
    const struct {
        Client client;
        float scale;
    } cases[] = {
        {{1100, 790, 1}, 1},           {{4000, 3000, 1.25F}, 1.25F},
        {{900, 640, 1}, 640 / 790.0F}, {{900, 2000, 1}, 900 / 1100.0F},
        {{1650, 790, 2}, 1},           {{0, 0, 1}, 0},
    };
    for (const auto &[client, scale] : cases)
        EXPECT_FLOAT_EQ(fittingScale(client.width, client.height, client.dpiScale), scale) << client.width;
    EXPECT_EQ(nextScale(0.995F, 1), 1);
    EXPECT_EQ(nextScale(0.98F, 1), 0.98F);
    EXPECT_EQ(nextScale(1.02F, 1), 1.02F);
    EXPECT_EQ(nextScale(0, 1), 1);
}

TEST(Layout, ClampsToTheWorkArea) {
    const RECT area = {100, 50, 1100, 650};
    const struct {
        RECT given;
        const char *clamped;
    } cases[] = {
        {{200, 100, 400, 300}, "200,100,400,300"},    {{0, 0, 200, 100}, "108,58,308,158"},
        {{1000, 600, 1200, 700}, "892,542,1092,642"}, {{0, 0, 5000, 5000}, "108,58,1092,642"},
        {{300, 300, 300, 200}, "300,300,301,301"},    {{-9000, 9000, -8000, 9100}, "108,542,1092,642"},
    };
    for (const auto &[given, clamped] : cases)
        EXPECT_EQ(edges(clampToArea(given, area)), clamped) << edges(given);
    // An area smaller than its margins.
    EXPECT_EQ(edges(clampToArea({0, 0, 50, 50}, {0, 0, 10, 10})), "8,8,9,9");
}

} // namespace
} // namespace dm::ui
