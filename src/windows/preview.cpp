#include "windows/preview.h"

#include "core/entry.h"
#include "core/operations.h"
#include "i18n/language.h"
#include "ui/layout.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/dialogs.h"
#include "windows/file_list.h"
#include "windows/preview_rows.h"
#include "windows/secondary_window.h"

#include <algorithm>
#include <array>
#include <memory>

namespace dm {
namespace {

constexpr const WChar *className = W("DustmerePreview");
constexpr int listId = 1;
constexpr int columnCount = 3;

struct PreviewData {
    PreviewRows rows;
    WString cellText; ///< what the list was given last, which it does not copy
    HFONT listFont = nullptr;
    float scale = 1;
    bool ownsData = false; ///< the window frees the record
    ui::BackBuffer backBuffer;
    std::array<ui::BackBuffer, columnCount> headerBuffers;
};

std::vector<HWND> openPreviews;

PreviewData *dataOf(HWND window) {
    return reinterpret_cast<PreviewData *>(GetWindowLongPtrW(window, GWLP_USERDATA));
}

HWND listOf(HWND window) {
    return GetDlgItem(window, listId);
}

void layoutPreview(HWND window, const PreviewData &data) {
    RECT client = {};
    GetClientRect(window, &client);
    const int x = ui::scaledPixels(194, data.scale);
    const int y = ui::scaledPixels(129, data.scale);
    const int margin = ui::scaledPixels(24, data.scale);
    ui::moveControl(listOf(window), x, y, std::max<int>(client.right - x - margin, 1),
                    std::max<int>(client.bottom - y - margin, 1));
}

void applyPreviewTexts(HWND window, PreviewData &data) {
    HWND list = listOf(window);
    ui::applyTitleBarTheme(window);
    SetWindowTextW(window, tr(W("Dustmere — просмотр файлов")).c_str());
    renewFont(data.listFont, data.scale, [list](HFONT font) { applyListLook(list, font); });
    setColumnTitle(list, static_cast<int>(PreviewColumn::Category), tr(W("Категория")));
    setColumnTitle(list, static_cast<int>(PreviewColumn::Size), tr(W("Размер")));
    setColumnTitle(list, static_cast<int>(PreviewColumn::Path), tr(W("Полный путь")));
    layoutPreview(window, data);
    ui::invalidateView(window, nullptr);
}

void paintPreview(HWND window, PreviewData &data) {
    paintSecondaryWindow(window, data.backBuffer, data.scale, [](ui::Canvas &canvas, float width, float height) {
        const WString title = tr(W("Просмотр файлов"));
        paintSectionTile(canvas, 6, 182, title);
        paintSectionNote(canvas, tr(W("Что будет очищено")), 56, 13);
        paintHeading(canvas, title, width, 39);
        paintSubheading(canvas,
                        tr(W("Полные пути и размеры. Чтобы просмотреть корзину, дважды щёлкните её значок в Windows.")),
                        69, width, 47);
        paintPanel(canvas, 185, 120, width - 200, height - 135);
    });
}

void createPreviewList(HWND window, PreviewData &data) {
    HWND list = createList(window, listId);
    addListColumn(list, static_cast<int>(PreviewColumn::Category), 160, data.scale);
    addListColumn(list, static_cast<int>(PreviewColumn::Size), 115, data.scale);
    addListColumn(list, static_cast<int>(PreviewColumn::Path), 690, data.scale);
    // With its font before its rows, or as many rows as there may be would be made as high as it asks for once more.
    renewFont(data.listFont, data.scale, [list](HFONT font) { applyListLook(list, font); });
    setListCount(list, static_cast<std::size_t>(previewRowCount(data.rows)));
}

LRESULT onNotify(HWND window, PreviewData &data, LPARAM lParam) {
    const auto &header = *reinterpret_cast<const NMHDR *>(lParam);
    HWND list = listOf(window);
    if (isHeaderDraw(list, header))
        return drawListHeader(*reinterpret_cast<const NMCUSTOMDRAW *>(lParam), data.headerBuffers, data.scale);
    if (header.hwndFrom != list || header.code != LVN_GETDISPINFOW)
        return 0;
    LVITEMW &item = reinterpret_cast<NMLVDISPINFOW *>(lParam)->item;
    if ((item.mask & LVIF_TEXT) != 0) {
        data.cellText = previewCell(data.rows, item.iItem, static_cast<PreviewColumn>(item.iSubItem));
        item.pszText = data.cellText.data();
    }
    return 0;
}

void onDpiChanged(HWND window, PreviewData &data, WPARAM wParam, LPARAM lParam) {
    const float old = data.scale;
    data.scale = static_cast<float>(HIWORD(wParam)) / 96;
    scaleListColumns(listOf(window), columnCount, data.scale / old);
    takeSuggestedRect(window, lParam);
    applyPreviewTexts(window, data);
}

void setLeastPreviewSize(HWND window, const PreviewData &data, LPARAM lParam) {
    const RECT work = workAreaOf(window);
    reinterpret_cast<MINMAXINFO *>(lParam)->ptMinTrackSize = {
        std::min<LONG>(ui::scaledPixels(640, data.scale), work.right - work.left),
        std::min<LONG>(ui::scaledPixels(360, data.scale), work.bottom - work.top)};
}

void forgetPreview(HWND window, PreviewData *data) {
    DeleteObject(data->listFont);
    ui::releaseBackBuffer(data->backBuffer);
    for (ui::BackBuffer &buffer : data->headerBuffers)
        ui::releaseBackBuffer(buffer);
    std::erase(openPreviews, window);
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    if (data->ownsData)
        delete data;
}

LRESULT handlePreviewMessage(HWND window, PreviewData &data, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_APP_REFRESH:
        applyPreviewTexts(window, data);
        return 0;
    case WM_PAINT:
        paintPreview(window, data);
        return 0;
    case WM_NOTIFY:
        return onNotify(window, data, lParam);
    case WM_CTLCOLORSTATIC:
        return answerControlColor(reinterpret_cast<HDC>(wParam), ui::palette.windowBackground, ui::palette.textMuted,
                                  ui::themeBrushes.window);
    case WM_SIZE:
        layoutPreview(window, data);
        ui::invalidateView(window, nullptr);
        return 0;
    case WM_DPICHANGED:
        onDpiChanged(window, data, wParam, lParam);
        return 0;
    case WM_GETMINMAXINFO:
        setLeastPreviewSize(window, data, lParam);
        return 0;
    case WM_CLOSE:
        DestroyWindow(window);
        return 0;
    case WM_NCDESTROY:
        forgetPreview(window, &data);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

LRESULT CALLBACK previewProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_ERASEBKGND)
        return 1;
    if (message == WM_NCCREATE)
        keepCreateParameter(window, lParam);
    PreviewData *data = dataOf(window);
    return data != nullptr && message != WM_NCCREATE ? handlePreviewMessage(window, *data, message, wParam, lParam)
                                                     : DefWindowProcW(window, message, wParam, lParam);
}

std::unique_ptr<PreviewData> copyOfScan() {
    const ScanResult &scan = operationState().scanResult;
    auto data = std::make_unique<PreviewData>();
    data->rows = {scan.entries, scan.recycleItems, scan.recycleBytes};
    return data;
}

HWND createPreviewWindow(PreviewData &data) {
    const RECT work = workAreaOf(ui::mainView.window);
    const float scale = ui::mainView.dpiScale;
    const int width = std::min<int>(work.right - work.left - 24, ui::scaledPixels(1060, scale));
    const int height = std::min<int>(work.bottom - work.top - 24, ui::scaledPixels(620, scale));
    return CreateWindowExW(WS_EX_APPWINDOW, className, tr(W("Dustmere — просмотр файлов")).c_str(),
                           WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT, width, height,
                           ui::mainView.window, nullptr, moduleInstance, &data);
}

} // namespace

void openPreview() {
    if (!operationState().hasScanResult) {
        showNotice(W("Сначала выполните анализ"), MB_ICONINFORMATION);
        return;
    }
    registerWindowClass(className, previewProcedure);
    std::unique_ptr<PreviewData> owner = copyOfScan();
    HWND window = createPreviewWindow(*owner);
    if (window == nullptr)
        return;
    PreviewData &data = *owner.release();
    data.ownsData = true;
    openPreviews.push_back(window);
    data.scale = windowScale(window);
    setWindowIcons(window);
    setOuterSize(window, 1120, 720, data.scale);
    createPreviewList(window, data);
    applyPreviewTexts(window, data);
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);
    UpdateWindow(listOf(window));
}

const std::vector<HWND> &previewWindows() {
    return openPreviews;
}

} // namespace dm
