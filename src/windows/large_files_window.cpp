#include "windows/large_files_window.h"

#include "core/entry.h"
#include "i18n/format.h"
#include "i18n/language.h"
#include "ui/layout.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/file_list.h"
#include "windows/large_files_data.h"
#include "windows/path_text.h"
#include "windows/secondary_window.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace dm {
namespace {

constexpr const WChar *className = W("DustmereLargeFiles");
constexpr int columnCount = 2;

/// Also before and after the window is the open one.
LargeFilesData *recordOf(HWND window) {
    return reinterpret_cast<LargeFilesData *>(GetWindowLongPtrW(window, GWLP_USERDATA));
}

HWND createControl(HWND window, int id, const WChar *classOf, const WChar *text, DWORD style) {
    return CreateWindowExW(0, classOf, text, WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_TABSTOP | style, 0, 0, 0, 0,
                           window, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), moduleInstance, nullptr);
}

void fillFolders(HWND combo) {
    for (const DriveInfo &drive : operationState().drives)
        SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(pathForField(drive.root).c_str()));
    SendMessageW(combo, CB_SETCURSEL, 0, 0);
}

/// In the order of the tab key.
void createControls(HWND window, const LargeFilesData &data) {
    constexpr int longestNumber = 7;
    fillFolders(
        createControl(window, large_id::folder, W("COMBOBOX"), W(""), CBS_DROPDOWN | CBS_AUTOHSCROLL | WS_VSCROLL));
    createControl(window, large_id::chooseFolder, W("BUTTON"), W(""), BS_OWNERDRAW);
    HWND size = createControl(window, large_id::minimumSize, W("EDIT"), W("100"), ES_NUMBER | ES_AUTOHSCROLL);
    SendMessageW(size, EM_SETLIMITTEXT, longestNumber, 0);
    createControl(window, large_id::search, W("BUTTON"), W(""), BS_OWNERDRAW);
    createControl(window, large_id::cancel, W("BUTTON"), W(""), BS_OWNERDRAW);
    HWND list = createList(window, large_id::list);
    addListColumn(list, static_cast<int>(LargeColumn::Path), 705, data.scale);
    addListColumn(list, static_cast<int>(LargeColumn::Size), 120, data.scale);
    createControl(window, large_id::move, W("BUTTON"), W(""), BS_OWNERDRAW);
    createControl(window, large_id::open, W("BUTTON"), W(""), BS_OWNERDRAW);
}

void enableControl(HWND window, int id, bool enable) {
    HWND control = largeControl(window, id);
    if ((IsWindowEnabled(control) != FALSE) != enable)
        EnableWindow(control, enable ? TRUE : FALSE);
}

/// A disabled control gets no keys, and with the focus on it the window would get none either.
void rescueFocus(HWND window) {
    HWND focus = GetFocus();
    if (IsChild(window, focus) && !IsWindowEnabled(focus))
        SetFocus(window);
}

/// Raises the scale as far as the window has room for the layout at its least size.
void fitScale(HWND window, LargeFilesData &data) {
    RECT client = {};
    GetClientRect(window, &client);
    const float scale =
        std::min({static_cast<float>(client.bottom) / 560, static_cast<float>(client.right) / 900, data.dpiScale});
    if (scale <= 0.1F || std::fabs(scale - data.scale) <= 0.001F)
        return;
    data.scale = scale;
    if (largeControl(window, large_id::list) != nullptr)
        applyLargeWindowTexts(window, data);
}

void onSize(HWND window, LargeFilesData &data) {
    fitScale(window, data);
    layoutLargeWindow(window, data);
    ui::invalidateView(window, nullptr);
}

void onDpiChanged(HWND window, LargeFilesData &data, WPARAM wParam, LPARAM lParam) {
    const float old = data.scale;
    data.dpiScale = static_cast<float>(HIWORD(wParam)) / 96;
    takeSuggestedRect(window, lParam);
    fitScale(window, data);
    scaleListColumns(largeControl(window, large_id::list), columnCount, data.scale / old);
    applyLargeWindowTexts(window, data);
}

void cancelOwnOperation() {
    cancelOperation();
    ui::invalidateView(ui::mainView.window, nullptr);
}

void onCommand(HWND window, LargeFilesData &data, WPARAM wParam) {
    if (HIWORD(wParam) != BN_CLICKED)
        return;
    switch (LOWORD(wParam)) {
    case large_id::chooseFolder:
        chooseLargeFolder(window);
        break;
    case large_id::search:
        startLargeSearch(window);
        break;
    case large_id::cancel:
        if (runsOwnOperation(window))
            cancelOwnOperation();
        break;
    case large_id::move:
        recycleLarge(window);
        break;
    case large_id::open:
        openSelectedLocation(window, data);
        break;
    default:
        break;
    }
}

void onColumnClick(HWND window, LargeFilesData &data, int column) {
    if (operationState().busy)
        return;
    data.order = orderAfterClick(data.order, static_cast<LargeColumn>(column));
    sortAndFillList(window, data, selectedEntries(window, data));
}

void onDisplayInfo(LargeFilesData &data, LVITEMW &item) {
    const std::vector<std::uint64_t> &rows = data.rows.displayOrder;
    if ((item.mask & LVIF_TEXT) == 0 || item.iItem < 0 || static_cast<std::size_t>(item.iItem) >= rows.size())
        return;
    const large::LargeFileEntry &entry = data.search.entries[rows[static_cast<std::size_t>(item.iItem)]];
    const bool isSize = item.iSubItem == static_cast<int>(LargeColumn::Size);
    data.cellText = isSize ? formatSize(entry.size) : pathCell(entry.path);
    item.pszText = data.cellText.data();
}

LRESULT onListNotify(HWND window, LargeFilesData &data, LPARAM lParam) {
    switch (reinterpret_cast<const NMHDR *>(lParam)->code) {
    case LVN_GETDISPINFOW:
        onDisplayInfo(data, reinterpret_cast<NMLVDISPINFOW *>(lParam)->item);
        break;
    case LVN_COLUMNCLICK:
        onColumnClick(window, data, reinterpret_cast<const NMLISTVIEW *>(lParam)->iSubItem);
        break;
    case LVN_ITEMCHANGED:
    case LVN_ODSTATECHANGED:
        if (!data.fillingList)
            updateLargeControls(window);
        break;
    case NM_DBLCLK:
        if (!operationState().busy)
            openSelectedLocation(window, data);
        break;
    default:
        break;
    }
    return 0;
}

LRESULT onNotify(HWND window, LargeFilesData &data, LPARAM lParam) {
    const auto &header = *reinterpret_cast<const NMHDR *>(lParam);
    HWND list = largeControl(window, large_id::list);
    if (isHeaderDraw(list, header))
        return drawListHeader(*reinterpret_cast<const NMCUSTOMDRAW *>(lParam), data.headerBuffers, data.scale);
    return header.hwndFrom == list ? onListNotify(window, data, lParam) : 0;
}

void onPaint(HWND window, LargeFilesData &data) {
    PAINTSTRUCT paint = {};
    HDC dc = BeginPaint(window, &paint);
    paintLargeWindow(window, data);
    const RECT &invalid = paint.rcPaint;
    if (data.backBuffer.dc != nullptr) {
        BitBlt(dc, invalid.left, invalid.top, invalid.right - invalid.left, invalid.bottom - invalid.top,
               data.backBuffer.dc, invalid.left, invalid.top, SRCCOPY);
    }
    EndPaint(window, &paint);
}

/// While its own operation runs the window stays until that has ended.
void onClose(HWND window, LargeFilesData &data) {
    if (!runsOwnOperation(window)) {
        DestroyWindow(window);
        return;
    }
    data.closeAfterOperation = true;
    cancelOwnOperation();
    updateLargeControls(window);
}

void forgetLargeFiles(HWND window, LargeFilesData *data) {
    DeleteObject(data->listFont);
    ui::releaseBackBuffer(data->backBuffer);
    for (ui::BackBuffer &buffer : data->headerBuffers)
        ui::releaseBackBuffer(buffer);
    for (auto &[id, buffer] : data->buttonBuffers)
        ui::releaseBackBuffer(buffer);
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    if (ui::mainView.largeFilesWindow == window)
        ui::mainView.largeFilesWindow = nullptr;
    if (data->ownsData)
        delete data;
}

LRESULT handleLargeMessage(HWND window, LargeFilesData &data, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_APP_REFRESH:
        applyLargeWindowTexts(window, data);
        return 0;
    case WM_PAINT:
        onPaint(window, data);
        return 0;
    case WM_DRAWITEM:
        drawLargeButton(window, data, *reinterpret_cast<const DRAWITEMSTRUCT *>(lParam));
        return TRUE;
    case WM_NOTIFY:
        return onNotify(window, data, lParam);
    case WM_COMMAND:
        onCommand(window, data, wParam);
        return 0;
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLORSTATIC:
        return answerControlColor(reinterpret_cast<HDC>(wParam), ui::palette.cardBackground, ui::palette.textPrimary,
                                  ui::themeBrushes.card);
    case WM_SIZE:
        onSize(window, data);
        return 0;
    case WM_DPICHANGED:
        onDpiChanged(window, data, wParam, lParam);
        return 0;
    case WM_GETMINMAXINFO:
        setLeastSize(window, lParam, 900, 560, data.dpiScale);
        return 0;
    case WM_CLOSE:
        onClose(window, data);
        return 0;
    case WM_NCDESTROY:
        forgetLargeFiles(window, &data);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

LRESULT CALLBACK largeFilesProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_ERASEBKGND)
        return 1;
    if (message == WM_NCCREATE)
        keepCreateParameter(window, lParam);
    LargeFilesData *data = recordOf(window);
    return data != nullptr && message != WM_NCCREATE ? handleLargeMessage(window, *data, message, wParam, lParam)
                                                     : DefWindowProcW(window, message, wParam, lParam);
}

HWND createLargeFilesWindow(LargeFilesData &data) {
    const float scale = ui::mainView.dpiScale;
    return CreateWindowExW(0, className, (W("Dustmere — ") + tr(W("Большие файлы"))).c_str(),
                           WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT,
                           ui::scaledPixels(1160, scale), ui::scaledPixels(780, scale), ui::mainView.window, nullptr,
                           moduleInstance, &data);
}

} // namespace

LargeFilesData *largeDataOf(HWND window) {
    if (window == nullptr || window != ui::mainView.largeFilesWindow || !IsWindow(window))
        return nullptr;
    return recordOf(window);
}

HWND largeControl(HWND window, int id) {
    return GetDlgItem(window, id);
}

bool runsOwnOperation(HWND window) {
    return operationState().busy && operationState().ownerWindow == window;
}

bool mayStartOperation() {
    const OperationState &state = operationState();
    return !state.busy && !state.exitPending && !state.closeDeferred;
}

std::vector<std::uint64_t> selectedEntries(HWND window, const LargeFilesData &data) {
    HWND list = largeControl(window, large_id::list);
    const std::vector<std::uint64_t> &rows = data.rows.displayOrder;
    std::vector<std::uint64_t> entries;
    for (LRESULT row = -1; (row = SendMessageW(list, LVM_GETNEXTITEM, static_cast<WPARAM>(row), LVNI_SELECTED)) >= 0;) {
        if (static_cast<std::size_t>(row) < rows.size())
            entries.push_back(rows[static_cast<std::size_t>(row)]);
    }
    return entries;
}

void updateLargeControls(HWND window) {
    if (largeDataOf(window) == nullptr)
        return;
    const bool busy = operationState().busy;
    const bool idle = mayStartOperation();
    const bool hasSelection = SendMessageW(largeControl(window, large_id::list), LVM_GETSELECTEDCOUNT, 0, 0) > 0;
    for (const int id : {large_id::folder, large_id::chooseFolder, large_id::minimumSize, large_id::search})
        enableControl(window, id, idle);
    enableControl(window, large_id::list, !busy);
    enableControl(window, large_id::cancel, runsOwnOperation(window));
    enableControl(window, large_id::move, idle && hasSelection);
    enableControl(window, large_id::open, !busy && hasSelection);
    rescueFocus(window);
    ui::invalidateView(window, nullptr);
    for (const int id : {large_id::chooseFolder, large_id::search, large_id::cancel, large_id::move, large_id::open})
        ui::invalidateView(largeControl(window, id), nullptr);
}

bool isLargeWindowShowing(HWND window) {
    return largeDataOf(window) != nullptr && IsWindowVisible(window);
}

bool takeSearchResult(HWND window, large::LargeSearchResult &&result) {
    LargeFilesData *data = largeDataOf(window);
    if (data == nullptr)
        return false;
    clearListSelection(largeControl(window, large_id::list));
    data->search = std::move(result);
    data->rows = rowsOf(data->search);
    data->hasResult = true;
    sortAndFillList(window, *data, {});
    updateLargeControls(window);
    return data->closeAfterOperation;
}

bool takeRecycleResult(HWND window, const large::RecycleResult &result) {
    LargeFilesData *data = largeDataOf(window);
    if (data == nullptr)
        return false;
    const std::vector<std::uint64_t> selected = selectedEntries(window, *data);
    data->recycle = result;
    dropMovedRows(data->rows, data->recycle.outcomes);
    sortAndFillList(window, *data, selected);
    updateLargeControls(window);
    return data->closeAfterOperation;
}

void openLargeFiles() {
    HWND open = ui::mainView.largeFilesWindow;
    if (LargeFilesData *data = largeDataOf(open)) {
        applyLargeWindowTexts(open, *data);
        ShowWindow(open, SW_RESTORE);
        SetForegroundWindow(open);
        return;
    }
    registerWindowClass(className, largeFilesProcedure);
    auto owner = std::make_unique<LargeFilesData>();
    owner->scale = owner->dpiScale = ui::mainView.dpiScale;
    HWND window = createLargeFilesWindow(*owner);
    if (window == nullptr)
        return;
    LargeFilesData &data = *owner.release();
    data.ownsData = true;
    ui::mainView.largeFilesWindow = window;
    data.dpiScale = windowScale(window);
    setOuterSize(window, 1160, 780, data.dpiScale);
    fitScale(window, data);
    createControls(window, data);
    applyLargeWindowTexts(window, data);
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);
}

} // namespace dm
