#include "windows/file_list.h"

#include "core/entry.h"
#include "i18n/language.h"
#include "ui/layout.h"
#include "ui/list_view.h"
#include "ui/theme.h"
#include "windows/secondary_window.h"

#include <array>
#include <cmath>

namespace dm {
namespace {

HWND headerOf(HWND list) {
    return reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
}

void setRowState(HWND list, WPARAM row, UINT state, UINT mask) {
    LVITEMW item = {};
    item.state = state;
    item.stateMask = mask;
    SendMessageW(list, LVM_SETITEMSTATE, row, reinterpret_cast<LPARAM>(&item));
}

WString headerText(HWND header, int column) {
    std::array<WChar, 128> text{};
    HDITEMW item = {};
    item.mask = HDI_TEXT;
    item.pszText = text.data();
    item.cchTextMax = static_cast<int>(text.size());
    SendMessageW(header, HDM_GETITEMW, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&item));
    return item.pszText;
}

void drawColumnTitle(const ui::BackBuffer &buffer, const WString &title, float scale) {
    const int margin = ui::scaledPixels(10, scale);
    ui::TextRun run;
    run.text = title;
    run.fontFamily = ui::currentInterfaceFont();
    run.rect = {margin, 0, buffer.width - margin, buffer.height};
    run.color = ui::toColorRef(ui::palette.textPrimary);
    run.pixelSize = ui::scaledPixels(14, scale);
    run.minPixelSize = ui::scaledPixels(12, scale);
    run.centerVertically = true;
    run.singleLine = true;
    run.drawFlags = isRightToLeft() ? DT_RIGHT | DT_RTLREADING : DT_LEFT;
    ui::drawTextRun(ui::textPainter, buffer.dc, run);
}

} // namespace

HWND createList(HWND parent, int id) {
    HWND list = CreateWindowExW(
        0, W("SysListView32"), W(""),
        WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_TABSTOP | LVS_REPORT | LVS_SHOWSELALWAYS | LVS_OWNERDATA, 0, 0, 0,
        0, parent, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), moduleInstance, nullptr);
    if (list == nullptr)
        return nullptr;
    SendMessageW(list, LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
    ui::subclassListView(list);
    return list;
}

void addListColumn(HWND list, int column, float width, float scale) {
    LVCOLUMNW info = {};
    info.mask = LVCF_WIDTH | LVCF_SUBITEM;
    info.cx = ui::scaledPixels(width, scale);
    info.iSubItem = column;
    SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&info));
}

void scaleListColumns(HWND list, int columns, float factor) {
    for (int column = 0; column < columns; ++column) {
        const LRESULT old = SendMessageW(list, LVM_GETCOLUMNWIDTH, static_cast<WPARAM>(column), 0);
        SendMessageW(list, LVM_SETCOLUMNWIDTH, static_cast<WPARAM>(column),
                     ui::scaledPixels(static_cast<float>(old), factor));
    }
}

void setColumnTitle(HWND list, int column, const WString &title) {
    WString text = title;
    LVCOLUMNW info = {};
    info.mask = LVCF_TEXT;
    info.pszText = text.data();
    SendMessageW(list, LVM_SETCOLUMNW, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&info));
}

void setListCount(HWND list, std::size_t rows) {
    SendMessageW(list, LVM_SETITEMCOUNT, rows, LVSICF_NOINVALIDATEALL);
}

void setRowSelected(HWND list, std::size_t row) {
    setRowState(list, row, LVIS_SELECTED, LVIS_SELECTED);
}

void clearListSelection(HWND list) {
    setRowState(list, static_cast<WPARAM>(-1), 0, LVIS_SELECTED | LVIS_FOCUSED);
}

void applyListLook(HWND list, HFONT font) {
    SendMessageW(list, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    SendMessageW(headerOf(list), WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    const COLORREF background = ui::toColorRef(ui::palette.cardBackground);
    SendMessageW(list, LVM_SETBKCOLOR, 0, static_cast<LPARAM>(background));
    SendMessageW(list, LVM_SETTEXTBKCOLOR, 0, static_cast<LPARAM>(background));
    SendMessageW(list, LVM_SETTEXTCOLOR, 0, static_cast<LPARAM>(ui::toColorRef(ui::palette.textPrimary)));
    applyReadingDirection(list, WS_EX_LAYOUTRTL | WS_EX_RTLREADING);
    InvalidateRect(list, nullptr, FALSE);
    InvalidateRect(headerOf(list), nullptr, FALSE);
}

bool isHeaderDraw(HWND list, const NMHDR &header) {
    return header.code == NM_CUSTOMDRAW && header.hwndFrom == headerOf(list);
}

LRESULT drawListHeader(const NMCUSTOMDRAW &draw, std::span<ui::BackBuffer> buffers, float scale) {
    if (draw.dwDrawStage == CDDS_PREPAINT)
        return CDRF_NOTIFYITEMDRAW;
    if (draw.dwDrawStage != CDDS_ITEMPREPAINT || draw.dwItemSpec >= buffers.size())
        return CDRF_DODEFAULT;
    ui::BackBuffer &buffer = buffers[draw.dwItemSpec];
    const RECT &rect = draw.rc;
    if (!ui::ensureBackBuffer(buffer, rect.right - rect.left, rect.bottom - rect.top))
        return CDRF_DODEFAULT;
    ui::fillRect(buffer.dc, {0, 0, buffer.width, buffer.height}, ui::palette.fieldBackground);
    drawColumnTitle(buffer, headerText(draw.hdr.hwndFrom, static_cast<int>(draw.dwItemSpec)), scale);
    BitBlt(draw.hdc, rect.left, rect.top, buffer.width, buffer.height, buffer.dc, 0, 0, SRCCOPY);
    return CDRF_SKIPDEFAULT;
}

} // namespace dm
