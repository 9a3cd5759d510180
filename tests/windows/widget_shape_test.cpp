#include "windows/widget_shape.h"

#include "i18n/language.h"
#include "rects.h"

#include <gtest/gtest.h>

#include <vector>

namespace dm {
namespace {

constexpr SIZE small = {60, 50};

TEST(WidgetShape, ShowsAsManyRowsAsFit) {
    const struct {
        int workHeight;
        float scale;
        std::size_t drives;
        int rows;
    } cases[] = {
        {1000, 1, 6, 5}, {1000, 1, 3, 3}, {1000, 1, 0, 1}, {628, 1, 9, 5},
        {627, 1, 9, 4},  {100, 1, 9, 1},  {1000, 2, 9, 2},
    };
    for (const auto &each : cases)
        EXPECT_EQ(widgetRows(each.workHeight, each.scale, each.drives), each.rows) << each.workHeight;
    EXPECT_EQ(widgetHeight(5), 612);
}

TEST(WidgetShape, KeepsTheRowsFilled) {
    EXPECT_EQ(clampFirstRow(-1, 6, 5), 0);
    EXPECT_EQ(clampFirstRow(2, 6, 5), 1);
    EXPECT_EQ(clampFirstRow(1, 2, 5), 0);
    EXPECT_EQ(clampFirstRow(3, 0, 1), 0);
    EXPECT_FLOAT_EQ(scrollThumbTop(0, 6, 5), 230);
    EXPECT_FLOAT_EQ(scrollThumbTop(1, 6, 5), 230 + 238);
    EXPECT_FLOAT_EQ(scrollThumbTop(1, 7, 5), 230 + 119);
}

TEST(WidgetShape, StartsAtTheStoredPlace) {
    Settings settings;
    const RECT work = {100, 40, 1900, 1000};
    EXPECT_EQ(test::edges(widgetStartRect(settings, work, {360, 404})), "1520,60,1880,464");
    settings.widgetPositionSaved = true;
    settings.widgetX = -70;
    settings.widgetY = 9;
    EXPECT_EQ(test::edges(widgetStartRect(settings, work, {360, 404})), "-70,9,290,413");
}

TEST(WidgetShape, RoundsTheCorners) {
    EXPECT_EQ(cornerRadius({360, 404}, 1.5F, false), 27);
    EXPECT_EQ(cornerRadius({360, 404}, 1.04F, false), 18);
    EXPECT_EQ(cornerRadius({20, 404}, 1, false), 10);
    EXPECT_EQ(cornerRadius({360, 404}, 1, true), 0);
    constexpr int radius = 18;
    EXPECT_EQ(shapeCoverage({0, 0}, small, radius), 0);
    EXPECT_EQ(shapeCoverage({18, 0}, small, radius), 255);
    EXPECT_EQ(shapeCoverage({12, 0}, small, radius), 36); // 9 of 64
    int partly = 0;
    for (LONG y = 0; y < small.cy; ++y) {
        for (LONG x = 0; x < small.cx; ++x) {
            const int here = shapeCoverage({x, y}, small, radius);
            EXPECT_EQ(here, shapeCoverage({small.cx - 1 - x, y}, small, radius));
            EXPECT_EQ(here, shapeCoverage({x, small.cy - 1 - y}, small, radius));
            partly += here > 0 && here < 255 ? 1 : 0;
        }
    }
    EXPECT_GT(partly, 40);
}

TEST(WidgetShape, GivesEveryPixelItsAlpha) {
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(small.cx * small.cy), 0x00FF8001);
    shapePixels(pixels, small, 18, 20);
    EXPECT_EQ(pixels[0], 0U);
    EXPECT_EQ(pixels[static_cast<std::size_t>(25 * small.cx + 30)], 0x33331A00U);
    std::fill(pixels.begin(), pixels.end(), 0x00FF8001);
    shapePixels(pixels, small, 18, 100);
    EXPECT_EQ(pixels[25 * 60 + 30], 0xFFFF8001U);
    EXPECT_EQ(pixels[12], 0x24241200U);
}

TEST(WidgetShape, LetsClicksThroughTheCorners) {
    EXPECT_EQ(hitTestWidget({0, 0}, {360, 404}, 18, 1), HTTRANSPARENT);
    EXPECT_EQ(hitTestWidget({0, 0}, {360, 404}, 0, 1), HTCAPTION);
    EXPECT_EQ(hitTestWidget({100, 191}, {720, 808}, 36, 2), HTCAPTION);
    EXPECT_EQ(hitTestWidget({100, 192}, {720, 808}, 36, 2), HTCLIENT);
}

TEST(WidgetShape, TellsTheState) {
    setLanguage("en");
    OperationState state;
    const auto tells = [&state](const WChar *figure, const WChar *note) {
        const WidgetFigure told = widgetFigure(state, 2048);
        EXPECT_EQ(told.figure, figure);
        EXPECT_EQ(told.note, note);
    };
    tells(W("Ready to scan"), W("Start with a scan"));
    state.summaryKind = SummaryKind::Clean;
    state.lastFreedBytes = 1024;
    tells(W("1.0 KB"), W("Deleted:"));
    state.hasScanResult = true;
    tells(W("2.0 KB"), W("to clean up"));
    state.busy = true;
    state.operation = OperationKind::Scan;
    state.processed = 5;
    tells(W("5"), W("Files checked:"));
    state.operation = OperationKind::SendingStatistics;
    state.total = 9;
    tells(W("5 / 9"), W("Cleaning files…"));
}

} // namespace
} // namespace dm
