#include "windows/history_window.h"

#include "core/entry.h"
#include "core/operations.h"
#include "data/history_view.h"
#include "i18n/language.h"
#include "ui/layout.h"
#include "ui/main_view.h"
#include "ui/scroll_bars.h"
#include "ui/theme.h"
#include "windows/secondary_window.h"

#include <algorithm>
#include <memory>

namespace dm {
namespace {

constexpr const WChar *className = W("DustmereHistory");
constexpr const WChar *titleKey = W("История операций");
constexpr int editId = 1;
constexpr int textLimit = 2'097'152;

struct HistoryData {
    float scale = 1;
    HFONT editFont = nullptr;
    bool ownsData = false;  ///< the window frees the record
    bool truncated = false; ///< the file is longer than what is shown
    WString text;           ///< in the edit control
    ui::BackBuffer backBuffer;
};

std::vector<HWND> openHistories;

HistoryData *dataOf(HWND window) {
    return reinterpret_cast<HistoryData *>(GetWindowLongPtrW(window, GWLP_USERDATA));
}

HWND editOf(HWND window) {
    return GetDlgItem(window, editId);
}

WString windowTitle() {
    return W("Dustmere — ") + tr(titleKey);
}

void layoutHistory(HWND window, const HistoryData &data) {
    RECT client = {};
    GetClientRect(window, &client);
    const int x = ui::scaledPixels(198, data.scale);
    const int y = ui::scaledPixels(125, data.scale);
    const int margin = ui::scaledPixels(28, data.scale);
    ui::moveControl(editOf(window), x, y, std::max<int>(client.right - x - margin, 1),
                    std::max<int>(client.bottom - y - margin, 1));
}

/// How much of the old text's beginning the new one has no more: of a log that is too long only the end is shown, and
/// each record moves that end on. Nothing where the new text is another one.
std::size_t unitsGone(const WString &old, const WString &text) {
    const WStringView firstLine = WStringView(text).substr(0, text.find(W('\n')) + 1);
    if (firstLine.empty())
        return 0;
    for (std::size_t at = old.find(firstLine); at != WString::npos; at = old.find(firstLine, at + 1)) {
        if (text.starts_with(WStringView(old).substr(at)))
            return at;
    }
    return 0;
}

/// What the user reads stays where it is; the first text shows its end, where the newest records are.
void replaceText(HWND edit, WString &shown, WString text) {
    DWORD selectionStart = 0;
    DWORD selectionEnd = 0;
    SendMessageW(edit, EM_GETSEL, reinterpret_cast<WPARAM>(&selectionStart), reinterpret_cast<LPARAM>(&selectionEnd));
    const LRESULT firstLine = SendMessageW(edit, EM_GETFIRSTVISIBLELINE, 0, 0);
    const bool isFirst = shown.empty();
    const std::size_t gone = unitsGone(shown, text);
    const auto linesGone = std::count(shown.begin(), shown.begin() + static_cast<std::ptrdiff_t>(gone), W('\n'));
    shown = std::move(text);
    SetWindowTextW(edit, shown.c_str());
    if (isFirst) {
        SendMessageW(edit, EM_SETSEL, shown.size(), static_cast<LPARAM>(shown.size()));
        SendMessageW(edit, EM_SCROLLCARET, 0, 0);
    } else {
        const auto moved = [gone](DWORD unit) { return unit > gone ? unit - gone : 0; };
        SendMessageW(edit, EM_SETSEL, moved(selectionStart), static_cast<LPARAM>(moved(selectionEnd)));
        SendMessageW(edit, EM_LINESCROLL, 0, std::max<LRESULT>(firstLine - linesGone, 0));
    }
}

void loadHistoryText(HWND window, HistoryData &data) {
    HWND edit = editOf(window);
    setWindowIcons(window);
    ui::applyTitleBarTheme(window);
    SetWindowTextW(window, windowTitle().c_str());
    renewFont(data.editFont, data.scale,
              [edit](HFONT font) { SendMessageW(edit, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE); });
    WString text;
    loadHistoryTail(text, data.truncated);
    if (text != data.text)
        replaceText(edit, data.text, std::move(text));
    applyReadingDirection(edit, WS_EX_RTLREADING);
    layoutHistory(window, data);
    InvalidateRect(edit, nullptr, FALSE);
    ui::invalidateView(window, nullptr);
}

void paintHistory(HWND window, HistoryData &data) {
    paintSecondaryWindow(window, data.backBuffer, data.scale, [&data](ui::Canvas &canvas, float width, float height) {
        const WString title = tr(titleKey);
        paintSectionTile(canvas, 6, 182, title);
        paintSectionNote(canvas, tr(W("Последние операции")), 54, 13);
        paintHeading(canvas, title, width, 40);
        paintSubheading(
            canvas,
            tr(data.truncated ? W("Показаны последние записи журнала") : W("Записи хранятся на этом компьютере")), 74,
            width, 33);
        paintPanel(canvas, 185, 116, width - 200, height - 131);
    });
}

void createEdit(HWND window) {
    HWND edit = CreateWindowExW(0, W("EDIT"), W(""),
                                WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_TABSTOP | WS_VSCROLL | ES_MULTILINE |
                                    ES_AUTOVSCROLL | ES_AUTOHSCROLL | ES_READONLY,
                                0, 0, 0, 0, window, reinterpret_cast<HMENU>(static_cast<INT_PTR>(editId)),
                                moduleInstance, nullptr);
    if (edit == nullptr)
        return;
    SendMessageW(edit, EM_SETLIMITTEXT, textLimit, 0);
    ui::subclassScrollBars(edit);
}

void onDpiChanged(HWND window, HistoryData &data, WPARAM wParam, LPARAM lParam) {
    data.scale = static_cast<float>(HIWORD(wParam)) / 96;
    takeSuggestedRect(window, lParam);
    loadHistoryText(window, data);
}

void forgetHistory(HWND window, HistoryData *data) {
    DeleteObject(data->editFont);
    ui::releaseBackBuffer(data->backBuffer);
    std::erase(openHistories, window);
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    if (data->ownsData)
        delete data;
}

LRESULT handleHistoryMessage(HWND window, HistoryData &data, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_APP_REFRESH:
        loadHistoryText(window, data);
        return 0;
    case WM_PAINT:
        paintHistory(window, data);
        return 0;
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORSTATIC: // which a read-only edit asks with
        return answerControlColor(reinterpret_cast<HDC>(wParam), ui::palette.cardBackground, ui::palette.textPrimary,
                                  ui::themeBrushes.card);
    case WM_SIZE:
        layoutHistory(window, data);
        ui::invalidateView(window, nullptr);
        return 0;
    case WM_DPICHANGED:
        onDpiChanged(window, data, wParam, lParam);
        return 0;
    case WM_GETMINMAXINFO:
        setLeastSize(window, lParam, 640, 360, data.scale);
        return 0;
    case WM_KEYDOWN:
        if (wParam == VK_ESCAPE)
            DestroyWindow(window);
        return 0;
    case WM_CLOSE:
        DestroyWindow(window);
        return 0;
    case WM_NCDESTROY:
        forgetHistory(window, &data);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

LRESULT CALLBACK historyProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_ERASEBKGND)
        return 1;
    if (message == WM_NCCREATE)
        keepCreateParameter(window, lParam);
    HistoryData *data = dataOf(window);
    return data != nullptr && message != WM_NCCREATE ? handleHistoryMessage(window, *data, message, wParam, lParam)
                                                     : DefWindowProcW(window, message, wParam, lParam);
}

HWND createHistoryWindow(HistoryData &data) {
    const float scale = ui::mainView.dpiScale;
    return CreateWindowExW(0, className, windowTitle().c_str(), WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT,
                           CW_USEDEFAULT, ui::scaledPixels(1020, scale), ui::scaledPixels(680, scale),
                           ui::mainView.window, nullptr, moduleInstance, &data);
}

bool bringUpOpenHistory() {
    const auto open =
        std::find_if(openHistories.begin(), openHistories.end(), [](HWND each) { return IsWindow(each); });
    if (open == openHistories.end())
        return false;
    HWND window = *open;
    SendMessageW(window, WM_APP_REFRESH, 0, 0);
    ShowWindow(window, SW_RESTORE);
    SetForegroundWindow(window);
    return true;
}

} // namespace

void openHistory() {
    if (bringUpOpenHistory())
        return;
    registerWindowClass(className, historyProcedure);
    auto owner = std::make_unique<HistoryData>();
    HWND window = createHistoryWindow(*owner);
    if (window == nullptr)
        return;
    HistoryData &data = *owner.release();
    data.ownsData = true;
    openHistories.push_back(window);
    data.scale = windowScale(window);
    setOuterSize(window, 1020, 680, data.scale);
    createEdit(window);
    loadHistoryText(window, data);
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);
    UpdateWindow(editOf(window));
}

const std::vector<HWND> &historyWindows() {
    return openHistories;
}

void refreshHistoryWindows() {
    const std::vector<HWND> windows = openHistories;
    for (HWND window : windows)
        SendMessageW(window, WM_APP_REFRESH, 0, 0);
}

} // namespace dm
