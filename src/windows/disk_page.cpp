// The page that shows the space on all drives.
#include "core/operations.h"
#include "ui/text.h"
#include "ui/theme.h"
#include "windows/page_parts.h"

namespace dm {

using ui::palette;

namespace {

constexpr int diskGlyph = 1;
constexpr float rowHeight = 68;
constexpr float rowPitch = 86;
constexpr float margin = 26;

void paintDrive(ui::Canvas &canvas, const DriveInfo &drive, const Box &row) {
    constexpr float glyphSide = 30;
    constexpr float indent = 46;
    const Box glyph = mirrored({row.x, row.y + (row.h - glyphSide) / 2, glyphSide, glyphSide}, row);
    ui::drawGlyph(canvas, diskGlyph, glyph.x, glyph.y, glyph.w, palette.accentColor);
    const Box column = mirrored({row.x + indent, row.y, row.w - indent, row.h}, row);
    queueFinished(driveName(drive), {column.x, column.y, column.w, 26}, 16, palette.textPrimary, boldText);
    ui::drawProgressBar(canvas, column.x, column.y + 31, column.w, usedShare(drive));
    queueFinished(spaceText(drive), {column.x, column.y + 46, column.w, 22}, 13, palette.textMuted);
}

} // namespace

void paintDiskPage(ui::Canvas &canvas, const ui::LayoutMetrics &metrics) {
    const Box card = wholeCard(metrics);
    drawCardBox(canvas, card);
    Box row = {card.x + margin, card.y + 26, card.w - 2 * margin, rowHeight};
    const std::vector<DriveInfo> &drives = operationState().drives;
    if (drives.empty())
        queueLabel(W("Локальные диски недоступны."), {row.x, row.y, row.w, 30}, 18, palette.textMuted);
    for (const DriveInfo &drive : drives) {
        if (row.y + row.h > metrics.height - 175)
            break;
        paintDrive(canvas, drive, row);
        row.y += rowPitch;
    }
}

} // namespace dm
