#include "canvas/scene.h"

#include "i18n/language.h"

#include <cmath>

namespace dm::bench {

namespace {

using ui::Alignment;
using ui::Argb;
using ui::mixColor;
using ui::palette;

constexpr float contentLeft = 250;
constexpr float leftWidth = 650;
constexpr float rightLeft = contentLeft + leftWidth + 20;
constexpr float rightWidth = 350;
constexpr float top = 134;
constexpr float lowerTop = top + 268 + 20;

class Maker {
public:
    Scene make() {
        sidebar();
        header();
        hero();
        drives();
        categories();
        options();
        log();
        return std::move(scene_);
    }

private:
    void box(float x, float y, float width, float height, float radius, Argb fill, Argb border = 0) {
        scene_.boxes.push_back({x, y, width, height, radius, fill, border, border == 0 ? 0.0F : 1.0F});
    }
    void card(float x, float y, float width, float height) {
        box(x, y + 3, width, height, 16, mixColor(palette.windowBackground, palette.borderColor, 0.14F));
        box(x, y, width, height, 16, palette.cardBackground, palette.borderColor);
    }
    void bar(float x, float y, float width, float part) {
        box(x, y, width, 8, 4, palette.fieldBackground);
        box(x, y, width * part, 8, 4, palette.accentColor);
    }
    void line(WStringView text, float x, float y, float width, float size, Argb color, bool bold = false,
              Alignment alignment = Alignment::Leading) {
        scene_.texts.push_back({tr(text), x, y, width, size * 1.6F, size, color, bold, true, alignment});
    }
    void wrapped(WStringView text, float x, float y, float width, float height, float size, Argb color) {
        scene_.texts.push_back({tr(text), x, y, width, height, size, color, false, false, Alignment::Leading});
    }
    void glyph(float x, float y, float size, Argb color) { scene_.glyphs.push_back({x, y, size, color}); }

    void sidebar() {
        box(0, 0, sceneWidth, sceneHeight, 0, palette.windowBackground);
        box(0, 0, 230, sceneHeight, 0, palette.sidebarBackground);
        box(22, 40, 48, 48, 14, mixColor(palette.sidebarBackground, palette.accentColor, 0.27F));
        glyph(31, 48, 32, palette.sidebarText);
        line(W("Dustmere"), 83, 36, 145, 25, palette.sidebarText, true);
        line(W("1.2.0 · Linux"), 84, 73, 140, 12, palette.sidebarMuted);
        line(W("Очистка по вашим правилам"), 22, 108, 188, 13, palette.sidebarMuted);
        const WStringView pages[] = {W("Очистка ПК"), W("Место на диске"), W("Справка"), W("Наш сайт"), W("Настройки")};
        float y = 152;
        for (const WStringView page : pages) {
            box(15, y, 200, 50, 13, mixColor(palette.sidebarBackground, palette.accentColor, 0.29F));
            glyph(29, y + 14, 22, palette.sidebarText);
            line(page, 63, y + 13, 144, 15, palette.sidebarText, y == 152);
            y += 62;
        }
        line(W("Безопасная очистка"), 24, 635, 188, 13, palette.sidebarMuted);
    }

    void header() {
        line(W("Очистка ПК"), contentLeft + 2, 32, 700, 32, palette.textPrimary, true);
        line(W("Освободите место на компьютере"), contentLeft + 2, 83, 700, 16, palette.textMuted);
        box(sceneWidth - 218, 35, 189, 32, 12, palette.accentTint);
        line(W("Готово к анализу"), sceneWidth - 190, 43, 152, 12, palette.accentText, true);
    }

    void hero() {
        card(contentLeft, top, leftWidth, 268);
        line(W("1,86 GB"), contentLeft + 26, top + 90, 178, 27, palette.textPrimary, true, Alignment::Centered);
        line(W("к очистке"), contentLeft + 26, top + 132, 178, 14, palette.textMuted, false, Alignment::Centered);
        line(W("Можно освободить:"), contentLeft + 273, top + 29, 344, 23, palette.textPrimary, true);
        line(W("Найдено файлов:"), contentLeft + 273, top + 105, 344, 14, palette.textMuted);
        box(contentLeft + 274, top + 149, 342, 46, 11, palette.accentColor, palette.accentColor);
        line(W("Очистить"), contentLeft + 286, top + 160, 318, 14, palette.onAccent, true, Alignment::Centered);
        box(contentLeft + 274, top + 206, 342, 38, 11, palette.cardBackground, palette.borderColor);
        line(W("Повторить анализ"), contentLeft + 286, top + 213, 318, 14, palette.textPrimary, false,
             Alignment::Centered);
    }

    void drives() {
        card(rightLeft, top, rightWidth, 268);
        line(W("Место на диске"), rightLeft + 20, top + 19, rightWidth - 40, 20, palette.textPrimary, true);
        bar(rightLeft + 20, top + 60, rightWidth - 40, 0.6F);
        for (int drive = 0; drive < 3; ++drive) {
            const float y = top + 80 + 45 * static_cast<float>(drive);
            glyph(rightLeft + 20, y, 22, palette.textMuted);
            line(W("/home"), rightLeft + 52, y, 200, 15, palette.textPrimary, true);
            line(W("свободно"), rightLeft + 52, y + 22, 200, 13, palette.textMuted);
            line(W("128 GB"), rightLeft + 250, y, 80, 13, palette.textMuted, false, Alignment::Trailing);
        }
    }

    void categories() {
        card(contentLeft, lowerTop, leftWidth, 310);
        line(W("Что будет очищено"), contentLeft + 19, lowerTop + 19, leftWidth - 38, 20, palette.textPrimary, true);
        const WStringView rows[][2] = {{W("Временные файлы"), W("Файлы старше 24 часов")},
                                       {W("Кэш браузеров"), W("Chrome, Edge, Firefox")},
                                       {W("Корзина"), W("Удалённые файлы")},
                                       {W("Большие файлы"), W("Поиск ещё не выполнялся")}};
        float y = lowerTop + 64;
        for (const auto &[title, detail] : rows) {
            box(contentLeft + 19, y, leftWidth - 38, 49, 12, palette.fieldBackground, palette.borderColor);
            box(contentLeft + 30, y + 14, 22, 22, 6, palette.accentColor, palette.accentColor);
            glyph(contentLeft + 63, y + 13, 24, palette.textMuted);
            line(title, contentLeft + 97, y + 4, leftWidth - 230, 15, palette.textPrimary, true);
            line(detail, contentLeft + 97, y + 26, leftWidth - 230, 12, palette.textMuted);
            line(W("620 MB"), contentLeft + leftWidth - 125, y + 14, 93, 15, palette.textPrimary, true,
                 Alignment::Trailing);
            y += 57;
        }
    }

    void options() {
        card(rightLeft, lowerTop, rightWidth, 310);
        line(W("Параметры очистки"), rightLeft + 20, lowerTop + 19, rightWidth - 40, 20, palette.textPrimary, true);
        const WStringView rows[][2] = {{W("Пропускать занятые файлы"), W("Открытые файлы пропускаются")},
                                       {W("Закрывать браузеры"), W("Только после подтверждения")},
                                       {W("Виджет на рабочем столе"), W("Работает, пока открыто приложение")}};
        float y = lowerTop + 61;
        for (const auto &[title, detail] : rows) {
            line(title, rightLeft + 29, y + 4, rightWidth - 112, 14, palette.textPrimary, true);
            line(detail, rightLeft + 29, y + 25, rightWidth - 112, 12, palette.textMuted);
            box(rightLeft + rightWidth - 73, y + 15, 43, 24, 12, palette.accentColor);
            box(rightLeft + rightWidth - 51, y + 18, 18, 18, 9, palette.onAccent);
            y += 59;
        }
        box(rightLeft + 20, lowerTop + 232, rightWidth - 40, 67, 12, palette.accentTint);
        wrapped(W("История и пароли браузера сохраняются."), rightLeft + 68, lowerTop + 240, rightWidth - 110, 52, 13,
                palette.textMuted);
    }

    /// As many short lines as are missing.
    void log() {
        constexpr std::size_t wanted = 60;
        float y = 745;
        while (scene_.texts.size() < wanted) {
            line(W("Временные файлы"), contentLeft + 4, y, 320, 13, palette.textMuted);
            y += 20;
        }
    }

    Scene scene_;
};

} // namespace

Scene makeScene() {
    return Maker().make();
}

void paintScene(const Scene &scene, HDC dc, float scale) {
    ui::Canvas canvas(dc, scale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
    for (const SceneBox &box : scene.boxes) {
        if (box.radius > 0) {
            ui::fillRoundRect(canvas, box.x, box.y, box.width, box.height, box.radius, box.fill, box.border,
                              box.borderWidth);
            continue;
        }
        const auto pixels = [scale](float dips) { return static_cast<LONG>(std::lround(dips * scale)); };
        ui::fillRect(dc, {pixels(box.x), pixels(box.y), pixels(box.x + box.width), pixels(box.y + box.height)},
                     box.fill);
    }
    for (const SceneGlyph &glyph : scene.glyphs)
        ui::drawGlyph(canvas, 6, glyph.x, glyph.y, glyph.size, glyph.color);
    for (const SceneText &text : scene.texts)
        ui::queueText(text.text, text.x, text.y, text.width, text.height, text.size, text.color, text.bold,
                      text.alignment, false, false, text.singleLine);
}

} // namespace dm::bench
