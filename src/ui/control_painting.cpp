// What each kind of control looks like.
#include "ui/controls.h"

#include "i18n/format.h"
#include "i18n/language.h"
#include "ui/main_view.h"

#include <array>
#include <cmath>
#include <memory>

using namespace Gdiplus::DllExports;

namespace dm::ui {
namespace {

constexpr Argb none = 0;
constexpr Argb black = 0xFF000000;
constexpr Argb white = 0xFFFFFFFF;

/// A control in the middle of being drawn, in DIPs.
struct Face {
    Canvas &canvas;
    int id;
    HWND window;
    float width;
    float height;
    float lift; ///< how far a pressed control sinks
    ControlColors colors;

    /// Where something of this width starts that stands at `x` in a language written from left to right.
    float at(float x, float w) const { return isRightToLeft() ? width - x - w : x; }
    float middle(float h) const { return (height - h) / 2; }
};

bool isCurrentPage(int id) {
    switch (id) {
    case id::cleanupPage:
        return mainView.currentPage == PageId::Cleanup;
    case id::diskPage:
        return mainView.currentPage == PageId::DiskSpace;
    case id::helpPage:
        return mainView.currentPage == PageId::Help;
    case id::settingsPage:
        return mainView.currentPage == PageId::Settings;
    default:
        return false;
    }
}

void drawCheckMark(Canvas &canvas, const std::array<float, 6> &at, Argb color, float width) {
    drawLine(canvas, at[0], at[1], at[2], at[3], color, width, true);
    drawLine(canvas, at[2], at[3], at[4], at[5], color, width, true);
}

void drawFrame(const Face &face, float radius) {
    fillRoundRect(face.canvas, 1, 1 + face.lift, face.width - 2, face.height - 2 - face.lift, radius, face.colors.fill,
                  face.colors.border, 1);
}

void drawButton(const Face &face) {
    drawFrame(face, 11);
    queueText(windowText(face.window), 12, 1 + face.lift, face.width - 24, face.height - 2 - face.lift, 14,
              face.colors.text, controlKind(face.id) == ControlKind::Primary, Alignment::Centered, false, true, true);
}

void drawNavigation(const Face &face) {
    const bool current = isCurrentPage(face.id);
    drawFrame(face, 13);
    constexpr float glyph = 22;
    drawGlyph(face.canvas, face.id - id::cleanupPage, face.at(15, glyph), face.middle(glyph) + face.lift, glyph,
              face.colors.text);
    const float textWidth = face.width - 58;
    queueText(windowText(face.window), face.at(49, textWidth), 1 + face.lift, textWidth, face.height - 2 - face.lift,
              15, face.colors.text, current, Alignment::Leading, false, true, true);
    if (current)
        fillRoundRect(face.canvas, face.at(3, 3), 17, 3, face.height - 34, 1.5F, palette.accentColor, none, 0);
}

void drawCheckBox(const Face &face, bool selected) {
    constexpr float box = 22;
    const float x = face.at(12, box);
    const float y = face.middle(box);
    const Argb fill = selected ? palette.accentColor : palette.fieldBackground;
    const Argb border = selected ? palette.accentColor : palette.borderColor;
    fillRoundRect(face.canvas, x, y, box, box, 6, fill, border, 1);
    if (selected)
        drawCheckMark(face.canvas, {x + 5, y + 10, x + 10, y + 15, x + 18, y + 6}, palette.onAccent, 2);
}

struct CategoryLook {
    const WChar *detail;
    int glyph;
};

CategoryLook categoryLook(int id) {
    switch (id) {
    case id::temporaryFiles:
        return {W("Файлы старше 24 часов"), 6};
    case id::browserCache:
        return {W("Chrome, Edge, Firefox"), 3};
    default:
        return {W("Удалённые файлы"), 7};
    }
}

void drawCategoryRow(const Face &face) {
    const CategoryLook look = categoryLook(face.id);
    fillRoundRect(face.canvas, 1, 1, face.width - 2, face.height - 2, 12, face.colors.fill, face.colors.border, 1);
    drawCheckBox(face, isCategorySelected(face.id));
    constexpr float glyph = 24;
    drawGlyph(face.canvas, look.glyph, face.at(45, glyph), face.middle(glyph), glyph, palette.textMuted);
    const float textWidth = face.width - 188;
    drawTwoLines(controlLabel(face.id), look.detail, face.at(79, textWidth), 4, textWidth, face.height - 8, 15,
                 face.colors.text, palette.textMuted, true, true);
    queueText(formatSize(categoryBytes(face.id)), face.at(face.width - 106, 93), 0, 93, face.height, 15,
              face.colors.text, true, Alignment::Trailing, false, true, true);
}

const WChar *toggleDetail(int id) {
    switch (id) {
    case id::closeBrowsers:
        return W("Только после подтверждения");
    case id::skipFilesInUse:
        if (isToggleOn(id))
            return W("Открытые файлы пропускаются");
        return mainView.currentPage == PageId::Cleanup ? W("Безопасный повтор")
                                                       : W("Безопасный повтор без принудительного удаления");
    case id::analytics:
        return W("Без путей к файлам, истории браузера и содержимого файлов");
    default:
        return W("Работает, пока открыто приложение");
    }
}

void drawSwitch(const Face &face) {
    constexpr float trackWidth = 43;
    constexpr float trackHeight = 24;
    constexpr float knob = 18;
    constexpr float travel = 19;
    const bool on = isToggleOn(face.id);
    const float x = face.at(face.width - 55, trackWidth);
    const float y = face.middle(trackHeight);
    const float level = reduceMotion ? (on ? 1.0F : 0.0F) : controlState(face.id).toggleLevel;
    const Argb track = on ? palette.accentColor : mixColor(palette.borderColor, palette.textMuted, 0.17F);
    fillRoundRect(face.canvas, x, y, trackWidth, trackHeight, 12, track, none, 0);
    fillRoundRect(face.canvas, x + 3 + travel * (isRightToLeft() ? 1 - level : level), y + 3, knob, knob, knob / 2,
                  palette.onAccent, none, 0);
}

void drawToggle(const Face &face) {
    constexpr float twoLineHeight = 40;
    fillRoundRect(face.canvas, 0, 0, face.width, face.height, 12, face.colors.fill, none, 0);
    drawSwitch(face);
    const WChar *title = controlLabel(face.id);
    const float w = face.width - 76;
    const float x = face.at(11, w);
    if (face.height >= twoLineHeight)
        drawTwoLines(title, toggleDetail(face.id), x, 4, w, face.height - 8, 14, face.colors.text, palette.textMuted,
                     true, true);
    else
        queueText(title, x, 4, w, face.height - 8, 14, face.colors.text, true, Alignment::Leading, true, true, true);
}

void drawSegment(const Face &face) {
    drawFrame(face, 10);
    queueText(windowText(face.window), 9, 1 + face.lift, face.width - 18, face.height - 2 - face.lift, 14,
              face.colors.text, isChosen(face.id), Alignment::Centered, false, true, true);
}

void drawSwatch(const Face &face) {
    const float w = face.width;
    const float h = face.height;
    const bool chosen = isChosen(face.id);
    fillRoundRect(face.canvas, 1, 2, w - 2, h - 4, 12, face.colors.fill, face.colors.border, chosen ? 2 : 1);
    fillRoundRect(face.canvas, 7, 8, w - 14, h - 16, 8, accentOf(face.id).color, none, 0);
    if (chosen)
        drawCheckMark(face.canvas, {0.31F * w, 0.49F * h, 0.46F * w, 0.63F * h, 0.7F * w, 0.37F * h}, white, 2.2F);
}

void drawKind(const Face &face) {
    switch (controlKind(face.id)) {
    case ControlKind::Navigation:
        drawNavigation(face);
        break;
    case ControlKind::CategoryRow:
        drawCategoryRow(face);
        break;
    case ControlKind::Toggle:
        drawToggle(face);
        break;
    case ControlKind::Segment:
        drawSegment(face);
        break;
    case ControlKind::Swatch:
        drawSwatch(face);
        break;
    default:
        drawButton(face);
        break;
    }
}

bool isActive(int id) {
    return isCurrentPage(id) || isCategorySelected(id) || isChosen(id);
}

/// On whole pixels.
float liftOf(float press) {
    constexpr float most = 1.2F;
    return std::trunc(most * press * mainView.uiScale + 0.5F) / mainView.uiScale;
}

void drawControl(const DRAWITEMSTRUCT &item) {
    const int id = static_cast<int>(item.CtlID);
    const ControlState &state = controlState(id);
    const bool pressed = (item.itemState & ODS_SELECTED) != 0;
    const bool disabled = (item.itemState & ODS_DISABLED) != 0;
    const float hover = reduceMotion ? (state.hot ? 1.0F : 0.0F) : state.hotLevel;
    const float press = reduceMotion ? (pressed ? 1.0F : 0.0F) : state.pressLevel;

    Canvas canvas(item.hDC, mainView.uiScale, currentInterfaceFont(), isRightToLeft(), textPainter);
    const Face face = {
        .canvas = canvas,
        .id = id,
        .window = item.hwndItem,
        .width = static_cast<float>(item.rcItem.right) / mainView.uiScale,
        .height = static_cast<float>(item.rcItem.bottom) / mainView.uiScale,
        .lift = liftOf(press),
        .colors = disabled ? disabledColors() : controlColors(id, isActive(id), hover, press),
    };
    drawKind(face);
    if ((item.itemState & ODS_FOCUS) != 0 && (item.itemState & ODS_NOFOCUSRECT) == 0) {
        drawFocusRing(canvas, 4, 4, face.width - 8, face.height - 8, 9, 1.5F,
                      highContrast ? palette.textPrimary : palette.accentColor);
    }
}

} // namespace

ControlColors controlColors(int id, bool active, float hover, float press) {
    const Palette &p = palette;
    switch (controlKind(id)) {
    case ControlKind::Primary: {
        const Argb fill = mixColor(p.accentColor, black, 0.14F * press);
        return {fill, fill, p.onAccent};
    }
    case ControlKind::Navigation: {
        const Argb fill = active ? mixColor(p.sidebarBackground, p.accentColor, 0.29F)
                                 : mixColor(p.sidebarBackground, p.sidebarText, 0.06F * hover);
        return {fill, fill, active ? p.sidebarText : p.sidebarMuted};
    }
    case ControlKind::CategoryRow:
        return {mixColor(p.fieldBackground, p.accentTint, 0.5F * hover),
                active ? mixColor(p.borderColor, p.accentColor, 0.3F) : p.borderColor, p.textPrimary};
    case ControlKind::Toggle:
        return {mixColor(p.cardBackground, p.accentTint, 0.35F * hover), none, p.textPrimary};
    case ControlKind::Segment:
        if (active)
            return {p.accentTint, p.accentColor, p.textPrimary};
        return {mixColor(p.cardBackground, p.accentTint, 0.4F * hover), p.borderColor, p.textMuted};
    case ControlKind::Swatch:
        return {p.cardBackground, active ? p.accentColor : mixColor(p.borderColor, accentOf(id).color, 0.5F * hover),
                p.textPrimary};
    default:
        return {mixColor(p.cardBackground, p.accentTint, 0.8F * hover), p.borderColor, p.textPrimary};
    }
}

ControlColors disabledColors() {
    return {mixColor(palette.cardBackground, palette.windowBackground, 0.65F), palette.borderColor, palette.textMuted};
}

void paintOwnerDrawControl(const DRAWITEMSTRUCT &item) {
    const LONG width = item.rcItem.right - item.rcItem.left;
    const LONG height = item.rcItem.bottom - item.rcItem.top;
    if (width <= 0 || height <= 0)
        return;
    if (item.CtlType == ODT_COMBOBOX) {
        drawLanguageItem(item);
        return;
    }
    paintOverBackdrop(item.hwndItem, item.hDC, item.rcItem, [&item, width, height](HDC buffer) {
        DRAWITEMSTRUCT inBuffer = item;
        inBuffer.hDC = buffer;
        inBuffer.rcItem = {0, 0, width, height};
        drawControl(inBuffer);
    });
}

void paintOverBackdrop(HWND control, HDC dc, const RECT &rect, const std::function<void(HDC)> &draw) {
    BackBuffer &buffer = controlBuffers[control];
    if (!ensureBackBuffer(buffer, rect.right - rect.left, rect.bottom - rect.top))
        return;
    renderMainBuffer();
    RECT inParent = {};
    GetClientRect(control, &inParent);
    MapWindowPoints(control, mainView.window, reinterpret_cast<POINT *>(&inParent), 2);
    copyBackdrop(buffer, mainBuffer, inParent, palette.windowBackground);

    TextBatch batch(textPainter);
    {
        const BatchScope scope(batch);
        draw(buffer.dc);
    }
    drawBatch(batch, buffer.dc);
    BitBlt(dc, rect.left, rect.top, buffer.width, buffer.height, buffer.dc, 0, 0, SRCCOPY);
}

void forgetControlBuffer(HWND control) {
    const auto buffer = controlBuffers.find(control);
    if (buffer == controlBuffers.end())
        return;
    releaseBackBuffer(buffer->second);
    controlBuffers.erase(buffer);
}

void drawFocusRing(Canvas &canvas, float x, float y, float w, float h, float r, float penWidth, Argb color) {
    Graphics &graphics = canvas.graphics();
    Gdiplus::GpPath *path = nullptr;
    graphics.note(GdipCreatePath(Gdiplus::FillModeAlternate, &path));
    const std::unique_ptr<Gdiplus::GpPath, decltype(&GdipDeletePath)> pathOwner(path, GdipDeletePath);
    addRoundRectPath(path, x, y, w, h, r);
    Gdiplus::GpPen *pen = nullptr;
    graphics.note(GdipCreatePen1(color, penWidth, Gdiplus::UnitWorld, &pen));
    const std::unique_ptr<Gdiplus::GpPen, decltype(&GdipDeletePen)> penOwner(pen, GdipDeletePen);
    graphics.note(GdipSetPenDashStyle(pen, Gdiplus::DashStyleDot));
    graphics.note(GdipDrawPath(graphics.object, pen, path));
}

} // namespace dm::ui
