// How the large-files window looks: texts, places, paint.
#include "core/operations.h"
#include "i18n/language.h"
#include "ui/controls.h"
#include "ui/layout.h"
#include "ui/theme.h"
#include "windows/file_list.h"
#include "windows/large_files_data.h"
#include "windows/large_files_window.h"
#include "windows/secondary_window.h"

#include <algorithm>

namespace dm {
namespace {

constexpr const WChar *titleKey = W("Большие файлы");
constexpr const WChar *restoreNote =
    W("Файлы можно восстановить из системной корзины. Безвозвратное удаление не используется.");

void applyButtonTexts(HWND window) {
    const std::pair<int, const WChar *> texts[] = {
        {large_id::chooseFolder, W("Выбрать папку")},
        {large_id::search, W("Начать поиск")},
        {large_id::cancel, W("Отменить")},
        {large_id::move, W("Переместить выбранное в корзину")},
        {large_id::open, W("Открыть папку")},
    };
    for (const auto &[id, text] : texts)
        ui::setTextIfChanged(largeControl(window, id), tr(text));
}

void handOutFont(HWND window, HFONT font) {
    for (int id = large_id::folder; id <= large_id::open; ++id) {
        if (id != large_id::list)
            SendMessageW(largeControl(window, id), WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    }
    applyListLook(largeControl(window, large_id::list), font);
}

WString columnTitle(const LargeFilesData &data, LargeColumn column, const WChar *title) {
    if (data.order.column != column)
        return tr(title);
    return tr(title) + (data.order.ascending ? W(" ↑") : W(" ↓"));
}

void setHeaderTexts(HWND window, const LargeFilesData &data) {
    HWND list = largeControl(window, large_id::list);
    setColumnTitle(list, static_cast<int>(LargeColumn::Path), columnTitle(data, LargeColumn::Path, W("Полный путь")));
    setColumnTitle(list, static_cast<int>(LargeColumn::Size), columnTitle(data, LargeColumn::Size, W("Размер")));
}

/// In high contrast the field of the size has the colour of what it stands on.
void paintSizeOutline(ui::Canvas &canvas) {
    if (ui::highContrast)
        ui::fillRoundRect(canvas, 193, 184, 112, 33, 1, ui::palette.cardBackground, ui::palette.borderColor, 1);
}

void paintLargeBody(HWND window, const LargeFilesData &data, ui::Canvas &canvas, float width, float height) {
    using ui::palette;
    const WString title = tr(titleKey);
    paintSectionTile(canvas, 1, 181, title);
    paintSectionNote(canvas, tr(restoreNote), 120, 12);
    paintHeading(canvas, title, width, 40);
    paintSubheading(canvas, tr(W("Выберите папку или диск")), 76, width, 27);
    canvas.drawText(tr(W("Минимальный размер")), 194, 165, 160, 19, 12, palette.textMuted, false, false, false, false);
    canvas.drawText(tr(W("МБ")), 315, 187, 40, 25, 13, palette.textMuted, false, true, true, false);
    paintSizeOutline(canvas);
    paintPanel(canvas, 185, 228, width - 200, height - 326);
    const auto selected =
        static_cast<std::size_t>(SendMessageW(largeControl(window, large_id::list), LVM_GETSELECTEDCOUNT, 0, 0));
    const WString status =
        largeStatusText(operationState(), runsOwnOperation(window), data.hasResult ? &data.search : nullptr,
                        data.rows.displayOrder.size(), selected);
    canvas.drawText(status, 194, height - 95, width - 218, 34, 12, palette.textMuted, false, false, false, false);
}

struct ButtonColors {
    ui::Argb fill;
    ui::Argb border;
    ui::Argb text;
};

bool isPrimary(int id) {
    return id == large_id::search || id == large_id::move;
}

ButtonColors buttonColors(int id, UINT state) {
    using ui::palette;
    if ((state & ODS_DISABLED) != 0)
        return {palette.fieldBackground, palette.borderColor, palette.textMuted};
    if (!isPrimary(id))
        return {palette.cardBackground, palette.borderColor, palette.textPrimary};
    constexpr ui::Argb black = 0xFF000000;
    const ui::Argb fill =
        (state & ODS_SELECTED) != 0 ? ui::mixColor(palette.accentColor, black, 0.12F) : palette.accentColor;
    return {fill, fill, palette.onAccent};
}

void drawButton(ui::Canvas &canvas, float width, float height, int id, UINT state, const WString &text) {
    const ButtonColors colors = buttonColors(id, state);
    const float press = (state & ODS_SELECTED) != 0 ? 1.0F : 0.0F;
    ui::fillRoundRect(canvas, 1, 1 + press, width - 2, height - 2 - press, 10, colors.fill, colors.border, 1);
    canvas.drawText(text, 9, 1 + press, width - 18, height - 2 - press, 13, colors.text, isPrimary(id), true, true,
                    true);
    if ((state & ODS_FOCUS) != 0 && (state & ODS_NOFOCUSRECT) == 0)
        ui::drawFocusRing(canvas, 4, 4, width - 8, height - 8, 8, 1, ui::palette.textPrimary);
}

} // namespace

void sortAndFillList(HWND window, LargeFilesData &data, const std::vector<std::uint64_t> &keepSelected) {
    HWND list = largeControl(window, large_id::list);
    std::vector<bool> keep(data.search.entries.size());
    for (const std::uint64_t entry : keepSelected)
        keep[entry] = true;
    sortLargeRows(data.search.entries, data.order, data.rows.displayOrder);
    data.fillingList = true;
    setListCount(list, data.rows.displayOrder.size());
    clearListSelection(list);
    for (std::size_t row = 0; row < data.rows.displayOrder.size(); ++row) {
        if (keep[data.rows.displayOrder[row]])
            setRowSelected(list, row);
    }
    data.fillingList = false;
    setHeaderTexts(window, data);
    InvalidateRect(list, nullptr, FALSE);
}

void applyLargeWindowTexts(HWND window, LargeFilesData &data) {
    ++ui::paintGeneration;
    setWindowIcons(window);
    ui::applyTitleBarTheme(window);
    SetWindowTextW(window, (W("Dustmere — ") + tr(titleKey)).c_str());
    renewFont(data.listFont, data.scale, [window](HFONT font) { handOutFont(window, font); });
    applyButtonTexts(window);
    setHeaderTexts(window, data);
    SendMessageW(largeControl(window, large_id::folder), CB_SETITEMHEIGHT, static_cast<WPARAM>(-1),
                 ui::scaledPixels(27, data.scale));
    layoutLargeWindow(window, data);
    updateLargeControls(window);
    ui::invalidateView(window, nullptr);
}

void layoutLargeWindow(HWND window, const LargeFilesData &data) {
    RECT client = {};
    GetClientRect(window, &client);
    const float width = static_cast<float>(client.right) / data.scale;
    const float height = static_cast<float>(client.bottom) / data.scale;
    const float buttons = width - 228;
    const float moveWidth = std::min(0.65F * buttons, 375.0F);
    const struct {
        int id;
        float x, y, width, height;
    } places[] = {
        {large_id::folder, 194, 130, width - 360, 280}, // with its list open
        {large_id::chooseFolder, width - 156, 130, 132, 35},
        {large_id::minimumSize, 194, 185, 110, 31},
        {large_id::search, 365, 181, 178, 37},
        {large_id::cancel, 553, 181, 135, 37},
        {large_id::list, 194, 237, width - 218, std::max(height - 345, 1.0F)},
        {large_id::move, 194, height - 56, moveWidth, 37},
        {large_id::open, moveWidth + 204, height - 56, buttons - moveWidth, 37},
    };
    for (const auto &place : places) {
        ui::moveControl(largeControl(window, place.id), ui::scaledPixels(place.x, data.scale),
                        ui::scaledPixels(place.y, data.scale), ui::scaledPixels(place.width, data.scale),
                        ui::scaledPixels(place.height, data.scale));
    }
}

void paintLargeWindow(HWND window, LargeFilesData &data) {
    RECT client = {};
    GetClientRect(window, &client);
    const bool keepsSize = data.backBuffer.width == client.right && data.backBuffer.height == client.bottom;
    if (data.painting || (keepsSize && data.paintedGeneration == ui::paintGeneration) ||
        !ui::ensureBackBuffer(data.backBuffer, client.right, client.bottom))
        return;
    data.painting = true;
    const std::uint64_t generation = ui::paintGeneration;
    paintIntoBuffer(data.backBuffer, data.scale, [window, &data](ui::Canvas &canvas, float width, float height) {
        paintLargeBody(window, data, canvas, width, height);
    });
    data.paintedGeneration = generation;
    data.painting = false;
}

void drawLargeButton(HWND window, LargeFilesData &data, const DRAWITEMSTRUCT &item) {
    const RECT &rect = item.rcItem;
    ui::BackBuffer &buffer = data.buttonBuffers[static_cast<int>(item.CtlID)];
    if (!ui::ensureBackBuffer(buffer, rect.right - rect.left, rect.bottom - rect.top))
        return;
    paintLargeWindow(window, data);
    RECT beneath = {0, 0, buffer.width, buffer.height};
    MapWindowPoints(item.hwndItem, window, reinterpret_cast<POINT *>(&beneath), 2);
    ui::copyBackdrop(buffer, data.backBuffer, beneath, ui::palette.windowBackground);
    {
        ui::Canvas canvas(buffer.dc, data.scale, ui::currentInterfaceFont(), isRightToLeft(), ui::textPainter);
        drawButton(canvas, static_cast<float>(buffer.width) / data.scale,
                   static_cast<float>(buffer.height) / data.scale, static_cast<int>(item.CtlID), item.itemState,
                   ui::windowText(item.hwndItem));
    }
    BitBlt(item.hDC, rect.left, rect.top, buffer.width, buffer.height, buffer.dc, 0, 0, SRCCOPY);
}

} // namespace dm
