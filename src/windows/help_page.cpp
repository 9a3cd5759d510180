// The page that tells how a clean-up is done.
#include "ui/text.h"
#include "ui/theme.h"
#include "windows/page_parts.h"

#include <array>

namespace dm {

using ui::palette;

namespace {

struct Step {
    int glyph;
    const WChar *heading;
    const WChar *text;
};

constexpr std::array<Step, 3> steps = {{
    {2, W("1. Выполните анализ"),
     W("Приложение находит временные файлы старше 24 часов, кэш Chrome, Edge и Firefox,\n"
       "а также содержимое корзины. При анализе ничего не удаляется.")},
    {6, W("2. Выберите категории и просмотрите файлы"),
     W("Снимите флажки с ненужных категорий. В просмотре показаны полные пути и размеры.\n"
       "Открытые, изменённые и защищённые файлы, а также ссылки пропускаются.")},
    {0, W("3. Подтвердите очистку"),
     W("Для очистки корзины нужно отдельное подтверждение:\n"
       "её содержимое удаляется навсегда. Операцию можно отменить.\n"
       "Автоматической очистки нет; записи реестра, история браузера, файлы cookie и пароли не удаляются.")},
}};

void paintStep(ui::Canvas &canvas, const Step &step, const Box &row) {
    constexpr float tileSide = 38;
    constexpr float glyphSide = 21;
    constexpr float indent = 58;
    const Box tile = mirrored({row.x, row.y, tileSide, tileSide}, row);
    ui::fillRoundRect(canvas, tile.x, tile.y, tile.w, tile.h, 11, palette.accentTint, 0, 0);
    constexpr float inset = (tileSide - glyphSide) / 2;
    ui::drawGlyph(canvas, step.glyph, tile.x + inset, tile.y + inset, glyphSide, palette.accentColor);
    const Box column = mirrored({row.x + indent, row.y, row.w - indent, row.h}, row);
    queueLabel(step.heading, {column.x, column.y, column.w, tileSide}, 21, palette.textPrimary, boldText | middleText);
    queueLabel(step.text, {column.x, column.y + 46, column.w, row.h - 46}, 16, palette.textMuted, wrappedText);
}

} // namespace

void paintHelpPage(ui::Canvas &canvas, const ui::LayoutMetrics &metrics) {
    constexpr float margin = 26;
    constexpr float firstTop = 166;
    constexpr float pitch = 150;
    const Box card = wholeCard(metrics);
    drawCardBox(canvas, card);
    float top = firstTop;
    for (const Step &step : steps) {
        paintStep(canvas, step, {card.x + margin, top, card.w - 2 * margin, pitch});
        top += pitch;
    }
}

} // namespace dm
