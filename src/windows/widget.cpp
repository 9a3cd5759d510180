#include "windows/widget.h"

#include "core/entry.h"
#include "core/operations.h"
#include "core/version.h"
#include "i18n/language.h"
#include "ui/controls.h"
#include "ui/layout.h"
#include "ui/main_view.h"
#include "ui/theme.h"
#include "windows/main_window.h"
#include "windows/notify_icon.h"
#include "windows/secondary_window.h"
#include "windows/widget_data.h"
#include "windows/widget_shape.h"

#include <cmath>
#include <memory>

namespace dm {
namespace {

constexpr const WChar *className = W("DustmereDesktopWidget");
constexpr UINT_PTR buttonSubclassId = 1;

HWND openWidget = nullptr;

WidgetData *dataOf(HWND window) {
    return reinterpret_cast<WidgetData *>(GetWindowLongPtrW(window, GWLP_USERDATA));
}

void repaint(HWND window) {
    InvalidateRect(window, nullptr, FALSE);
}

int workHeight(HWND window) {
    const RECT work = workAreaOf(window);
    return work.bottom - work.top;
}

SIZE sizeFor(int heightDips, float scale) {
    return {ui::scaledPixels(widgetWidth, scale), ui::scaledPixels(static_cast<float>(heightDips), scale)};
}

bool isSame(const RECT &one, const RECT &other) {
    return one.left == other.left && one.top == other.top && one.right == other.right && one.bottom == other.bottom;
}

void layoutWidgetButtons(HWND window, const WidgetData &data) {
    const SIZE client = clientSize(window);
    const float width = static_cast<float>(client.cx) / data.scale;
    const float height = static_cast<float>(client.cy) / data.scale;
    const float half = (width - 50) / 2;
    const auto place = [&](int id, float x, float y, float w, float h) {
        ui::moveControl(GetDlgItem(window, id), ui::scaledPixels(x, data.scale), ui::scaledPixels(y, data.scale),
                        ui::scaledPixels(w, data.scale), ui::scaledPixels(h, data.scale));
    };
    const float openX = isRightToLeft() ? 30 + half : 20;
    place(widget_id::scan, 20, height - 83, width - 40, 33);
    place(widget_id::open, openX, height - 43, half, 32);
    place(widget_id::hide, 50 + half - openX, height - 43, half, 32);
}

WString scanButtonText() {
    return tr(operationState().hasScanResult ? W("Повторить анализ") : W("Начать анализ"));
}

void refreshWidgetTexts(HWND window, WidgetData &data) {
    setWindowIcons(window);
    SetWindowTextW(window, productTitle);
    ui::applyTitleBarTheme(window);
    renewFont(data.font, data.scale, [window](HFONT font) {
        for (int id = widget_id::open; id <= widget_id::scan; ++id)
            SendMessageW(GetDlgItem(window, id), WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
    });
    ui::setTextIfChanged(GetDlgItem(window, widget_id::open), tr(W("Открыть Dustmere")));
    ui::setTextIfChanged(GetDlgItem(window, widget_id::hide), tr(W("Скрыть виджет")));
    ui::setTextIfChanged(GetDlgItem(window, widget_id::scan), scanButtonText());
    layoutWidgetButtons(window, data);
    repaint(window);
}

/// Takes the scale at which the widget fits its window.
void adoptScale(HWND window, WidgetData &data) {
    const float scale = widgetScale(clientSize(window), data.heightDips, data.dpiScale);
    if (scale <= 0.2F || std::fabs(scale - data.scale) <= 0.001F)
        return;
    data.scale = scale;
    refreshWidgetTexts(window, data);
}

void fitWidget(HWND window, WidgetData &data) {
    const std::size_t drives = operationState().drives.size();
    data.visibleRows = widgetRows(workHeight(window), data.dpiScale, drives);
    data.heightDips = widgetHeight(data.visibleRows);
    data.firstRow = clampFirstRow(data.firstRow, drives, data.visibleRows);

    RECT present = {};
    GetWindowRect(window, &present);
    const SIZE size = sizeFor(data.heightDips, data.dpiScale);
    const RECT fitting =
        ui::clampToWorkArea({present.left, present.top, present.left + size.cx, present.top + size.cy});
    if (!isSame(fitting, present))
        ui::moveClamped(window, fitting);
    adoptScale(window, data);
}

/// Keeps the place where the user left the widget.
void saveWidgetPosition(HWND window) {
    RECT rect = {};
    if (!IsWindow(window) || IsIconic(window) || !GetWindowRect(window, &rect))
        return;
    if (rect.right <= rect.left || rect.bottom <= rect.top)
        return;
    Settings &settings = ui::mainView.settings;
    settings.widgetX = rect.left;
    settings.widgetY = rect.top;
    settings.widgetPositionSaved = true;
    storeSettings();
}

void turnOffWidget(HWND window) {
    ui::mainView.settings.widgetEnabled = false;
    storeSettings();
    DestroyWindow(window);
    ui::layoutMainWindow();
}

/// What a change of the screens, or of their scale, makes necessary.
void settleWidget(HWND window, WidgetData &data, const RECT &rect) {
    ui::moveClamped(window, rect);
    fitWidget(window, data);
    refreshWidgetTexts(window, data);
    saveWidgetPosition(window);
}

RECT presentRect(HWND window) {
    RECT rect = {};
    GetWindowRect(window, &rect);
    return rect;
}

void onDpiChanged(HWND window, WidgetData &data, WPARAM wParam, LPARAM lParam) {
    data.dpiScale = static_cast<float>(HIWORD(wParam)) / 96;
    settleWidget(window, data, *reinterpret_cast<const RECT *>(lParam));
}

void onMoved(HWND window, WidgetData &data) {
    ui::moveClamped(window, presentRect(window));
    fitWidget(window, data);
    saveWidgetPosition(window);
}

void onWheel(HWND window, WidgetData &data, int delta) {
    const int step = delta > 0 ? -1 : 1;
    data.firstRow = clampFirstRow(data.firstRow + step, operationState().drives.size(), data.visibleRows);
    repaint(window);
}

void onCommand(HWND window, WPARAM wParam) {
    if (HIWORD(wParam) != BN_CLICKED)
        return;
    switch (LOWORD(wParam)) {
    case widget_id::open:
        restoreMainWindow();
        break;
    case widget_id::hide:
        turnOffWidget(window);
        break;
    case widget_id::scan:
        startScan();
        break;
    default:
        break;
    }
}

LRESULT hitTest(HWND window, const WidgetData &data, LPARAM lParam) {
    POINT point = {GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
    MapWindowPoints(nullptr, window, &point, 1);
    const SIZE size = clientSize(window);
    return hitTestWidget(point, size, cornerRadius(size, data.scale, ui::highContrast), data.scale);
}

void forgetWidget(HWND window, WidgetData *data) {
    DeleteObject(data->font);
    ui::releaseBackBuffer(data->buffer);
    for (ui::BackBuffer &buffer : data->buttonBuffers)
        ui::releaseBackBuffer(buffer);
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    if (openWidget == window)
        openWidget = nullptr;
    if (data->ownsData)
        delete data;
}

LRESULT handleWidgetMessage(HWND window, WidgetData &data, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_APP_REFRESH:
        refreshWidgetTexts(window, data);
        return 0;
    case WM_PAINT:
        paintWidget(window, data);
        return 0;
    case WM_DRAWITEM: // the widget paints its buttons itself
        return TRUE;
    case WM_NCHITTEST:
        return hitTest(window, data, lParam);
    case WM_COMMAND:
        onCommand(window, wParam);
        return 0;
    case WM_MOUSEWHEEL:
        onWheel(window, data, GET_WHEEL_DELTA_WPARAM(wParam));
        return 0;
    case WM_SIZE:
        adoptScale(window, data);
        layoutWidgetButtons(window, data);
        repaint(window);
        return 0;
    case WM_DPICHANGED:
        onDpiChanged(window, data, wParam, lParam);
        return 0;
    case WM_DISPLAYCHANGE:
    case WM_SETTINGCHANGE:
        settleWidget(window, data, presentRect(window));
        return 0;
    case WM_EXITSIZEMOVE:
        onMoved(window, data);
        return 0;
    case WM_KEYDOWN:
        if (wParam == VK_ESCAPE)
            turnOffWidget(window);
        return 0;
    case WM_CLOSE:
        turnOffWidget(window);
        return 0;
    case WM_NCDESTROY:
        forgetWidget(window, &data);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

LRESULT CALLBACK widgetProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_ERASEBKGND)
        return 1;
    if (message == WM_NCCREATE)
        keepCreateParameter(window, lParam);
    WidgetData *data = dataOf(window);
    return data != nullptr && message != WM_NCCREATE ? handleWidgetMessage(window, *data, message, wParam, lParam)
                                                     : DefWindowProcW(window, message, wParam, lParam);
}

// The buttons.

void enterButton(HWND button, WidgetButton &state) {
    if (state.hot)
        return;
    state.hot = true;
    TRACKMOUSEEVENT track = {};
    track.cbSize = sizeof(track);
    track.dwFlags = TME_LEAVE;
    track.hwndTrack = button;
    TrackMouseEvent(&track);
}

/// True where the message may have changed how the button looks.
bool followButton(HWND button, WidgetButton &state, UINT message, WPARAM wParam) {
    switch (message) {
    case WM_MOUSEMOVE:
        enterButton(button, state);
        return true;
    case WM_MOUSELEAVE:
        state = {};
        return true;
    case WM_LBUTTONDOWN:
        state.pressed = true;
        return true;
    case WM_KEYDOWN:
        state.pressed = state.pressed || wParam == VK_SPACE || wParam == VK_RETURN;
        return true;
    case WM_KILLFOCUS:
    case WM_CANCELMODE:
    case WM_KEYUP:
    case WM_LBUTTONUP:
    case WM_CAPTURECHANGED:
        state.pressed = false;
        return true;
    case WM_SETFOCUS:
    case WM_ENABLE:
        return true;
    default:
        return false;
    }
}

LRESULT CALLBACK buttonProcedure(HWND button, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id, DWORD_PTR) {
    HWND window = GetParent(button);
    WidgetData *data = dataOf(window);
    if (message == WM_ERASEBKGND)
        return 1;
    if (message == WM_NCDESTROY)
        RemoveWindowSubclass(button, buttonProcedure, id);
    else if (data != nullptr) {
        WidgetButton &state = data->buttonState[static_cast<std::size_t>(GetDlgCtrlID(button) - widget_id::open)];
        if (followButton(button, state, message, wParam))
            repaint(window);
    }
    return DefSubclassProc(button, message, wParam, lParam);
}

void createButtons(HWND window) {
    for (int id = widget_id::open; id <= widget_id::scan; ++id) {
        HWND button = CreateWindowExW(
            0, W("BUTTON"), W(""), WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_TABSTOP | BS_OWNERDRAW, 0, 0, 0, 0,
            window, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), moduleInstance, nullptr);
        SetWindowSubclass(button, buttonProcedure, buttonSubclassId, 0);
    }
}

HWND createWidgetWindow(WidgetData &data) {
    const SIZE size = sizeFor(data.heightDips, data.dpiScale);
    const RECT rect =
        ui::clampToWorkArea(widgetStartRect(ui::mainView.settings, workAreaOf(ui::mainView.window), size));
    return CreateWindowExW(WS_EX_LAYERED | WS_EX_TOOLWINDOW, className, productTitle, WS_POPUP, rect.left, rect.top,
                           rect.right - rect.left, rect.bottom - rect.top, nullptr, nullptr, moduleInstance, &data);
}

void createWidget() {
    registerWindowClass(className, widgetProcedure);
    auto owner = std::make_unique<WidgetData>();
    owner->scale = owner->dpiScale = ui::mainView.dpiScale;
    owner->visibleRows = widgetRows(workHeight(ui::mainView.window), owner->dpiScale, operationState().drives.size());
    owner->heightDips = widgetHeight(owner->visibleRows);
    HWND window = createWidgetWindow(*owner);
    if (window == nullptr)
        return;
    WidgetData &data = *owner.release();
    data.ownsData = true;
    openWidget = window;
    data.dpiScale = windowScale(window);
    fitWidget(window, data);
    createButtons(window);
    refreshWidgetTexts(window, data);
    ShowWindow(window, SW_SHOWNOACTIVATE);
    UpdateWindow(window);
}

} // namespace

HWND widgetWindow() {
    return openWidget;
}

void syncWidget() {
    const bool wanted = ui::mainView.settings.widgetEnabled;
    if (!wanted && openWidget != nullptr)
        DestroyWindow(openWidget);
    else if (wanted && openWidget == nullptr)
        createWidget();
}

void refreshWidget() {
    HWND window = openWidget;
    WidgetData *data = window != nullptr ? dataOf(window) : nullptr;
    if (data == nullptr)
        return;
    fitWidget(window, *data);
    HWND scan = GetDlgItem(window, widget_id::scan);
    ui::setTextIfChanged(scan, scanButtonText());
    const OperationState &state = operationState();
    const bool idle = !state.busy && state.modalDepth == 0 && !state.exitPending;
    if ((IsWindowEnabled(scan) != FALSE) != idle)
        EnableWindow(scan, idle ? TRUE : FALSE);
    repaint(window);
    UpdateWindow(window);
}

} // namespace dm
