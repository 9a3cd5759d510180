// How the widget looks. Nobody but the widget paints: a layered window shows what it is given, buttons included.
#include "core/operations.h"
#include "core/version.h"
#include "i18n/format.h"
#include "i18n/language.h"
#include "ui/controls.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/page_parts.h"
#include "windows/path_text.h"
#include "windows/widget_data.h"
#include "windows/widget_shape.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <span>

using namespace Gdiplus::DllExports;

namespace dm {
namespace {

using ui::palette;

constexpr float rowHeight = 52;

void paintHead(ui::Canvas &canvas, float width, float height) {
    ui::fillRoundRect(canvas, 0.5F, 0.5F, width - 1, height - 1, 17, palette.cardBackground, palette.borderColor, 1);
    ui::fillRoundRect(canvas, 20, 19, 33, 33, 10, palette.accentTint, 0, 0);
    ui::drawBroom(canvas, 26, 24, 23, palette.accentColor);
    canvas.drawText(productName, 64, 19, width - 84, 31, 22, palette.textPrimary, true, true, true, false);
    canvas.drawText(tr(W("Работает, пока открыто приложение")), 20, 64, width - 40, 24, 12, palette.textMuted, false,
                    false, true, false);
    ui::drawLine(canvas, 20, widgetCaptionHeight, width - 20, widgetCaptionHeight, palette.borderColor, 1, false);
}

void paintFigure(ui::Canvas &canvas, float width) {
    const OperationState &state = operationState();
    const WidgetFigure figure = widgetFigure(state, ui::selectedBytes());
    canvas.drawText(figure.figure, 20, 108, width - 40, 42, 27, palette.textPrimary, true, true, true, false);
    canvas.drawText(figure.note, 20, 153, width - 40, 24, 13, palette.textMuted, false, false, true, false);
    if (state.busy && state.total != 0) {
        const float part = static_cast<float>(state.processed) / static_cast<float>(state.total);
        ui::drawProgressBar(canvas, 20, 181, width - 40, std::min(part, 1.0F));
    }
}

/// A ring, filled clockwise from the top.
void paintRing(ui::Canvas &canvas, float x, float y, float used) {
    constexpr float diameter = 35;
    constexpr float penWidth = 3;
    ui::Graphics &graphics = canvas.graphics();
    Gdiplus::GpPen *pen = nullptr;
    graphics.note(GdipCreatePen1(palette.borderColor, penWidth, Gdiplus::UnitWorld, &pen));
    const std::unique_ptr<Gdiplus::GpPen, decltype(&GdipDeletePen)> ringOwner(pen, GdipDeletePen);
    graphics.note(GdipDrawEllipse(graphics.object, pen, x, y, diameter, diameter));

    Gdiplus::GpPen *arcPen = nullptr;
    graphics.note(GdipCreatePen1(palette.accentColor, penWidth, Gdiplus::UnitWorld, &arcPen));
    const std::unique_ptr<Gdiplus::GpPen, decltype(&GdipDeletePen)> arcOwner(arcPen, GdipDeletePen);
    graphics.note(GdipSetPenStartCap(arcPen, Gdiplus::LineCapRound));
    graphics.note(GdipSetPenEndCap(arcPen, Gdiplus::LineCapRound));
    if (used >= 1)
        graphics.note(GdipDrawEllipse(graphics.object, arcPen, x, y, diameter, diameter));
    else
        graphics.note(GdipDrawArc(graphics.object, arcPen, x, y, diameter, diameter, -90, 360 * used));
}

void paintDrive(ui::Canvas &canvas, const DriveInfo &drive, float y, float width) {
    const float used = usedShare(drive);
    paintRing(canvas, 22, y + 5, used);
    canvas.drawText(formatCount(static_cast<std::uint64_t>(std::lround(used * 100))) + W("%"), 22, y + 5, 35, 35, 10,
                    palette.textPrimary, true, true, true, true);
    canvas.drawText(pathCell(drive.root), 72, y + 1, width - 92, 22, 14, palette.textPrimary, true, false, true, false);
    const WString detail = tr(W("Свободно")) + W(" ") + formatSize(drive.freeBytes) + W(" · ") + tr(W("Занято")) +
                           W(" ") + formatSize(drive.totalBytes - std::min(drive.freeBytes, drive.totalBytes));
    canvas.drawText(detail, 72, y + 23, width - 92, 20, 11, palette.textMuted, false, false, true, false);
}

void paintScrollBar(ui::Canvas &canvas, const WidgetData &data, std::size_t drives, float width) {
    const float x = width - 9;
    const float track = rowHeight * static_cast<float>(data.visibleRows) - 8;
    ui::fillRoundRect(canvas, x, 230, 3, track, 1.5F, palette.borderColor, 0, 0);
    ui::fillRoundRect(canvas, x, scrollThumbTop(data.firstRow, drives, data.visibleRows), 3, 18, 1.5F,
                      palette.accentColor, 0, 0);
}

void paintDrives(ui::Canvas &canvas, const WidgetData &data, float width) {
    const std::vector<DriveInfo> &drives = operationState().drives;
    canvas.drawText(tr(W("Все локальные диски")), 20, 195, width - 40, 24, 14, palette.textPrimary, true, false, true,
                    false);
    if (drives.empty()) {
        canvas.drawText(tr(W("Локальные диски недоступны.")), 20, 230, width - 40, 22, 12, palette.textMuted, false,
                        false, true, false);
        return;
    }
    for (int row = 0; row < data.visibleRows; ++row) {
        const int drive = data.firstRow + row;
        if (drive < static_cast<int>(drives.size()))
            paintDrive(canvas, drives[static_cast<std::size_t>(drive)], 229 + rowHeight * static_cast<float>(row),
                       width);
    }
    if (drives.size() > static_cast<std::size_t>(data.visibleRows))
        paintScrollBar(canvas, data, drives.size(), width);
}

struct ButtonColors {
    ui::Argb fill;
    ui::Argb border;
    ui::Argb text;
};

ButtonColors buttonColors(int id, const WidgetButton &state, bool enabled) {
    if (!enabled)
        return {palette.fieldBackground, palette.borderColor, palette.textMuted};
    if (id != widget_id::scan) {
        const float hover = state.hot ? 0.8F : 0.0F;
        return {ui::mixColor(palette.cardBackground, palette.accentTint, hover), palette.borderColor,
                palette.textPrimary};
    }
    constexpr ui::Argb black = 0xFF000000;
    const ui::Argb fill = state.pressed ? ui::mixColor(palette.accentColor, black, 0.12F) : palette.accentColor;
    return {fill, fill, palette.onAccent};
}

void drawButton(ui::Canvas &canvas, HWND button, int id, const WidgetButton &state, float width, float height) {
    const ButtonColors colors = buttonColors(id, state, IsWindowEnabled(button) != FALSE);
    const float press = state.pressed ? 1.0F : 0.0F;
    ui::fillRoundRect(canvas, 1, 1 + press, width - 2, height - 2 - press, 10, colors.fill, colors.border, 1);
    canvas.drawText(ui::windowText(button), 9, 1 + press, width - 18, height - 2 - press, 13, colors.text,
                    id == widget_id::scan, true, true, true);
    if (GetFocus() == button)
        ui::drawFocusRing(canvas, 4, 4, width - 8, height - 8, 8, 1.5F, palette.textPrimary);
}

void paintButton(HWND window, WidgetData &data, int index) {
    const int id = widget_id::open + index;
    HWND button = GetDlgItem(window, id);
    const SIZE size = clientSize(button);
    ui::BackBuffer &buffer = data.buttonBuffers[static_cast<std::size_t>(index)];
    if (!ui::ensureBackBuffer(buffer, size.cx, size.cy))
        return;
    RECT place = {0, 0, size.cx, size.cy};
    MapWindowPoints(button, window, reinterpret_cast<POINT *>(&place), 2);
    ui::copyBackdrop(buffer, data.buffer, place, palette.cardBackground);
    {
        ui::Canvas canvas(buffer.dc, data.scale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
        drawButton(canvas, button, id, data.buttonState[static_cast<std::size_t>(index)],
                   static_cast<float>(size.cx) / data.scale, static_cast<float>(size.cy) / data.scale);
    }
    BitBlt(data.buffer.dc, place.left, place.top, size.cx, size.cy, buffer.dc, 0, 0, SRCCOPY);
}

void paintBuffer(HWND window, WidgetData &data) {
    ui::fillRect(data.buffer.dc, {0, 0, data.buffer.width, data.buffer.height}, palette.cardBackground);
    {
        const float width = static_cast<float>(data.buffer.width) / data.scale;
        const float height = static_cast<float>(data.buffer.height) / data.scale;
        ui::Canvas canvas(data.buffer.dc, data.scale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
        paintHead(canvas, width, height);
        paintFigure(canvas, width);
        paintDrives(canvas, data, width);
    }
    for (int index = 0; index < widgetButtonCount; ++index)
        paintButton(window, data, index);
    GdiFlush();
}

void shapeBuffer(const WidgetData &data) {
    SIZE size = {data.buffer.width, data.buffer.height};
    const std::span pixels(static_cast<std::uint32_t *>(data.buffer.bits),
                           static_cast<std::size_t>(size.cx) * static_cast<std::size_t>(size.cy));
    shapePixels(pixels, size, cornerRadius(size, data.scale, ui::highContrast), ui::mainView.settings.widgetOpacity);
}

void showLayer(HWND window, const WidgetData &data) {
    SIZE size = {data.buffer.width, data.buffer.height};
    POINT origin = {0, 0};
    BLENDFUNCTION blend = {};
    blend.BlendOp = AC_SRC_OVER;
    blend.SourceConstantAlpha = 255;
    blend.AlphaFormat = AC_SRC_ALPHA;
    UpdateLayeredWindow(window, nullptr, nullptr, &size, data.buffer.dc, &origin, 0, &blend, ULW_ALPHA);
}

} // namespace

SIZE clientSize(HWND window) {
    RECT client = {};
    GetClientRect(window, &client);
    return {client.right, client.bottom};
}

void paintWidget(HWND window, WidgetData &data) {
    PAINTSTRUCT paint = {};
    BeginPaint(window, &paint);
    const SIZE size = clientSize(window);
    if (ui::ensureBackBuffer(data.buffer, size.cx, size.cy)) {
        paintBuffer(window, data);
        shapeBuffer(data);
        showLayer(window, data);
    }
    EndPaint(window, &paint);
}

} // namespace dm
