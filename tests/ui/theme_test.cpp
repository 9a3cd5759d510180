#include "ui/theme.h"

#include "i18n/language.h"
#include "pixels.h"
#include "ui/canvas.h"
#include "ui/main_view.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace dm::ui {

namespace {

constexpr SystemLook contrast = {.highContrast = true,
                                 .animation = true,
                                 .lightApps = false,
                                 .window = 0xFF000001,
                                 .windowText = 0xFF000002,
                                 .highlight = 0xFF000003,
                                 .highlightText = 0xFF000004};

TEST(Theme, MixesTowardsZero) {
    struct {
        Argb a, b;
        float t;
        Argb mixed;
    } const cases[] = {
        {0xFF000000, 0xFFFFFFFF, 0.5F, 0xFF7F7F7F},
        {0xFFFFFFFF, 0xFF000000, 0.5F, 0xFF7F7F7F},
        {0x00102030, 0x00405060, 0, 0xFF102030},
        {0x00102030, 0x00405060, 1, 0xFF405060},
        {0xFF102030, 0xFF405060, -3, 0xFF102030},
        {0xFF102030, 0xFF405060, 7, 0xFF405060},
        {0xFF102030, 0xFF405060, std::nanf(""), 0xFF405060},
    };
    for (const auto &[a, b, t, mixed] : cases)
        EXPECT_EQ(mixColor(a, b, t), mixed) << std::hex << a << ' ' << b << ' ' << t;
}

TEST(Theme, OnlyKnownSettingsAreDark) {
    struct {
        const char *theme;
        bool lightApps;
        bool dark;
    } const cases[] = {
        {"dark", true, true},   {"light", false, false}, {"system", true, false},  {"system", false, true},
        {"Dark", false, false}, {"", false, false},      {"System", false, false},
    };
    for (const auto &[theme, lightApps, dark] : cases)
        EXPECT_EQ(lookFor(theme, "blue", {.lightApps = lightApps}).isDark, dark) << theme;
}

TEST(Theme, PalettesAreReadableAndUnknownOnesAreEmerald) {
    const auto brightness = [](Argb color) {
        return 0.3 * (color >> 16 & 0xFF) + 0.59 * (color >> 8 & 0xFF) + 0.11 * (color & 0xFF);
    };
    for (const char *theme : {"dark", "light"}) {
        for (const Accent &accent : accents) {
            const Palette palette = lookFor(theme, accent.setting, {}).palette;
            EXPECT_EQ(palette.accentColor, accent.color);
            for (const Argb ground : {palette.windowBackground, palette.cardBackground, palette.fieldBackground}) {
                for (const Argb text : {palette.textPrimary, palette.textMuted, palette.accentText})
                    EXPECT_GT(std::abs(brightness(text) - brightness(ground)), 60) << theme << ' ' << accent.setting;
            }
        }
    }
    for (const char *unknown : {"", "VIOLET", "green"})
        EXPECT_EQ(lookFor("dark", unknown, {}).palette, lookFor("dark", "emerald", {}).palette) << unknown;
}

TEST(Theme, HighContrastTakesTheSystemsColours) {
    const Look look = lookFor("dark", "blue", contrast);
    EXPECT_TRUE(look.isDark && look.highContrast && look.reduceMotion);
    EXPECT_FALSE(lookFor("dark", "blue", {}).reduceMotion);
    EXPECT_TRUE(lookFor("dark", "blue", {.animation = false}).reduceMotion);
    const Palette &of = look.palette;
    for (const Argb ground :
         {of.windowBackground, of.sidebarBackground, of.cardBackground, of.fieldBackground, of.accentTint})
        EXPECT_EQ(ground, contrast.window);
    for (const Argb text :
         {of.textPrimary, of.textMuted, of.borderColor, of.accentText, of.sidebarText, of.sidebarMuted})
        EXPECT_EQ(text, contrast.windowText);
    EXPECT_EQ(of.accentColor, contrast.highlight);
    EXPECT_EQ(of.onAccent, contrast.highlightText);
}

class AppliedTheme : public test::DrawingTest {};

TEST_F(AppliedTheme, FontsFollowTheScale) {
    mainView.uiScale = 1.3F;
    textPainter.fonts.emplace(FontKey(), nullptr);
    rebuildFonts();
    EXPECT_EQ(platform::fontOf(controlFonts.baseFont).pixelSize(), 21);
    EXPECT_EQ(platform::fontOf(controlFonts.smallFont).pixelSize(), 17);
    EXPECT_TRUE(textPainter.fonts.empty());

    HFONT old = controlFonts.baseFont;
    mainView.uiScale = 0;
    rebuildFonts();
    EXPECT_EQ(platform::fontOf(controlFonts.smallFont).pixelSize(), 1) << "never less than a pixel";
    EXPECT_EQ(DeleteObject(old), FALSE) << "the old ones are gone";
    mainView.uiScale = 1.0e5F;
    old = controlFonts.baseFont;
    rebuildFonts();
    EXPECT_EQ(controlFonts.baseFont, old) << "what cannot be made leaves the old ones";
    mainView = {};
    releaseTheme();
}

TEST_F(AppliedTheme, BrushesFollowTheTheme) {
    mainView.settings.theme = "dark";
    mainView.settings.palette = "rose";
    applyTheme();
    EXPECT_EQ(palette, lookFor("dark", "rose", {}).palette);
    EXPECT_TRUE(isDark);
    EXPECT_EQ(platform::colorOf(themeBrushes.card), QColor::fromRgb(palette.cardBackground));

    HBRUSH old = themeBrushes.card;
    mainView.settings.theme = "light";
    applyTheme();
    EXPECT_FALSE(isDark);
    EXPECT_FALSE(platform::colorOf(old).isValid()) << "the old brush is gone";
    releaseTheme();
    mainView = {};
}

} // namespace

} // namespace dm::ui
