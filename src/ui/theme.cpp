#include "ui/theme.h"

#include "i18n/language.h"
#include "ui/canvas.h"
#include "ui/main_view.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace dm::ui {

MainView mainView;

Palette palette;
bool isDark = false;
bool highContrast = false;
bool reduceMotion = false;
ThemeBrushes themeBrushes;
ControlFonts controlFonts;

const std::array<Accent, 6> accents = {{
    {"emerald", W("Изумрудный"), 0xFF00864D},
    {"blue", W("Синий"), 0xFF236BDD},
    {"violet", W("Фиолетовый"), 0xFF7C4DD8},
    {"amber", W("Янтарный"), 0xFF9B6008},
    {"rose", W("Розовый"), 0xFFCA3767},
    {"teal", W("Бирюзовый"), 0xFF007981},
}};

namespace {

constexpr Argb white = 0xFFFFFFFF;
constexpr int languageListId = 180;

Argb accentNamed(std::string_view setting) {
    const auto is = [setting](const Accent &accent) { return accent.setting == setting; };
    const auto *found = std::find_if(accents.begin(), accents.end(), is);
    return (found == accents.end() ? accents.front() : *found).color;
}

Palette darkPalette(Argb accent) {
    return {
        .windowBackground = 0xFF0D141A,
        .sidebarBackground = 0xFF0A191D,
        .cardBackground = 0xFF161F27,
        .fieldBackground = 0xFF1C2831,
        .textPrimary = 0xFFE8F0F5,
        .textMuted = 0xFF98ADBB,
        .borderColor = 0xFF2E3D49,
        .accentColor = accent,
        .accentText = mixColor(accent, white, 0.45F),
        .accentTint = mixColor(0xFF161F27, accent, 0.18F),
        .onAccent = white,
        .sidebarText = 0xFFECF9F4,
        .sidebarMuted = 0xFF92B1AD,
    };
}

/// The sidebar stays dark, and so its texts are those of the dark palette.
Palette lightPalette(Argb accent) {
    return {
        .windowBackground = 0xFFF4F7F9,
        .sidebarBackground = mixColor(0xFF0A1C1C, accent, 0.12F),
        .cardBackground = white,
        .fieldBackground = 0xFFF8FAFB,
        .textPrimary = 0xFF15222F,
        .textMuted = 0xFF687B89,
        .borderColor = 0xFFDFE7EB,
        .accentColor = accent,
        .accentText = accent,
        .accentTint = mixColor(white, accent, 0.09F),
        .onAccent = white,
        .sidebarText = 0xFFECF9F4,
        .sidebarMuted = 0xFF92B1AD,
    };
}

Palette highContrastPalette(const SystemLook &system) {
    return {
        .windowBackground = system.window,
        .sidebarBackground = system.window,
        .cardBackground = system.window,
        .fieldBackground = system.window,
        .textPrimary = system.windowText,
        .textMuted = system.windowText,
        .borderColor = system.windowText,
        .accentColor = system.highlight,
        .accentText = system.windowText,
        .accentTint = system.window,
        .onAccent = system.highlightText,
        .sidebarText = system.windowText,
        .sidebarMuted = system.windowText,
    };
}

Argb systemColor(int index) {
    const COLORREF color = GetSysColor(index);
    return 0xFF000000U | static_cast<Argb>(GetRValue(color)) << 16 | static_cast<Argb>(GetGValue(color)) << 8 |
           GetBValue(color);
}

bool isSystemHighContrast() {
    HIGHCONTRASTW value = {};
    value.cbSize = sizeof(value);
    return SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof(value), &value, 0) != FALSE &&
           (value.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

bool isSystemAnimated() {
    BOOL value = TRUE;
    return SystemParametersInfoW(SPI_GETCLIENTAREAANIMATION, 0, &value, 0) == FALSE || value != FALSE;
}

bool areSystemAppsLight() {
    DWORD value = 1;
    DWORD size = sizeof(value);
    const LSTATUS status =
        RegGetValueW(HKEY_CURRENT_USER, W("Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize"),
                     W("AppsUseLightTheme"), RRF_RT_REG_DWORD, nullptr, &value, &size);
    return status != ERROR_SUCCESS || value != 0;
}

SystemLook systemLook() {
    return {
        .highContrast = isSystemHighContrast(),
        .animation = isSystemAnimated(),
        .lightApps = areSystemAppsLight(),
        .window = systemColor(COLOR_WINDOW),
        .windowText = systemColor(COLOR_WINDOWTEXT),
        .highlight = systemColor(COLOR_HIGHLIGHT),
        .highlightText = systemColor(COLOR_HIGHLIGHTTEXT),
    };
}

void replaceBrush(HBRUSH &brush, Argb color) {
    if (brush != nullptr)
        DeleteObject(brush);
    brush = CreateSolidBrush(toColorRef(color));
}

void deleteFonts(const ControlFonts &fonts) {
    for (HFONT font : {fonts.baseFont, fonts.headingFont, fonts.smallFont}) {
        if (font != nullptr)
            DeleteObject(font);
    }
}

int scaled(float dips) {
    return static_cast<int>(std::trunc(dips * mainView.uiScale + 0.5F));
}

HFONT makeControlFont(float size, int weight, DWORD quality) {
    return CreateFontW(-std::max(scaled(size), 1), 0, 0, 0, weight, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                       OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, quality, DEFAULT_PITCH | FF_DONTCARE,
                       currentInterfaceFont().c_str());
}

const WChar *familyForLanguage(const std::string &code) {
    if (code == "hi" || code == "bn")
        return W("Nirmala UI");
    if (code == "th")
        return W("Leelawadee UI");
    if (code == "zh")
        return W("Microsoft YaHei UI");
    if (code == "ja")
        return W("Yu Gothic UI");
    if (code == "ko")
        return W("Malgun Gothic");
    return W("Segoe UI");
}

bool isFamilyPresent(const WChar *name) {
    Gdiplus::GpFontFamily *family = nullptr;
    if (Gdiplus::DllExports::GdipCreateFontFamilyFromName(name, nullptr, &family) != Gdiplus::Ok)
        return false;
    Gdiplus::DllExports::GdipDeleteFontFamily(family);
    return true;
}

} // namespace

Argb mixColor(Argb a, Argb b, float t) {
    const float part = std::fmax(0.0F, std::fmin(t, 1.0F));
    Argb mixed = 0xFF000000;
    for (const int shift : {16, 8, 0}) {
        const auto from = static_cast<float>((a >> shift) & 0xFF);
        const auto to = static_cast<float>((b >> shift) & 0xFF);
        mixed |= static_cast<Argb>(from + (to - from) * part) << shift;
    }
    return mixed;
}

Look lookFor(std::string_view theme, std::string_view accent, const SystemLook &system) {
    Look look;
    look.highContrast = system.highContrast;
    look.reduceMotion = !system.animation || system.highContrast;
    look.isDark = theme == "dark" || (theme == "system" && !system.lightApps);
    const Argb color = accentNamed(accent);
    look.palette = look.isDark ? darkPalette(color) : lightPalette(color);
    if (system.highContrast)
        look.palette = highContrastPalette(system);
    return look;
}

void applyTheme() {
    const Look look = lookFor(mainView.settings.theme, mainView.settings.palette, systemLook());
    palette = look.palette;
    isDark = look.isDark;
    highContrast = look.highContrast;
    reduceMotion = look.reduceMotion;

    replaceBrush(themeBrushes.card, palette.cardBackground);
    replaceBrush(themeBrushes.window, palette.windowBackground);
    replaceBrush(themeBrushes.field, palette.fieldBackground);
    applyTitleBarTheme(nullptr);

    for (const auto &[id, control] : mainView.controls)
        invalidateView(control, nullptr);
    invalidateView(mainView.window, nullptr);
}

void applyTitleBarTheme(HWND window) {
    if (window == nullptr)
        window = mainView.window;
    if (window == nullptr)
        return;
    HMODULE library = LoadLibraryExW(W("dwmapi.dll"), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (library == nullptr)
        return;
    using SetWindowAttribute = HRESULT(WINAPI *)(HWND, DWORD, LPCVOID, DWORD);
    const auto setAttribute = reinterpret_cast<SetWindowAttribute>(
        reinterpret_cast<void (*)()>(GetProcAddress(library, "DwmSetWindowAttribute")));
    if (setAttribute != nullptr) {
        constexpr DWORD useImmersiveDarkMode = 20; // DWMWA_USE_IMMERSIVE_DARK_MODE, which older headers lack
        const BOOL dark = isDark && !highContrast ? TRUE : FALSE;
        setAttribute(window, useImmersiveDarkMode, &dark, sizeof(dark));
    }
    FreeLibrary(library);
}

void rebuildFonts() {
    const DWORD quality = systemFontQuality();
    const ControlFonts made = {
        .baseFont = makeControlFont(16, FW_NORMAL, quality),
        .headingFont = makeControlFont(17, FW_SEMIBOLD, quality),
        .smallFont = makeControlFont(13, FW_NORMAL, quality),
    };
    if (made.baseFont == nullptr || made.headingFont == nullptr || made.smallFont == nullptr) {
        deleteFonts(made);
        return;
    }

    const ControlFonts old = std::exchange(controlFonts, made);
    for (const auto &[id, control] : mainView.controls)
        SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(controlFonts.baseFont), FALSE);
    deleteFonts(old);
    resetFonts(textPainter);

    const auto list = mainView.controls.find(languageListId);
    if (list != mainView.controls.end()) {
        SendMessageW(list->second, CB_SETITEMHEIGHT, static_cast<WPARAM>(-1), scaled(31));
        SendMessageW(list->second, CB_SETITEMHEIGHT, 0, scaled(30));
    }
}

void releaseTheme() {
    for (HBRUSH brush : {themeBrushes.card, themeBrushes.window, themeBrushes.field}) {
        if (brush != nullptr)
            DeleteObject(brush);
    }
    themeBrushes = {};
    deleteFonts(std::exchange(controlFonts, {}));
}

const WString &interfaceFontFor(const std::string &languageCode) {
    static std::map<std::string, WString> families;
    const auto known = families.find(languageCode);
    if (known != families.end())
        return known->second;
    const WChar *family = familyForLanguage(languageCode);
    if (!isFamilyPresent(family))
        family = W("Segoe UI");
    return families.emplace(languageCode, family).first->second;
}

const WString &currentInterfaceFont() {
    return interfaceFontFor(std::string(currentLanguageCode()));
}

} // namespace dm::ui
