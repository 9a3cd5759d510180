// What every page has: the sidebar, the header and the strip at the foot.
#include "core/version.h"
#include "i18n/language.h"
#include "ui/animation.h"
#include "ui/main_view.h"
#include "ui/text.h"
#include "ui/theme.h"
#include "windows/page_parts.h"
#include "windows/pages.h"

namespace dm {

using ui::mainView;
using ui::mixColor;
using ui::palette;

namespace {

constexpr float unknownShare = 0.24F;
constexpr float runnerShare = 0.22F;

void paintLogo(ui::Canvas &canvas, const Box &sidebar) {
    constexpr Box nameBox = {83, 36, 145, 35};
    constexpr Box versionBox = {84, 73, 140, 22};
    constexpr float tileSide = 48;
    constexpr float broomSide = 32;
    constexpr float middle = (nameBox.y + versionBox.y + versionBox.h) / 2;
    const Box tile = mirrored({22, middle - tileSide / 2, tileSide, tileSide}, sidebar);
    ui::fillRoundRect(canvas, tile.x, tile.y, tile.w, tile.h, 14,
                      mixColor(palette.sidebarBackground, palette.accentColor, 0.27F), 0, 0);
    const Box broom = mirrored({31, tile.y + 8, broomSide, broomSide}, sidebar);
    ui::drawBroom(canvas, broom.x, broom.y, broom.w, palette.sidebarText);
    queueFinished(productName, mirrored(nameBox, sidebar), 25, palette.sidebarText, boldText);
    queueFinished(versionLine(), mirrored(versionBox, sidebar), 12, palette.sidebarMuted);
}

void paintSidebar(ui::Canvas &canvas, const ui::LayoutMetrics &m) {
    const Box sidebar = {0, 0, m.sidebarWidth, m.height};
    paintLogo(canvas, sidebar);
    queueLabel(W("Очистка по вашим правилам"), mirrored({22, 108, 188, 33}, sidebar), 13, palette.sidebarMuted,
               wrappedText);
    ui::drawLine(canvas, 22, m.height - 178, m.sidebarWidth - 22, m.height - 178,
                 mixColor(palette.sidebarBackground, palette.sidebarText, 0.14F), 1, false);
    queueLabel(W("Безопасная очистка"), mirrored({24, m.height - 215, 184, 28}, sidebar), 13, palette.sidebarMuted,
               middleText);
}

void paintStatusPill(ui::Canvas &canvas, const ui::LayoutMetrics &m) {
    constexpr float dotSide = 7;
    const Box pill = {m.width - 218, 35, 189, 32};
    ui::fillRoundRect(canvas, pill.x, pill.y, pill.w, pill.h, 12, palette.accentTint, 0, 0);
    const Box dot = mirrored({pill.x + 13, pill.y + (pill.h - dotSide) / 2, dotSide, dotSide}, pill);
    drawDot(canvas, dot.x, dot.y, dot.w, palette.accentColor);
    queueLabel(statusLabel(operationState()), mirrored({m.width - 190, 43, 152, 24}, pill), 12, palette.accentText,
               boldText);
}

void paintHeader(ui::Canvas &canvas, const ui::LayoutMetrics &m) {
    const float left = m.contentLeft + 2;
    const float width = m.width - 218 - 16 - left;
    const PageTitle title = pageTitle(mainView.currentPage);
    queueLabel(title.title, {left, 32, width, 48}, 32, palette.textPrimary, boldText);
    queueLabel(title.subtitle, {left, 83, width, 35}, 16, palette.textMuted);
    paintStatusPill(canvas, m);
}

/// The bar of an operation: as far as it has come, or something that moves where nobody knows how far that is.
void paintProgress(ui::Canvas &canvas, const ui::LayoutMetrics &m) {
    const OperationState &state = operationState();
    const Box bar = {m.contentLeft + 3, m.height - 25, m.width - m.contentLeft - 31, 8};
    if (state.total != 0) {
        ui::drawProgressBar(canvas, bar.x, bar.y, bar.w, state.progressShown);
        return;
    }
    if (ui::reduceMotion) {
        ui::drawProgressBar(canvas, bar.x, bar.y, bar.w, unknownShare);
        return;
    }
    ui::drawProgressBar(canvas, bar.x, bar.y, bar.w, 0);
    const float runner = runnerShare * bar.w;
    const float way = ui::animation.spinnerAngle / 360;
    ui::fillRoundRect(canvas, bar.x + (bar.w - runner) * way, bar.y, runner, bar.h, bar.h / 2, palette.accentColor, 0,
                      0);
}

/// What runs, with the file that it is at. Without the mark a path in a text from right to left begins at its end.
WString statusLine(const WString &status) {
    constexpr WStringView beforePath = W(" · ");
    constexpr const WChar *leftToRightMark = W("\u200E");
    WString line = tr(status);
    const std::size_t separator = isRightToLeft() ? line.find(beforePath) : WString::npos;
    if (separator != WString::npos)
        line.insert(separator + beforePath.size(), leftToRightMark);
    return line;
}

} // namespace

void paintFrame(ui::Canvas &canvas, const ui::LayoutMetrics &metrics) {
    paintSidebar(canvas, metrics);
    paintHeader(canvas, metrics);
}

void paintStatusStrip(ui::Canvas &canvas, const ui::LayoutMetrics &metrics) {
    const OperationState &state = operationState();
    const float left = metrics.contentLeft + 4;
    const float width = metrics.width - metrics.contentLeft - 33;
    if (state.busy) {
        queueFinished(statusLine(state.statusText), {left, metrics.height - 50, width, 22}, 13, palette.textMuted);
        paintProgress(canvas, metrics);
        return;
    }
    queueLabel(state.resultLine, {left, metrics.height - 41, width, 26}, 13, palette.textMuted);
    if (mainView.currentPage == ui::PageId::Cleanup)
        queueLabel(state.lastScanLine, {left, metrics.height - 68, width, 20}, 13, palette.textMuted);
}

} // namespace dm
