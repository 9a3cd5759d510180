// The page that a clean-up is done on.
#include "core/operations.h"
#include "i18n/format.h"
#include "i18n/language.h"
#include "platform/places.h"
#include "ui/animation.h"
#include "ui/controls.h"
#include "ui/text.h"
#include "ui/theme.h"
#include "windows/page_parts.h"

#include <algorithm>

namespace dm {

using ui::palette;

namespace {

constexpr int diskGlyph = 1;
constexpr int safetyGlyph = 5;
constexpr float cardGap = 20;

Box heroCard(const ui::LayoutMetrics &m) {
    return {m.contentLeft, m.cardsTop, m.leftColumnWidth, m.heroHeight};
}

Box diskCard(const ui::LayoutMetrics &m) {
    return {m.rightColumnLeft, m.cardsTop, m.rightColumnWidth, m.heroHeight};
}

Box listCard(const ui::LayoutMetrics &m) {
    return {m.contentLeft, m.cardsTop + m.heroHeight + cardGap, m.leftColumnWidth, m.listHeight};
}

Box optionsCard(const ui::LayoutMetrics &m) {
    return {m.rightColumnLeft, m.cardsTop + m.heroHeight + cardGap, m.rightColumnWidth, m.listHeight};
}

void paintCardHeading(WStringView source, const Box &card, float inset) {
    queueLabel(source, {card.x + inset, card.y + 19, card.w - 2 * inset, 28}, 20, palette.textPrimary, boldText);
}

/// What stands in the ring: the size of the selection, or what to do first.
void paintGaugeText(const Box &ring) {
    constexpr float margin = 20;
    const float width = ring.w - 2 * margin;
    const float middle = ring.y + ring.h / 2;
    if (operationState().hasScanResult) {
        queueFinished(formatSize(ui::selectedBytes()), {ring.x + margin, middle - 32, width, 42}, 27,
                      palette.textPrimary, boldText | middleText | centredText);
        queueLabel(W("к очистке"), {ring.x + margin, middle + 10, width, 24}, 14, palette.textMuted,
                   middleText | centredText);
        return;
    }
    queueLabel(W("Начните с анализа"), {ring.x + margin, middle - 54, width, 54}, 18, palette.textPrimary,
               boldText | wrappedText | middleText | centredText);
    queueLabel(W("Удаление только выбранного"), {ring.x + margin, middle + 4, width, 42}, 14, palette.textMuted,
               wrappedText | centredText);
}

void paintGauge(ui::Canvas &canvas, const Box &card) {
    constexpr float penWidth = 10;
    const float diameter = std::min(0.35F * card.w, 178.0F);
    const Box ring = {card.x + 26, card.y + (card.h - diameter) / 2, diameter, diameter};
    drawRing(canvas, ring.x, ring.y, diameter, penWidth, palette.borderColor);
    drawRingPart(canvas, ring.x, ring.y, diameter, penWidth, palette.accentColor, ui::gaugeValue());
    paintGaugeText(ring);
}

/// Which keeps number and unit on one line.
WString unbrokenSize(std::uint64_t bytes) {
    constexpr WChar noBreakSpace = 0xA0;
    WString size = formatSize(bytes);
    std::replace(size.begin(), size.end(), WChar{' '}, noBreakSpace);
    return size;
}

void paintFindings(const Box &card) {
    const ScanResult &scan = operationState().scanResult;
    const float left = card.x + 0.42F * card.w;
    const float width = 0.53F * card.w;
    const WString space = tr(W("Можно освободить:")) + W(" ") + unbrokenSize(ui::selectedBytes());
    queueFinished(space, {left, card.y + 29, width, 73}, 23, palette.textPrimary, boldText | wrappedText | middleText);
    const WString files = tr(W("Найдено файлов:")) + W(" ") + formatCount(scan.entries.size() + scan.recycleItems);
    queueFinished(files, {left, card.y + 105, width, 24}, 14, palette.textMuted);
}

void paintHero(ui::Canvas &canvas, const Box &card) {
    drawCardBox(canvas, card);
    paintGauge(canvas, card);
    paintFindings(card);
}

void paintDriveLine(ui::Canvas &canvas, const DriveInfo &drive, const Box &row) {
    constexpr float glyphSide = 24;
    const Box glyph = mirrored({row.x, row.y + (row.h - glyphSide) / 2, glyphSide, glyphSide}, row);
    ui::drawGlyph(canvas, diskGlyph, glyph.x, glyph.y, glyph.w, palette.textMuted);
    const Box text = mirrored({row.x + 36, row.y, row.w - 36, row.h}, row);
    ui::drawTwoLines(driveName(drive), spaceText(drive), text.x, text.y, text.w, text.h, 15, palette.textPrimary,
                     palette.textMuted, true, false);
}

/// The drive that the system is on, or else the first.
const DriveInfo &systemDriveOf(const std::vector<DriveInfo> &drives) {
    const WString root = systemDrive();
    const auto found =
        std::find_if(drives.begin(), drives.end(), [&root](const DriveInfo &drive) { return drive.root == root; });
    return found == drives.end() ? drives.front() : *found;
}

void paintDisk(ui::Canvas &canvas, const Box &card) {
    constexpr std::size_t mostDrives = 2;
    constexpr float rowHeight = 48;
    drawCardBox(canvas, card);
    paintCardHeading(W("Место на диске"), card, 20);
    const std::vector<DriveInfo> &drives = operationState().drives;
    const Box note = {card.x + 20, card.y + 64, card.w - 40, 22};
    if (drives.empty()) {
        queueLabel(W("Локальные диски недоступны."), note, 13, palette.textMuted);
        return;
    }
    const DriveInfo &system = systemDriveOf(drives);
    ui::drawProgressBar(canvas, card.x + 20, card.y + 49, card.w - 40, usedShare(system));
    queueFinished(freeText(system), note, 13, palette.textMuted);
    for (std::size_t row = 0; row < std::min(drives.size(), mostDrives); ++row) {
        const float top = card.y + 100 + static_cast<float>(row) * (rowHeight + 8);
        paintDriveLine(canvas, drives[row], {card.x + 20, top, card.w - 40, rowHeight});
    }
}

void paintOptions(ui::Canvas &canvas, const Box &card) {
    constexpr float glyphSide = 23;
    drawCardBox(canvas, card);
    paintCardHeading(W("Параметры очистки"), card, 20);
    const Box note = {card.x + 20, card.y + 210, card.w - 40, 67};
    ui::fillRoundRect(canvas, note.x, note.y, note.w, note.h, 12, palette.accentTint, 0, 0);
    const Box glyph = mirrored({note.x + 14, note.y + (note.h - glyphSide) / 2, glyphSide, glyphSide}, note);
    ui::drawGlyph(canvas, safetyGlyph, glyph.x, glyph.y, glyph.w, palette.accentColor);
    const float left = card.x + 68;
    const Box text = mirrored({left, note.y + 4, note.x + note.w - 12 - left, note.h - 8}, note);
    queueLabel(W("История и пароли браузера сохраняются."), text, 13, palette.textMuted, wrappedText | middleText);
}

} // namespace

void paintCleanupPage(ui::Canvas &canvas, const ui::LayoutMetrics &metrics) {
    paintHero(canvas, heroCard(metrics));
    paintDisk(canvas, diskCard(metrics));
    const Box list = listCard(metrics);
    drawCardBox(canvas, list);
    paintCardHeading(W("Что будет очищено"), list, 19);
    paintOptions(canvas, optionsCard(metrics));
}

} // namespace dm
