// Draws everything that the program draws with into PNG sheets, to be looked at.
#include "canvas/scene.h"
#include "i18n/language.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/drawing_objects.h"
#include "ui/canvas.h"
#include "ui/main_view.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace dm::bench {

namespace {

using ui::Alignment;
using ui::Argb;
using ui::Canvas;
using ui::mixColor;
using ui::palette;

std::string folder;

/// The system's colours in high contrast, white on black.
constexpr ui::SystemLook highContrastSystem = {.highContrast = true,
                                               .animation = true,
                                               .lightApps = false,
                                               .window = 0xFF000000,
                                               .windowText = 0xFFFFFFFF,
                                               .highlight = 0xFF1AEBFF,
                                               .highlightText = 0xFF000000};

void useLook(std::string_view theme, std::string_view accent, const ui::SystemLook &system = {}) {
    const ui::Look look = ui::lookFor(theme, accent, system);
    palette = look.palette;
    ui::isDark = look.isDark;
    ui::highContrast = look.highContrast;
}

/// Paints a sheet of this size in DIPs at the current scale and stores it.
void makeSheet(const std::string &name, int width, int height, const std::function<void(HDC, float)> &paint) {
    const float scale = ui::mainView.uiScale;
    ui::BackBuffer buffer;
    const auto pixels = [scale](int dips) { return static_cast<int>(static_cast<float>(dips) * scale); };
    if (!ui::ensureBackBuffer(buffer, pixels(width), pixels(height)))
        throw std::runtime_error("no memory for " + name);
    ui::TextBatch batch(ui::textPainter);
    {
        const ui::BatchScope scope(batch);
        paint(buffer.dc, scale);
    }
    ui::drawBatch(batch, buffer.dc);
    char scaleText[16];
    std::snprintf(scaleText, sizeof(scaleText), "%.2f", static_cast<double>(scale));
    const std::string path = folder + '/' + name + '-' + scaleText + ".png";
    if (!platform::imageOf(buffer.bitmap).save(QString::fromStdString(path)))
        throw std::runtime_error("cannot write " + path);
    ui::releaseBackBuffer(buffer);
    std::printf("%s\n", path.c_str());
}

void fill(HDC dc, float scale, float x, float y, float width, float height, Argb color) {
    const auto pixels = [scale](float dips) { return static_cast<LONG>(std::lround(dips * scale)); };
    ui::fillRect(dc, {pixels(x), pixels(y), pixels(x + width), pixels(y + height)}, color);
}

void caption(WStringView text, float x, float y, Argb color) {
    ui::queueText(text, x, y, 200, 18, 11, color, false, Alignment::Leading, false, false, true);
}

/// Every primitive and glyph on a strip of the current look, 900 by 320.
void paintPrimitives(Canvas &canvas, float y, WStringView name) {
    caption(name, 10, y + 4, palette.textMuted);
    float x = 20;
    for (int index = 0; index <= 7; ++index) {
        ui::drawGlyph(canvas, index, x, y + 30, 22, palette.textPrimary);
        ui::drawGlyph(canvas, index, x, y + 66, 32, palette.accentText);
        ui::drawGlyph(canvas, index, x + 4, y + 112, 24, palette.textMuted);
        x += 48;
    }
    ui::fillRoundRect(canvas, 20, y + 150, 48, 48, 14, mixColor(palette.sidebarBackground, palette.accentColor, 0.27F),
                      0, 0);
    ui::drawBroom(canvas, 28, y + 158, 32, palette.sidebarText);
    ui::fillRoundRect(canvas, 84, y + 157, 33, 33, 10, palette.accentTint, 0, 0);
    ui::drawBroom(canvas, 90, y + 162, 23, palette.accentColor);
    ui::fillRoundRect(canvas, 140, y + 150, 120, 40, 11, palette.accentColor, palette.accentColor, 1);
    ui::fillRoundRect(canvas, 270, y + 150, 120, 40, 11, palette.cardBackground, palette.borderColor, 1);
    // Radii beyond half of a side, and ends that are nothing but round.
    ui::fillRoundRect(canvas, 20, y + 214, 60, 20, 100, palette.accentTint, palette.accentColor, 1);
    ui::fillRoundRect(canvas, 100, y + 204, 30, 30, 15, palette.fieldBackground, palette.textMuted, 2);
    ui::fillRoundRect(canvas, 150, y + 214, 43, 24, 12, palette.accentColor, 0, 0);
    ui::fillRoundRect(canvas, 172, y + 217, 18, 18, 9, palette.onAccent, 0, 0);
    ui::fillRoundRect(canvas, 210.5F, y + 210.5F, 60, 26, 1, palette.fieldBackground, palette.borderColor, 1);
    float barY = y + 252;
    for (const float fraction : {0.0F, 0.01F, 0.37F, 1.0F, 2.0F}) {
        ui::drawProgressBar(canvas, 20, barY, 370, fraction);
        barY += 13;
    }
    ui::drawCard(canvas, 420, y + 20, 220, 120);
    ui::drawTwoLines(W("Пропускать занятые файлы"), W("Открытые файлы пропускаются"), 440, y + 40, 180, 54, 14,
                     palette.textPrimary, palette.textMuted, true, true);
    ui::drawCard(canvas, 420, y + 160, 220, 120);
    ui::drawTwoLines(W("Временные файлы"), W("Файлы старше 24 часов"), 440, y + 170, 180, 43, 15, palette.textPrimary,
                     palette.textMuted, true, true);
    ui::queueText(W("& && a&b"), 440, y + 220, 180, 24, 14, palette.textPrimary, false, Alignment::Leading, false, true,
                  true);

    const Argb colors[] = {palette.windowBackground, palette.sidebarBackground, palette.cardBackground,
                           palette.fieldBackground,  palette.textPrimary,       palette.textMuted,
                           palette.borderColor,      palette.accentColor,       palette.accentText,
                           palette.accentTint,       palette.onAccent,          palette.sidebarText,
                           palette.sidebarMuted};
    float swatchX = 660;
    float swatchY = y + 24;
    for (const Argb color : colors) {
        ui::fillRoundRect(canvas, swatchX, swatchY, 50, 50, 8, color, palette.textMuted, 1);
        swatchX += 58;
        if (swatchX > 850) {
            swatchX = 660;
            swatchY += 58;
        }
    }
}

void makePrimitiveSheets() {
    constexpr int stripHeight = 320;
    const auto strip = [](HDC dc, float scale, float y, WStringView name) {
        fill(dc, scale, 0, y, 900, stripHeight, palette.windowBackground);
        Canvas canvas(dc, scale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
        paintPrimitives(canvas, y, name);
    };
    makeSheet("primitives", 900, 3 * stripHeight, [&](HDC dc, float scale) {
        useLook("light", "emerald");
        strip(dc, scale, 0, W("light, emerald"));
        useLook("dark", "emerald");
        strip(dc, scale, stripHeight, W("dark, emerald"));
        useLook("dark", "emerald", highContrastSystem);
        strip(dc, scale, 2 * stripHeight, W("high contrast"));
    });
}

/// The colours of an accent in use, 440 by 170.
void paintAccent(HDC dc, float scale, float x, float y, const WChar *label) {
    fill(dc, scale, x, y, 440, 170, palette.windowBackground);
    fill(dc, scale, x, y, 110, 170, palette.sidebarBackground);
    Canvas canvas(dc, scale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
    ui::fillRoundRect(canvas, x + 10, y + 12, 90, 50, 13,
                      mixColor(palette.sidebarBackground, palette.accentColor, 0.29F), 0, 0);
    ui::drawGlyph(canvas, 0, x + 18, y + 26, 22, palette.sidebarText);
    ui::queueText(label, x + 44, y + 12, 54, 50, 14, palette.sidebarText, true, Alignment::Leading, true, true, true);
    ui::drawGlyph(canvas, 4, x + 18, y + 82, 22, palette.sidebarMuted);
    ui::drawCard(canvas, x + 124, y + 12, 300, 140);
    ui::fillRoundRect(canvas, x + 140, y + 26, 130, 40, 11, palette.accentColor, palette.accentColor, 1);
    ui::queueText(W("Очистить"), x + 140, y + 26, 130, 40, 14, palette.onAccent, true, Alignment::Centered, true, true,
                  true);
    ui::fillRoundRect(canvas, x + 280, y + 26, 130, 40, 12, palette.accentTint, 0, 0);
    ui::queueText(W("Готово к анализу"), x + 286, y + 26, 118, 40, 12, palette.accentText, true, Alignment::Centered,
                  true, true, true);
    ui::queueText(W("Временные файлы"), x + 140, y + 74, 260, 24, 15, palette.textPrimary, true, Alignment::Leading,
                  true, true, true);
    ui::queueText(W("Файлы старше 24 часов"), x + 140, y + 98, 260, 20, 12, palette.textMuted, false,
                  Alignment::Leading, true, true, true);
    ui::drawProgressBar(canvas, x + 140, y + 128, 268, 0.6F);
}

void makeAccentSheets() {
    makeSheet("accents", 880, 6 * 170, [](HDC dc, float scale) {
        float y = 0;
        for (const ui::Accent &accent : ui::accents) {
            useLook("light", accent.setting);
            paintAccent(dc, scale, 0, y, accent.label);
            useLook("dark", accent.setting);
            paintAccent(dc, scale, 440, y, accent.label);
            y += 170;
        }
    });
}

/// What the texts of a language are like, 640 by 330: title, wrapped text, a button, the two lines of a row, sizes on
/// the other side, and what does not fit.
void paintLanguage(HDC dc, float scale, float x, float y, const LanguageChoice &language) {
    setLanguage(language.code);
    fill(dc, scale, x, y, 640, 330, palette.windowBackground);
    Canvas canvas(dc, scale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
    const auto text = [&](WStringView source, float left, float top, float width, float height, float size, bool bold,
                          Alignment alignment, bool centered, bool single) {
        ui::queueText(source, x + left, y + top, width, height, size, palette.textPrimary, bold, alignment, true,
                      centered, single);
    };
    ui::drawCard(canvas, x + 8, y + 8, 624, 310);
    text(WString(language.code.begin(), language.code.end()) + W(" · ") + WString(language.name), 24, 16, 300, 18, 11,
         false, Alignment::Leading, false, true);
    text(W("Очистка ПК"), 24, 36, 320, 46, 32, true, Alignment::Leading, false, true);
    text(W("Понятная очистка: сначала анализ, затем выбор"), 24, 84, 360, 35, 16, false, Alignment::Leading, false,
         true);
    text(W("Приложение находит временные файлы старше 24 часов, кэш Chrome, Edge и Firefox,\nа также содержимое "
           "корзины. При анализе ничего не удаляется."),
         24, 122, 400, 90, 16, false, Alignment::Leading, false, false);
    ui::fillRoundRect(canvas, x + 440, y + 30, 176, 46, 11, palette.accentColor, palette.accentColor, 1);
    ui::queueText(W("Переместить выбранное в корзину"), x + 452, y + 31, 152, 44, 14, palette.onAccent, true,
                  Alignment::Centered, true, true, true);
    ui::fillRoundRect(canvas, x + 440, y + 90, 176, 54, 12, palette.fieldBackground, palette.borderColor, 1);
    ui::drawTwoLines(W("Закрывать браузеры"), W("Только после подтверждения"), x + 451, y + 94, 154, 46, 14,
                     palette.textPrimary, palette.textMuted, true, true);
    ui::fillRoundRect(canvas, x + 440, y + 156, 176, 67, 12, palette.accentTint, 0, 0);
    text(W("История и пароли браузера сохраняются."), 452, 164, 152, 52, 13, false, Alignment::Leading, true, false);
    text(W("Можно освободить:"), 24, 226, 300, 30, 23, true, Alignment::Leading, false, true);
    text(W("Файлов:"), 440, 232, 176, 24, 15, true, Alignment::Trailing, true, true);
    text(W("Файлы можно восстановить из системной корзины. Безвозвратное удаление не используется."), 24, 262, 300, 20,
         10, false, Alignment::Leading, false, true);
    text(W("Файлы можно восстановить из системной корзины. Безвозвратное удаление не используется."), 24, 284, 140, 28,
         10, false, Alignment::Leading, false, false);
    text(W("Файлы можно восстановить из системной корзины. Безвозвратное удаление не используется."), 340, 262, 276, 50,
         20, false, Alignment::Centered, true, false);
}

void makeLanguageSheets() {
    useLook("light", "emerald");
    const std::vector<LanguageChoice> &languages = languageList();
    constexpr std::size_t perSheet = 7;
    for (std::size_t first = 1; first < languages.size(); first += perSheet) {
        const std::size_t end = std::min(first + perSheet, languages.size());
        makeSheet("languages-" + std::to_string(first / perSheet + 1), 1280, 4 * 330, [&](HDC dc, float scale) {
            fill(dc, scale, 0, 0, 1280, 4 * 330, palette.windowBackground);
            for (std::size_t index = first; index < end; ++index) {
                const auto place = static_cast<float>(index - first);
                const float row = std::floor(place / 2);
                paintLanguage(dc, scale, (place - 2 * row) * 640, row * 330, languages[index]);
            }
        });
    }
    setLanguage("en");
}

void makePageSheets() {
    for (const char *theme : {"light", "dark"}) {
        useLook(theme, "blue");
        for (const char *language : {"en", "ar"}) {
            setLanguage(language);
            const Scene scene = makeScene();
            makeSheet(std::string("page-") + theme + '-' + language, sceneWidth, sceneHeight,
                      [&](HDC dc, float scale) { paintScene(scene, dc, scale); });
        }
    }
    setLanguage("en");
}

void makeGallery() {
    ULONG_PTR token = 0;
    const Gdiplus::GdiplusStartupInput input;
    if (Gdiplus::GdiplusStartup(&token, &input, nullptr) != Gdiplus::Ok)
        throw std::runtime_error("GDI+ does not start");
    setLanguage("en");
    for (const float scale : {1.0F, 1.25F, 1.5F, 2.0F}) {
        ui::mainView.uiScale = scale;
        makePrimitiveSheets();
        makeAccentSheets();
        makeLanguageSheets();
        makePageSheets();
    }
    ui::releaseDrawing();
    Gdiplus::GdiplusShutdown(token);
}

} // namespace

} // namespace dm::bench

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: dustmere_gallery FOLDER\n");
        return 2;
    }
    dm::bench::folder = argv[1];
    try {
        const dm::platform::WindowSystem windows;
        dm::bench::makeGallery();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "dustmere_gallery: %s\n", error.what());
        return 1;
    }
    return 0;
}
