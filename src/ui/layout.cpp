#include "ui/layout.h"

#include "core/operations.h"
#include "ui/animation.h"
#include "ui/canvas.h"
#include "ui/controls.h"
#include "ui/theme.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

namespace dm::ui {
namespace {

/// Where a pass left a control.
struct Placed {
    HWND window;
    RECT rect;
};

LayoutMetrics metricsInForce;
std::map<int, RECT> wanted; ///< by the running pass
std::map<int, Placed> placed;

/// A change of one control.
struct Move {
    int id;
    HWND window;
    RECT rect;
    UINT flags;
};

bool isSame(const RECT &a, const RECT &b) {
    return std::tie(a.left, a.top, a.right, a.bottom) == std::tie(b.left, b.top, b.right, b.bottom);
}

/// Whether the control is shown as far as it goes by itself; while its window is hidden IsWindowVisible denies it.
bool isShown(HWND control) {
    return (GetWindowLongPtrW(control, GWL_STYLE) & WS_VISIBLE) != 0;
}

void addNavigation(std::vector<Placement> &to, const LayoutMetrics &m) {
    const float x = 14;
    const float w = m.sidebarWidth - 28;
    to.push_back({id::cleanupPage, x, 152, w, 52});
    to.push_back({id::diskPage, x, 214, w, 52});
    to.push_back({id::helpPage, x, 276, w, 52});
    to.push_back({id::website, x, 338, w, 52});
    to.push_back({id::settingsPage, x, m.height - 156, w, 50});
}

void addCleanupPage(std::vector<Placement> &to, const LayoutMetrics &m) {
    const float left = m.contentLeft;
    const float leftWidth = m.leftColumnWidth;
    const float right = m.rightColumnLeft;
    const float rightWidth = m.rightColumnWidth;
    const float top = m.cardsTop;
    const float lower = top + m.heroHeight + 20;
    to.push_back({id::clean, left + 0.42F * leftWidth, top + 148, 0.53F * leftWidth, 48});
    to.push_back({id::scan, left + 0.42F * leftWidth, top + 205, 0.53F * leftWidth, 40});
    to.push_back({id::temporaryFiles, left + 18, lower + 64, leftWidth - 36, 51});
    to.push_back({id::browserCache, left + 18, lower + 121, leftWidth - 36, 51});
    to.push_back({id::recycleBin, left + 18, lower + 178, leftWidth - 36, 51});
    to.push_back({id::viewFiles, left + 18, lower + 238, leftWidth - 36, 33});
    to.push_back({id::details, right + 20, top + 221, rightWidth - 40, 33});
    to.push_back({id::skipFilesInUse, right + 18, lower + 61, rightWidth - 36, 54});
    to.push_back({id::closeBrowsers, right + 18, lower + 120, rightWidth - 36, 54});
}

void addChoices(std::vector<Placement> &to, const LayoutMetrics &m) {
    const float left = m.contentLeft + 192;
    const float room = m.width - m.contentLeft - 80;
    const float segment = std::min((room - 192) / 3, 168.0F);
    for (int i = 0; i < 3; ++i)
        to.push_back({id::themeSystem + i, left + static_cast<float>(i) * (segment + 8), 179, segment, 41});
    for (int i = 0; id::firstAccent + i <= id::lastAccent; ++i)
        to.push_back({id::firstAccent + i, left + 53 * static_cast<float>(i), 239, 45, 42});
    to.push_back({id::language, left, 303, std::max(room - 169, 280.0F), 360});
}

void addSettingsPage(std::vector<Placement> &to, const LayoutMetrics &m) {
    addChoices(to, m);
    const float left = m.contentLeft;
    const float row = m.width - left - 65;
    to.push_back({id::widget, left + 20, 462, row, 44});
    to.push_back({id::opacity, left + 228, 508, std::max(row - 288, 130.0F), 28});
    to.push_back({id::closeBrowsers, left + 20, 542, row, 44});
    to.push_back({id::analytics, left + 20, 590, row, 44});
    to.push_back({id::skipFilesInUse, left + 20, 638, row, 44});
    to.push_back({id::history, left + 26, 690, std::min(m.width - left - 80, 360.0F), 36});
}

void aimGaugeAtSelection() {
    aimGauge(animation.gauge, share(selectedBytes(), foundBytes()), GetTickCount64(), reduceMotion);
}

void measureClient() {
    RECT client = {};
    GetClientRect(mainView.window, &client);
    metricsInForce = computeMetrics(client.right, client.bottom, mainView.uiScale);
}

void enableControls() {
    const OperationState &state = operationState();
    const bool idle = !state.busy;
    setEnabled(id::clean, idle && state.hasScanResult && selectedBytes() != 0);
    for (const int control : {id::scan, id::temporaryFiles, id::browserCache, id::recycleBin, id::closeBrowsers,
                              id::skipFilesInUse, id::analytics, id::language})
        setEnabled(control, idle);
    setEnabled(id::widget, true);
}

void nameControls() {
    for (const auto &[id, control] : mainView.controls) {
        const WString text = spokenText(id);
        if (!text.empty())
            setTextIfChanged(control, text);
    }
}

UINT moveFlags(bool inPlace, bool shown) {
    constexpr UINT quiet = SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOREDRAW | SWP_NOCOPYBITS;
    return quiet | (inPlace ? SWP_NOSIZE | SWP_NOMOVE : 0U) | (shown ? 0U : SWP_SHOWWINDOW);
}

/// Hides what is not wanted, and tells what has to be moved or shown.
std::vector<Move> reconcile() {
    std::vector<Move> moves;
    for (const auto &[id, control] : mainView.controls) {
        const bool shown = isShown(control);
        const auto want = wanted.find(id);
        if (want == wanted.end()) {
            if (shown)
                ShowWindow(control, SW_HIDE);
            placed.erase(id);
            continue;
        }
        const auto last = placed.find(id);
        const bool inPlace =
            last != placed.end() && last->second.window == control && isSame(last->second.rect, want->second);
        if (inPlace && shown)
            continue;
        moves.push_back({id, control, want->second, moveFlags(inPlace, shown)});
        placed[id] = {control, want->second};
    }
    return moves;
}

bool moveTogether(const std::vector<Move> &moves) {
    HDWP batch = BeginDeferWindowPos(static_cast<int>(moves.size()));
    for (const Move &move : moves) {
        if (batch == nullptr)
            return false;
        const RECT &to = move.rect;
        batch = DeferWindowPos(batch, move.window, nullptr, to.left, to.top, to.right - to.left, to.bottom - to.top,
                               move.flags);
    }
    return batch != nullptr && EndDeferWindowPos(batch) != FALSE;
}

void moveOneByOne(const std::vector<Move> &moves) {
    for (const Move &move : moves) {
        const RECT &to = move.rect;
        SetWindowPos(move.window, nullptr, to.left, to.top, to.right - to.left, to.bottom - to.top, move.flags);
    }
}

void redrawMoved(const std::vector<Move> &moves) {
    for (const Move &move : moves) {
        const ControlKind kind = controlKind(move.id);
        const bool ownerDrawn = kind != ControlKind::Slider && kind != ControlKind::LanguageList;
        const UINT how = ownerDrawn ? RDW_NOERASE : RDW_ERASE | RDW_FRAME;
        RedrawWindow(move.window, nullptr, nullptr, RDW_INVALIDATE | RDW_NOCHILDREN | how);
    }
}

void repaintAll() {
    invalidateView(mainView.window, nullptr);
    for (const auto &[id, control] : mainView.controls) {
        if (isShown(control))
            invalidateView(control, nullptr);
    }
    UpdateWindow(mainView.window);
    for (const auto &[id, control] : mainView.controls) {
        if (isShown(control))
            UpdateWindow(control);
    }
}

void refreshCompanions() {
    const auto &updateLargeControls = operationHost().updateLargeControls;
    if (mainView.largeFilesWindow != nullptr && updateLargeControls)
        updateLargeControls(mainView.largeFilesWindow);
    if (mainView.refreshWidget)
        mainView.refreshWidget();
}

} // namespace

LayoutMetrics computeMetrics(int clientWidth, int clientHeight, float uiScale) {
    LayoutMetrics m;
    m.width = static_cast<float>(clientWidth) / uiScale;
    m.height = static_cast<float>(clientHeight) / uiScale;
    m.sidebarWidth = 230;
    m.contentLeft = 250;
    m.rightColumnWidth = std::max((m.width - 230 - 80) * 0.34F, 290.0F);
    m.leftColumnWidth = m.width - 230 - 60 - m.rightColumnWidth;
    m.rightColumnLeft = m.contentLeft + m.leftColumnWidth + 20;
    m.cardsTop = 134;
    m.heroHeight = 268;
    m.listHeight = std::max(m.height - 134 - 268 - 94, 280.0F);
    return m;
}

const LayoutMetrics &mainMetrics() {
    return metricsInForce;
}

std::vector<Placement> placements(const LayoutMetrics &metrics, PageId page, bool operationRuns) {
    std::vector<Placement> all;
    addNavigation(all, metrics);
    const float left = metrics.contentLeft;
    switch (page) {
    case PageId::Cleanup:
        addCleanupPage(all, metrics);
        break;
    case PageId::DiskSpace:
        all.push_back({id::largeFiles, left + 25, metrics.height - 109, metrics.width - left - 77, 40});
        break;
    case PageId::Help:
        all.push_back({id::history, left + 25, metrics.height - 105, 280, 42});
        break;
    case PageId::Settings:
        addSettingsPage(all, metrics);
        break;
    }
    if (operationRuns)
        all.push_back({id::cancel, metrics.width - 189, 77, 155, 35});
    return all;
}

RECT placedRect(float x, float y, float w, float h, float scale) {
    const auto pixels = [scale](float dips) { return static_cast<LONG>(std::trunc(dips * scale + 0.5F)); };
    const LONG left = pixels(x);
    const LONG top = pixels(y);
    return {left, top, left + pixels(w), top + pixels(h)};
}

float fittingScale(int clientWidth, int clientHeight, float dpiScale) {
    return std::min({static_cast<float>(clientWidth) / 1100, static_cast<float>(clientHeight) / 790, dpiScale});
}

float nextScale(float candidate, float current) {
    return candidate > 0.1F && std::fabs(candidate - current) > 0.01F ? candidate : current;
}

void resizeMainWindow(int clientWidth, int clientHeight) {
    const float scale = nextScale(fittingScale(clientWidth, clientHeight, mainView.dpiScale), mainView.uiScale);
    if (scale != mainView.uiScale) {
        mainView.uiScale = scale;
        rebuildFonts();
    }
    layoutMainWindow();
}

void layoutMainWindow() {
    ++paintGeneration;
    aimGaugeAtSelection();
    measureClient();
    wanted.clear();
    for (const Placement &place : placements(metricsInForce, mainView.currentPage, operationState().busy))
        placeControl(place.id, place.x, place.y, place.w, place.h);
    enableControls();
    nameControls();
    const std::vector<Move> moves = reconcile();
    if (!moves.empty() && !moveTogether(moves))
        moveOneByOne(moves);
    redrawMoved(moves);
    repaintAll();
    startAnimationTimer();
    refreshCompanions();
}

void placeControl(int id, float x, float y, float w, float h) {
    if (mainView.controls.contains(id))
        wanted[id] = placedRect(x, y, w, h, mainView.uiScale);
}

RECT clampToArea(const RECT &rect, const RECT &workArea) {
    constexpr LONG margin = 8;
    const LONG width = std::max(std::min(rect.right - rect.left, workArea.right - workArea.left - 2 * margin), LONG{1});
    const LONG height =
        std::max(std::min(rect.bottom - rect.top, workArea.bottom - workArea.top - 2 * margin), LONG{1});
    const LONG left = std::max(std::min(rect.left, workArea.right - margin - width), workArea.left + margin);
    const LONG top = std::max(std::min(rect.top, workArea.bottom - margin - height), workArea.top + margin);
    return {left, top, left + width, top + height};
}

RECT clampToWorkArea(const RECT &rect) {
    MONITORINFO monitor = {};
    monitor.cbSize = sizeof(monitor);
    if (GetMonitorInfoW(MonitorFromRect(&rect, MONITOR_DEFAULTTONEAREST), &monitor) == FALSE)
        return rect;
    return clampToArea(rect, monitor.rcWork);
}

void moveClamped(HWND window, const RECT &rect) {
    const RECT to = clampToWorkArea(rect);
    SetWindowPos(window, nullptr, to.left, to.top, to.right - to.left, to.bottom - to.top,
                 SWP_NOZORDER | SWP_NOACTIVATE);
}

void moveControl(HWND window, int x, int y, int w, int h) {
    RECT now = {};
    GetWindowRect(window, &now);
    MapWindowPoints(nullptr, GetParent(window), reinterpret_cast<POINT *>(&now), 2);
    if (!isSame(now, {x, y, x + w, y + h}))
        SetWindowPos(window, nullptr, x, y, w, h, SWP_NOZORDER | SWP_NOACTIVATE);
}

int scaledPixels(float dip, float scale) {
    return std::max(static_cast<int>(std::lround(dip * scale)), 1);
}

} // namespace dm::ui
