#include "windows/operation_wiring.h"

#include "core/operations.h"
#include "data/analytics.h"
#include "ui/animation.h"
#include "ui/canvas.h"
#include "ui/layout.h"
#include "ui/main_view.h"
#include "windows/dialogs.h"
#include "windows/history_window.h"
#include "windows/large_files_window.h"
#include "windows/main_window.h"
#include "windows/notify_icon.h"
#include "windows/preview.h"
#include "windows/widget.h"

#include <vector>

namespace dm {
namespace {

using ui::mainView;

void showProgress() {
    ui::invalidateView(mainView.window, nullptr);
    if (mainView.largeFilesWindow != nullptr)
        ui::invalidateView(mainView.largeFilesWindow, nullptr);
    refreshWidget();
    // Under reduced motion the timer stops between two reports.
    ui::startAnimationTimer();
}

/// Over a copy, since the destruction changes the list.
void destroyAll(const std::vector<HWND> &windows) {
    for (HWND window : std::vector(windows))
        DestroyWindow(window);
}

} // namespace

void destroySecondaryWindows() {
    if (widgetWindow() != nullptr)
        DestroyWindow(widgetWindow());
    if (IsWindow(mainView.largeFilesWindow))
        DestroyWindow(mainView.largeFilesWindow);
    destroyAll(historyWindows());
    destroyAll(previewWindows());
}

void wireOperations() {
    OperationHost &host = operationHost();
    host.mainWindow = mainView.window;
    host.settings = [] { return mainView.settings; };
    host.selection = [] { return mainView.selection; };
    host.searchInput = largeSearchInput;
    host.recycleInput = recycleInput;
    host.askUser = showMessage;
    host.notify = [](const WString &text, UINT icon) { showNotice(text, icon); };
    host.sendUsage = sendUsageEvent;
    host.layoutMainWindow = ui::layoutMainWindow;
    host.bringUpMainWindow = restoreMainWindow;
    host.isMainWindowShowing = isMainWindowShowing;
    host.showProgress = showProgress;
    host.refreshHistoryWindows = refreshHistoryWindows;
    host.updateLargeControls = updateLargeControls;
    host.isLargeWindowShowing = isLargeWindowShowing;
    host.takeSearchResult = takeSearchResult;
    host.takeRecycleResult = takeRecycleResult;
    host.destroySecondaryWindows = destroySecondaryWindows;
}

} // namespace dm
