#include "windows/widget_shape.h"

#include "i18n/format.h"
#include "i18n/language.h"

#include <algorithm>
#include <cmath>

namespace dm {
namespace {

constexpr int fixedHeight = 352;
constexpr int rowHeight = 52;
constexpr int mostRows = 5;
constexpr int screenMargin = 20;
constexpr int samplesPerSide = 8;

/// How far the pixel lies into the corner on one axis, counted from the corner's end of it; beyond the radius it is in
/// no corner.
int distanceFromEdge(int at, int length) {
    return std::min(at, length - 1 - at);
}

/// Coverage of a pixel of the top left corner. In sixteenths of a pixel, in which the sample points are whole numbers.
int cornerCoverage(int x, int y, int radius) {
    constexpr int unit = 2 * samplesPerSide;
    const std::int64_t limit = static_cast<std::int64_t>(radius) * unit * radius * unit;
    int inside = 0;
    for (int row = 0; row < samplesPerSide; ++row) {
        const std::int64_t dy = static_cast<std::int64_t>(radius - y) * unit - (2 * row + 1);
        for (int column = 0; column < samplesPerSide; ++column) {
            const std::int64_t dx = static_cast<std::int64_t>(radius - x) * unit - (2 * column + 1);
            inside += dx * dx + dy * dy <= limit ? 1 : 0;
        }
    }
    return (inside * 255 + 32) >> 6;
}

std::uint32_t premultiplied(std::uint32_t pixel, std::uint32_t alpha) {
    std::uint32_t result = alpha << 24;
    for (const int shift : {16, 8, 0})
        result |= ((pixel >> shift & 0xFF) * alpha + 127) / 255 << shift;
    return result;
}

} // namespace

int widgetRows(int workHeight, float scale, std::size_t drives) {
    const int most = static_cast<int>(std::clamp<std::size_t>(drives, 1, mostRows));
    const float room = static_cast<float>(workHeight - 16) / std::max(scale, 0.25F) - fixedHeight;
    return std::clamp(static_cast<int>(std::floor(room / rowHeight)), 1, most);
}

int widgetHeight(int rows) {
    return fixedHeight + rowHeight * rows;
}

int clampFirstRow(int firstRow, std::size_t drives, int rows) {
    return std::clamp(firstRow, 0, std::max(static_cast<int>(drives) - rows, 0));
}

float widgetScale(SIZE client, int heightDips, float dpiScale) {
    return std::min({static_cast<float>(client.cy) / static_cast<float>(heightDips),
                     static_cast<float>(client.cx) / static_cast<float>(widgetWidth), dpiScale});
}

RECT widgetStartRect(const Settings &settings, const RECT &workArea, SIZE size) {
    POINT place = {workArea.right - size.cx - screenMargin, workArea.top + screenMargin};
    if (settings.widgetPositionSaved)
        place = {settings.widgetX, settings.widgetY};
    return {place.x, place.y, place.x + size.cx, place.y + size.cy};
}

float scrollThumbTop(int firstRow, std::size_t drives, int rows) {
    constexpr float trackTop = 230;
    constexpr int trackMargin = 22;
    const int hidden = std::max(static_cast<int>(drives) - rows, 1);
    return trackTop + static_cast<float>(firstRow * (rowHeight * rows - trackMargin)) / static_cast<float>(hidden);
}

int cornerRadius(SIZE size, float scale, bool highContrast) {
    constexpr float radius = 18;
    const int most = static_cast<int>(std::min(size.cx, size.cy)) / 2;
    return highContrast ? 0 : std::min(static_cast<int>(radius * scale), most);
}

int shapeCoverage(POINT pixel, SIZE size, int radius) {
    if (pixel.x < 0 || pixel.y < 0 || pixel.x >= size.cx || pixel.y >= size.cy)
        return 0;
    const int x = distanceFromEdge(pixel.x, size.cx);
    const int y = distanceFromEdge(pixel.y, size.cy);
    return x < radius && y < radius ? cornerCoverage(x, y, radius) : 255;
}

void shapePixels(std::span<std::uint32_t> pixels, SIZE size, int radius, int opacity) {
    const auto percent = static_cast<std::uint32_t>(std::clamp(opacity, 20, 100));
    auto pixel = pixels.begin();
    for (LONG y = 0; y < size.cy; ++y) {
        for (LONG x = 0; x < size.cx; ++x, ++pixel) {
            const auto shape = static_cast<std::uint32_t>(shapeCoverage({x, y}, size, radius));
            *pixel = premultiplied(*pixel, (shape * percent + 50) / 100);
        }
    }
}

LRESULT hitTestWidget(POINT point, SIZE size, int radius, float scale) {
    if (shapeCoverage(point, size, radius) == 0)
        return HTTRANSPARENT;
    return static_cast<float>(point.y) < widgetCaptionHeight * scale ? HTCAPTION : HTCLIENT;
}

WidgetFigure widgetFigure(const OperationState &state, std::uint64_t selectedBytes) {
    if (state.busy) {
        const bool cleans =
            state.operation == OperationKind::Clean || state.operation == OperationKind::SendingStatistics;
        WString figure = formatCount(state.processed);
        if (state.total != 0)
            figure += W(" / ") + formatCount(state.total);
        return {figure, tr(cleans ? W("Очистка файлов…") : W("Проверено файлов:"))};
    }
    if (state.hasScanResult)
        return {formatSize(selectedBytes), tr(W("к очистке"))};
    if (state.summaryKind == SummaryKind::Clean)
        return {formatSize(state.lastFreedBytes), tr(W("Удалено:"))};
    return {tr(W("Готово к анализу")), tr(W("Начните с анализа"))};
}

} // namespace dm
